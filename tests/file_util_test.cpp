// Two processes that use one directory at once.
#include "common/unix/cm_file_util.h"
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace vn_test;
namespace fs = std::filesystem;

namespace {

TEST(FileUtil, CallsThatCreateOneDirectoryAtOnceAllSucceed) {
    Installation in;
    fs::current_path(in.dir);
    constexpr int flags = MAP_SHARED | MAP_ANONYMOUS;
    // cppcheck-suppress invalidFunctionArg ; without a file the descriptor is -1
    void *shared = mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, flags, -1, 0);
    auto *calls = static_cast<std::atomic<int> *>(shared);
    const pid_t child = fork();
    int failures = 0;
    for (int i = 0; i < 300; ++i) {
        char message[256];
        for (++*calls; *calls < 2 * (i + 1);) { // both begin each at once
            sched_yield();
        }
        failures += i_CREATE_DIR_LOCAL(std::to_string(i).c_str(), message, {}) == 0;
    }
    if (child == 0) {
        _exit(failures > 0 ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(failures + status, 0);
    munmap(calls, sizeof *calls);
    fs::current_path("/");
}

} // namespace
