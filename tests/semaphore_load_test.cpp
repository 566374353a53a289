// A semaphore under load; bench/semaphore_load does it at length.
#include "tests/support/increments.h"
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

TEST(SemaphoreLoad, LosesNoIncrementWhenHoldersAreKilled) {
    const vn_test::Installation in;
    const vn_test::Counted counted = vn_test::count_under_semaphore({50, 40, 100});
    EXPECT_EQ(counted.lost, 0);
    EXPECT_EQ(counted.extra, 0);
    EXPECT_EQ(counted.failed, 0);
    EXPECT_EQ(counted.killed, 100);
    EXPECT_GT(counted.inside, 0);
}

// The file of a holder that is about to release it is empty.
TEST(SemaphoreLoad, AnInquirySeesTheRelease) {
    const vn_test::Installation in;
    int told[2];
    ASSERT_EQ(pipe(told), 0);
    SCT_SEMA semaphore = {"s", "me", "", 0};
    const pid_t holder = fork();
    if (holder == 0) {
        _exit(i_SEMA('+', &semaphore, {}) == 0 && write(told[1], "+", 1) == 1 ? pause() : 1);
    }
    char letter = 0;
    EXPECT_EQ(read(told[0], &letter, 1), 1);
    vn_test::write_file(in.path("rw/work") + "/sem/s.sem", "");
    std::thread killer([&] {
        usleep(20000);
        kill(holder, SIGKILL);
    });
    EXPECT_EQ(i_SEMA('?', &semaphore, {}), 0);
    EXPECT_STREQ(semaphore.szMsg, "semaphore s is free");
    killer.join();
    waitpid(holder, nullptr, 0);
}

} // namespace
