// Comparison with files that can be renewed, see expected.h.
#include "tests/support/expected.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace vn_test {
namespace {

using Lines = std::vector<std::string>;

bool is_set(const char *variable, std::string_view value = "") {
    const char *text = std::getenv(variable);
    return text != nullptr && (value.empty() ? *text != '\0' : text == value);
}

// How many lines the longest common rest has, for every pair of beginnings.
std::vector<std::vector<int>> common_rests(const Lines &left, const Lines &right) {
    std::vector<std::vector<int>> rest(left.size() + 1, std::vector<int>(right.size() + 1));
    for (size_t i = left.size(); i-- > 0;) {
        for (size_t j = right.size(); j-- > 0;) {
            rest[i][j] = left[i] == right[j] ? rest[i + 1][j + 1] + 1
                                             : std::max(rest[i + 1][j], rest[i][j + 1]);
        }
    }
    return rest;
}

// All lines of both with their marks.
Lines merged(const Lines &left, const Lines &right) {
    const std::vector<std::vector<int>> rest = common_rests(left, right);
    Lines all;
    size_t i = 0, j = 0;
    while (i < left.size() || j < right.size()) {
        if (i < left.size() && j < right.size() && left[i] == right[j]) {
            all.push_back("  " + left[i++]);
            j++;
        } else if (j == right.size() || (i < left.size() && rest[i + 1][j] >= rest[i][j + 1])) {
            all.push_back("- " + left[i++]);
        } else {
            all.push_back("+ " + right[j++]);
        }
    }
    return all;
}

// Takes the trace's lines out of standard error and returns how many there were.
size_t take_out(const Lines &traced, std::string &error) {
    std::string rest;
    size_t taken = 0;
    auto next = traced.begin();
    for (const std::string &line : lines_of(error)) {
        const auto found = std::find(next, traced.end(), line);
        if (found == traced.end()) {
            rest += line + "\n";
        } else {
            next = found + 1;
            taken++;
        }
    }
    error = rest;
    return taken;
}

} // namespace

void expect_file(const std::string &name, const std::string &text) {
    const std::string path = std::string(VN_EXPECTED_DIR "/") + name;
    if (is_set("VN_RENEW") && !is_set("CI", "true")) {
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        write_file(path, text);
        std::printf("renewed: %s\n", path.c_str());
        return;
    }
    const std::string expected = read_file(path).value_or("");
    if (text != expected) {
        ADD_FAILURE() << "differs from " << path << " (-), see tests/support/expected.h:\n"
                      << difference(expected, text);
    }
}

std::string difference(const std::string &expected, const std::string &actual) {
    const Lines all = merged(lines_of(expected), lines_of(actual));
    std::string text;
    for (size_t i = 0; i < all.size(); i++) {
        const size_t first = i - std::min<size_t>(i, 2), end = std::min(all.size(), i + 3);
        const bool near = std::any_of(all.begin() + (ptrdiff_t)first, all.begin() + (ptrdiff_t)end,
                                      [](const std::string &line) { return line[0] != ' '; });
        text += near ? all[i] + "\n" : "";
    }
    return text.empty() && expected != actual ? "only the line feed at the end differs\n" : text;
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

std::string transcript(const Installation &in, const std::vector<std::string> &arguments,
                       const CallOptions &options) {
    CallResult result = in.agent(arguments, options);
    std::string text = "$ vn_client";
    for (const std::string &argument : arguments) {
        const bool plain = !argument.empty() && argument.find_first_of(" '$*\n") == argument.npos;
        text += plain ? " " + argument : " '" + argument + "'";
    }
    const std::string lgc = in.path("rw/lgc/vn_client_.lgc");
    const std::string trace = read_file(lgc).value_or("");
    std::filesystem::remove(lgc);
    const size_t lines = lines_of(trace).size(), shown = take_out(lines_of(trace), result.err);
    text += "\nexit status " + std::to_string(result.status) + "\n";
    if (!result.out.empty()) {
        text += "--- standard output\n" + result.out;
    }
    text += "--- standard error\n" + result.err;
    if (lines > 0) {
        const size_t rest = lines - shown;
        text += rest == 0 ? "--- trace, all of it also on standard error\n"
                          : "--- trace, but for " + std::to_string(rest) +
                                " lines also on standard error\n";
    }
    text += trace;
    return without_races(in.comparable(text));
}

} // namespace vn_test
