// The file helpers: what each returns and leaves, with names that a shell would take apart.
#include "common/unix/cm_file_util.h"
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <sched.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>

using namespace vn_test;
namespace fs = std::filesystem;

namespace {

TEST(FileUtil, CopyAndChangeModeTakeEveryNameAsItIs) {
    Installation in;
    fs::current_path(in.dir);
    const mode_t mask = umask(077);
    for (const std::string name : {"-rf", "a  $(id)`id`", "';exit 9;'\"\\", "n\nl\xff %s%n"}) {
        const std::string copy = name + "2";
        write_file(name, name);
        chmod(name.c_str(), 0666);
        EXPECT_EQ(file_copy(name.c_str(), copy.c_str()), 0) << name;
        EXPECT_EQ(read_file(copy), name);
        EXPECT_EQ(fs::status(copy).permissions(), fs::perms(0666));
        EXPECT_EQ(cm_chmod("0750", copy.c_str()), 0) << name;
        EXPECT_EQ(fs::status(copy).permissions(), fs::perms(0750));
    }
    umask(mask);
    testing::internal::CaptureStderr(); // the commands' own words
    EXPECT_NE(cm_chmod("700 f;echo >g", "f"), 0);
    EXPECT_NE(file_copy("no", "f"), 0);
    testing::internal::GetCapturedStderr();
    EXPECT_FALSE(fs::exists("g"));
    EXPECT_EQ(in.protocol().at(0),
              "<time> E009-BASICS [<pid>]: Error copying file no f: umask 000; cp 'no' 'f'");
    fs::current_path("/");
}

TEST(FileUtil, CreateAndDelete) {
    Installation in;
    fs::current_path(in.dir);
    fs::create_directories("w/full/x");
    for (const char *name : {"f", "w/1.tmp", "w/.tmp"}) {
        write_file(name, "");
    }
    const std::string over = "." + std::string(1021, '/') + "ff"; // cut, it is "f"
    const std::tuple<std::string, int, std::string, int> cases[] = {
        {"a/b/c/", 1, "a/b/c newly created", 1},     {"a\\b", 1, "a/b already existing", 1},
        {"%s$(x)", 1, "%s$(x) newly created", 1},    {"f/x", 0, "Not a directory", 0},
        {"/proc/no", 0, "error from MKDIR", 0},      {over, 0, "File name too long", 0},
        {"w/full", 1, "w/full already existing", 0}, {"f", 1, "f already existing", 1}};
    for (const auto &[path, created, expected, deleted] : cases) {
        char message[256];
        EXPECT_EQ(i_CREATE_DIR_LOCAL(path.c_str(), message, {}), created) << path;
        EXPECT_EQ(message, expected);
        EXPECT_EQ(i_FILE_DELETE(path.c_str(), {}), deleted) << path;
    }
    for (const std::string path : {"n/1//", "n/2/.", "n/3/..", "/"}) { // there after all
        char message[256];
        EXPECT_EQ(i_CREATE_DIR_LOCAL(path.c_str(), message, {}), 1) << path;
        EXPECT_EQ(message, (path == "n/1//" ? "n/1/" : path) + " already existing");
    }
    EXPECT_EQ(i_FILE_DELETE("w/*.tmp", {}), 1);
    EXPECT_EQ(i_FILE_DELETE("w/*.tmp", {}), 0);
    fs::current_path("/");
}

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
