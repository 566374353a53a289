// Global variables.
#include "tests/probe/probe.h"

#include "common/unix/cm_hal_unix.h"

#include <algorithm>
#include <cstdio>

namespace vn_probe {
namespace {

// LETTER NAME [VALUE]: with buffers of just the size that the store may fill.
void run_glbv(Words &words) {
    const int letter = *words.text();
    Buffer name = buffer(0, words.text());
    char none[] = "";
    const std::string input = words.text_or(none);
    Buffer value = buffer(letter == 'w' ? std::max<size_t>(256, input.size() + 1) : 512, input);
    const bool same = glbv(letter, name.data(), value.data()) == value.data();
    std::printf("%s = %s%s\n", name.data(), value.data(), same ? "" : ", returned another");
}

const Function kFunctions[] = {{"glbv", run_glbv}};

} // namespace

const std::span<const Function> kVariables = kFunctions;

} // namespace vn_probe
