// What a service of the libraries leaves when a process of its own uses it: the whole of it, to be
// compared with a file (expected.h).
#pragma once

#include "common/unix/cm_trace.h"
#include "tests/support/expected.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vn_test {

// The rest of this process cannot fork: another account, all files open to it, no processes.
inline void forbid_processes(const Installation &in) {
    const std::string open = "chmod -R a+rwX " + in.dir;
    if (std::system(open.c_str()) != 0 || (geteuid() == 0 && setuid(65534) != 0)) {
        _exit(99);
    }
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_NPROC, &none);
}

// Long runs of one letter as "x{255}".
inline std::string without_runs(const std::string &line) {
    std::string text;
    for (size_t begin = 0, end; begin < line.size(); begin = end) {
        end = std::min(line.find_first_not_of(line[begin], begin), line.size());
        const std::string count = "{" + std::to_string(end - begin) + "}";
        text += end - begin > 9 ? line[begin] + count : line.substr(begin, end - begin);
    }
    return text;
}

// The work directory as "<work>", the rest as always.
inline std::string shown(const Installation &in, std::string text) {
    const std::string work = in.path("rw/work");
    for (size_t at; (at = text.find(work)) != text.npos;) {
        text.replace(at, work.size(), "<work>");
    }
    return in.normalised(text);
}

// Runs the code in a child that traces at the level (0: without a trace) and removes what it has
// written. Returns exit status, output, errors, trace and protocol, normalised, empty parts left
// out. How often a reader has waited is the machine's affair: those lines are left out.
inline std::string service(const Installation &in, const std::string &title, int level,
                           const std::function<void(const str_log &)> &code) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const pid_t pid = fork();
    if (pid == 0) {
        str_log log = {};
        if (level > 0) {
            v_set_log_main("service.lgc", "NOSUCH", &log);
            v_set_log(level, 0, &log);
        }
        code(log);
        std::fflush(nullptr);
        _exit(0);
    }
    int state = -1;
    waitpid(pid, &state, 0);
    std::string all = "== " + title + "\n";
    const auto add = [&](const char *part, const std::string &text) {
        all += text.empty() ? "" : std::string("--- ") + part + "\n";
        for (const std::string &line : lines_of(shown(in, text))) {
            if (!line.ends_with("call select()") && !line.ends_with("call read()")) {
                all += without_runs(line) + "\n";
            }
        }
    };
    add("exit status", state == 0 ? "" : std::to_string(state / 256));
    add("standard output", testing::internal::GetCapturedStdout());
    add("standard error", testing::internal::GetCapturedStderr());
    for (const char *file : {"rw/lgc/service.lgc", "rw/prot/vorna.prot"}) {
        add(file, read_file(in.path(file)).value_or(""));
        std::filesystem::remove(in.path(file));
    }
    return all;
}

} // namespace vn_test
