// Messages, numbers and ends of the small programs, see tool.h.
#include "kernel/tools/tool.h"

#include "common/common/text.h"
#include "common/unix/host/prepare.h"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <unistd.h>

namespace {

const char *cpProgram = "";

[[noreturn]] void end_without_memory() {
    for (const char *text : {cpProgram, ": out of memory\n"}) {
        [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text, std::strlen(text));
    }
    ::_exit(EXIT_NOT_RUN);
}

} // namespace

void tool_prepare(const char *cpName) {
    cpProgram = cpName;
    prepare_process();
    std::set_new_handler(end_without_memory);
}

void tool_say(const std::string &text) {
    std::fflush(stdout);
    std::fprintf(stderr, "%s: %s\n", cpProgram, text.c_str());
}

void tool_fail(const std::string &text) {
    tool_say(text);
    std::exit(EXIT_NOT_RUN);
}

int tool_number(const char *cpText, int iLeast, int iMost, const char *cpWhat) {
    int iNumber = 0;
    const char *end = cpText + std::strlen(cpText);
    const auto [last, error] = std::from_chars(cpText, end, iNumber);
    if (error != std::errc() || last != end || iNumber < iLeast || iNumber > iMost) {
        tool_fail("wrong " + std::string(cpWhat) + ": " + cpText);
    }
    return iNumber;
}

void tool_copy(char *buffer, long size, const std::string &text, const char *cpWhat) {
    if (!text_copy(buffer, size, text)) {
        tool_fail(std::string(cpWhat) + " is too long");
    }
}

int tool_end(int iStatus) {
    const bool bWhole = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
    if (!bWhole && iStatus == 0) {
        tool_say("standard output has not taken everything");
        return 1;
    }
    return iStatus;
}
