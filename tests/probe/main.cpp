// See probe.h.
#include "tests/probe/probe.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <list>

namespace vn_probe {

str_log log = {};

char *Words::text() {
    if (left.empty()) {
        std::fprintf(stderr, "probe: a word is missing\n");
        std::exit(99);
    }
    char *word = left.front();
    left = left.subspan(1);
    return std::strcmp(word, "NULL") == 0 ? nullptr : word;
}

char *Words::text_or(char *text_if_none) {
    return more() ? text() : text_if_none;
}

long Words::number_or(long number_if_none) {
    return more() ? number() : number_if_none;
}

long Words::number() {
    return std::strtol(text(), nullptr, 0);
}

Buffer buffer(size_t size, const std::string &text) {
    Buffer made(std::max(size, text.size() + 1), '~');
    std::memcpy(made.data(), text.c_str(), text.size() + 1);
    return made;
}

namespace {

// Replaces "5000*x", before anything runs: memory may be missing then.
char *expanded(char *word) {
    static std::list<std::string> texts;
    char *end = word;
    const size_t length = std::strtoul(word, &end, 10);
    const bool is_short = end != word && std::strlen(end) == 2 && *end == '*';
    return is_short ? texts.emplace_back(length, end[1]).data() : word;
}

void run(std::span<char *> call) {
    Words words{call.subspan(1)};
    for (const auto &table : {kUnixHal, kRemote, kControl, kDatabase, kFiles, kIni, kListing,
                              kMachine, kProcesses, kRequest, kSystem, kText, kTrace, kVariables}) {
        for (const Function &function : table) {
            if (std::strcmp(function.name, call[0]) == 0) {
                function.run(words);
                std::fflush(stdout);
                return;
            }
        }
    }
    std::fprintf(stderr, "probe: there is no function %s\n", call[0]);
    std::exit(99);
}

} // namespace
} // namespace vn_probe

int main(int argc, char **argv) {
    std::span<char *> words(argv + 1, argv + argc);
    std::transform(words.begin(), words.end(), words.begin(), vn_probe::expanded);
    if (!words.empty() && words[0][0] == '-') {
        v_set_log_main("probe.lgc", "NOSUCH", &vn_probe::log);
        v_set_log((int)-std::strtol(words[0], nullptr, 10), 1, &vn_probe::log);
        words = words.subspan(1);
    }
    while (!words.empty()) {
        size_t end = 0;
        while (end < words.size() && std::strcmp(words[end], ":") != 0) {
            end++;
        }
        if (end > 0) {
            vn_probe::run(words.first(end));
        }
        words = words.subspan(end < words.size() ? end + 1 : end);
    }
    return 0;
}
