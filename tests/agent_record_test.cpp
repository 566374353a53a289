// How a call's record reaches its reader when standard error or memory is short. All else about the
// command line is in tests/sessions.
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <filesystem>
#include <thread>
#include <unistd.h>

using namespace vn_test;

namespace {

const std::string kRecord = "ID=7\nSTATUS=SUCCESS MSG=\n";

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
                           {"VORNA_INI=" + in.path("vorna.ini")}, {})
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
            {"VORNA_INI=" + in.path("vorna.ini")}, {});
    };
    const std::string told = "ID=7\nSTATUS=ERROR MSG=out of memory\n";
    EXPECT_EQ(limited(100000, "u -m C -n gv_rw_work:big -s A -t k -d v"),
              (CallResult{2, "", told}));
    EXPECT_EQ(in.get_glbv("gv_client_sts_7"), "2");
    EXPECT_EQ(in.get_glbv("gv_client_msg_7"), "out of memory");
    int ended = 0;
    for (int kilobytes = 3000; kilobytes < 8000; kilobytes += 40) {
        const CallResult result = limited(kilobytes, "r");
        if (result.status == 127) { // not even loaded
            continue;
        }
        const std::string early = "ID=\nSTATUS=ERROR MSG=out of memory\n";
        EXPECT_TRUE(result == (CallResult{2, "", early}) || result == (CallResult{2, "", told}) ||
                    result == (CallResult{0, "", kRecord}))
            << kilobytes << ": " << result.status << result.err;
        ended += result.status == 2 ? 1 : 0;
    }
    EXPECT_GT(ended, 0);
}

} // namespace
