// The command line: every text of the input is an argument. What ends the process ends the round.
// Covers: kernel/front_end/arguments.cpp kernel/request/options.cpp
#include "fuzz/fuzz.h"

#include "kernel/front_end/arguments.h"
#include "kernel/front_end/usage.h"
#include "kernel/request/finish.h"
#include "kernel/request/options.h"

#include <cstring>
#include <getopt.h>
#include <vector>

const char gszVersion[] = "fuzz";

namespace {

struct Ended {};

template <std::size_t N>
void check(const char (&buffer)[N]) {
    if (strnlen(buffer, N) == N) {
        std::abort();
    }
}

void check_and_clear() {
    check(gszId), check(gszCtrlHost), check(gszClientHost), check(gszOpt_b), check(gszOpt_d);
    check(gszOpt_l), check(gszOpt_m), check(gszOpt_n), check(gszOpt_s), check(gszOpt_t);
    check(gszOpt_u), check(gszOpt_end), check(gszMissingArg);
    gcFunc = FUNCTION_UNKNOWN;
    gFlag = {};
    gszId[0] = gszCtrlHost[0] = gszOpt_end[0] = gszMissingArg[0] = '\0';
    strLog = {};
}

} // namespace

void FINISH(int, const char *) {
    throw Ended();
}
void USAGE() {
    throw Ended();
}

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::string_view input(reinterpret_cast<const char *>(data), size);
    std::vector<std::string> texts = {"vn_client"};
    while (!input.empty() && texts.size() < 40) {
        texts.push_back(take_text(&input));
    }
    std::vector<char *> argv;
    for (std::string &text : texts) {
        argv.push_back(text.data());
    }
    argv.push_back(nullptr);
    char **arguments = argv.data();
    optind = 0; // the library's word for a fresh start
    try {
        ARGUMENTS(static_cast<int>(texts.size()), &arguments);
    } catch (const Ended &) {
    }
    check_and_clear();
    return 0;
}
