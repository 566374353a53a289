// Comparison with files that can be renewed, see expected.h.
#include "tests/support/expected.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace vn_test {
namespace {

bool is_set(const char *variable, std::string_view value = "") {
    const char *text = std::getenv(variable);
    return text != nullptr && (value.empty() ? *text != '\0' : text == value);
}

} // namespace

void expect_file(const std::string &name, const std::string &text) {
    const std::string path = std::string(VN_SESSIONS_DIR "/") + name;
    if (is_set("VN_RENEW") && !is_set("CI", "true")) {
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        write_file(path, text);
        std::printf("renewed: %s\n", path.c_str());
    } else if (text != read_file(path).value_or("")) {
        ADD_FAILURE() << "differs from " << path << " (-), see tests/support/expected.h:\n"
                      << difference(path, text);
    }
}

std::string difference(const std::string &file, const std::string &text) {
    CallOptions options;
    options.input = text;
    const std::string diff = "diff -U 2 \"$0\" - 2>&1";
    return run_program({"/bin/sh", "-c", diff, file}, {"PATH=/usr/bin:/bin"}, options).out;
}

std::string without_races(const std::string &text) {
    std::string rest;
    bool shell = false; // amid the lines of "set -x"
    for (const std::string &line : lines_of(text)) {
        shell = line.starts_with("+ ") || (shell && !line.starts_with("ID="));
        const bool waits = line.ends_with("ReadFromHandle: call read()") ||
                           line.ends_with("read returned EAGAIN >> call select()");
        rest += shell || waits ? "" : line + "\n";
    }
    return rest;
}

} // namespace vn_test
