// How a call's record reaches its reader: when standard error or memory is short, and in time. All
// else about requests is in tests/sessions.
#include "common/common/text.h"
#include "kernel/request/finish.h"
#include "kernel/request/options.h"
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace vn_test;

namespace {

const std::string kRecord = "ID=7\nSTATUS=SUCCESS MSG=\n",
                  kNoMemory = "ID=7\nSTATUS=ERROR MSG=out of memory\n";

// The caller reads the record before the process has gone.
TEST(Record, IsFollowedByAPause) {
    const Installation in;
    auto shortest = std::chrono::steady_clock::duration::max();
    for (int i = 0; i < 5; i++) {
        const auto before = std::chrono::steady_clock::now();
        run_program({VN_CLIENT_PROGRAM, "-f", "r"}, in.environment(), {});
        shortest = std::min(shortest, std::chrono::steady_clock::now() - before);
    }
    EXPECT_GE(shortest, std::chrono::milliseconds(10));
}

// A standard error that takes nothing for a while gets the record when it does, and ends no call
// that has nobody to tell it to.
TEST(Record, WaitsForAStandardErrorThatWouldBlock) {
    Installation in;
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
    std::string filling(1 << 16, '.'), read;
    while (write(ends[1], filling.data(), filling.size()) > 0) {
        ;
    }
    const auto call_with_pipe = [&] {
        return run_program({"/bin/sh", "-c", "exec \"$0\" -f r -i 7 2>&" + std::to_string(ends[1]),
                            VN_CLIENT_PROGRAM},
                           in.environment(), {})
            .status;
    };
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(call_with_pipe(), 0); // nobody reads
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(2900));
    std::thread reader([&] {
        usleep(200000);
        for (ssize_t got = 0; (got = ::read(ends[0], filling.data(), filling.size())) > 0;) {
            read.append(filling.data(), static_cast<size_t>(got));
        }
    });
    EXPECT_EQ(call_with_pipe(), 0);
    reader.join();
    for (ssize_t got = 0; (got = ::read(ends[0], filling.data(), filling.size())) > 0;) {
        read.append(filling.data(), static_cast<size_t>(got));
    }
    EXPECT_EQ(read.substr(read.find_last_of('.') + 1), kRecord);
    close(ends[0]);
    close(ends[1]);
}

// Out of memory while reading the configuration, while working, and at the very end.
TEST(Record, TellsALackOfMemory) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer needs more address space than the limits leave";
#endif
    Installation in;
    write_file(in.path("rw/work") + "/big", "");
    std::filesystem::resize_file(in.path("rw/work") + "/big", 300 << 20);
    const auto limited = [&in](int kilobytes, const std::string &words) {
        return run_program(
            {"/bin/sh", "-c",
             "ulimit -v " + std::to_string(kilobytes) + "; exec \"$0\" -i 7 -f " + words,
             VN_CLIENT_PROGRAM},
            in.environment(), {});
    };
    EXPECT_EQ(limited(100000, "u -m C -n gv_rw_work:big -s A -t k -d v"),
              (CallResult{2, "", kNoMemory}));
    EXPECT_EQ(in.get_glbv("gv_client_sts_7"), "2");
    EXPECT_EQ(in.get_glbv("gv_client_msg_7"), "out of memory");
    int ended = 0;
    for (int kilobytes = 3000; kilobytes < 8000; kilobytes += 40) {
        const CallResult result = limited(kilobytes, "r");
        if (result.status == 127) { // not even loaded
            continue;
        }
        const std::string early = "ID=\nSTATUS=ERROR MSG=out of memory\n";
        EXPECT_TRUE(result == (CallResult{2, "", early}) ||
                    result == (CallResult{2, "", kNoMemory}) ||
                    result == (CallResult{0, "", kRecord}))
            << kilobytes << ": " << result.status << result.err;
        ended += result.status == 2 ? 1 : 0;
    }
    EXPECT_GT(ended, 0);
}

// With all memory taken, what was set aside suffices for the record and the variables.
TEST(Record, TellsThatAllMemoryIsTaken) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer's own memory cannot be limited";
#endif
    const Installation in;
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(open(in.path("err").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600), STDERR_FILENO);
        text_copy(gszId, "7");
        gcFunc = 'k';
        FINISH_WITHOUT_MEMORY();
        rlim_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        const rlim_t bytes = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
        const rlimit limit = {bytes, bytes};
        setrlimit(RLIMIT_AS, &limit);
        for (size_t size = 1 << 20; size > 0; size /= 2) {
            for (void *volatile taken = std::malloc(size); taken != nullptr;) {
                taken = std::malloc(size);
            }
        }
        [[maybe_unused]] void *none = ::operator new(1);
        _exit(99);
    }
    int state = -1;
    waitpid(pid, &state, 0);
    EXPECT_EQ(state, W_EXITCODE(2, 0));
    EXPECT_EQ(read_file(in.path("err")), kNoMemory);
    EXPECT_EQ(in.get_glbv("gv_client_sts_7"), "2");
    EXPECT_EQ(in.get_glbv("gv_client_msg_7"), "out of memory");
}

} // namespace
