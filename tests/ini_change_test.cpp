// Changes of an INI file at the same moment as others use it: locks, readers beside it, a change
// that is killed.
#include "common/unix/cm_kernel.h"
#include "common/unix/configuration/ini_file.h"
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace vn_test;

namespace {

struct IniChange : testing::Test {
    Installation installation;
    const std::string file = installation.path("x.ini");

    int change(const std::string &value) const {
        return i_change_ini(file.c_str(), "A", "k", value.c_str());
    }
    bool reads(const char *section, const char *key, const std::string &expected) const {
        char value[1024], msg[256];
        return i_READ_INI(file.c_str(), section, key, value, sizeof value, msg, sizeof msg) == 1 &&
               value == expected;
    }
};

// A change gives up after its time; who holds the lock for good is waited for once, not at every
// read of a call.
TEST_F(IniChange, WaitsForTheLockButNotForEver) {
    write_file(file, "[A]\nk=1\n");
    const auto use = [&] {
        gIniLockPolicy = {100, 5};
        const int held = open(file.c_str(), O_RDONLY | O_CLOEXEC);
        flock(held, LOCK_EX);
        char text[256];
        const auto start = std::chrono::steady_clock::now();
        bool done = i_CHANGE_INI_VALUE(file.c_str(), "A", "k", "2", text, sizeof text) == 0 &&
                    text == std::string("locked by another process") &&
                    read_file(file) == "[A]\nk=1\n";
        for (int i = 0; i < 30; i++) {
            done = reads("[A]", "k", "1") && done;
        }
        const auto spent = std::chrono::steady_clock::now() - start;
        close(held);
        done = change("2") == 1 && done && spent >= std::chrono::milliseconds(100);
        _exit(done && spent < std::chrono::seconds(3) ? 0 : 1);
    };
    EXPECT_EXIT(use(), testing::ExitedWithCode(0), "");
}

// One process changes a value between two lengths, others read what stands around it.
TEST_F(IniChange, ReadsBesideItNeverFail) {
    write_file(file, "\n[A]\nfirst=f\nk=\nlong=" + std::string(6000, 'x') + "\n\n[B]\nlast=l\n\n");
    const pid_t child = fork();
    if (child == 0) {
        for (int i = 0; i < 400; i++) {
            if (change(i % 2 == 0 ? "short" : std::string(300, 'v')) != 1) {
                _exit(1);
            }
        }
        _exit(0);
    }
    int status = -1, number = 0;
    while (waitpid(child, &status, WNOHANG) == 0 || number < 400) {
        ASSERT_TRUE(reads("[B]", "last", "l"));
        const std::string foreign = read_file(file).value_or("");
        ASSERT_TRUE(foreign.starts_with("\n[A]\nfirst=f\nk=")) << foreign;
        number++;
    }
    EXPECT_EQ(status, 0);
}

// A file that has rested is read once; each change of the same length is seen, by whom ever and
// however soon it follows the one before.
TEST_F(IniChange, IsReadOnceUntilItChanges) {
    gIniMemoryPolicy = {50, 100000};
    const auto text = [&] {
        t_INI_TEXT kept;
        ini_lines(file.c_str(), &kept);
        return kept;
    };
    write_file(file, "[A]\nk=1\n");
    EXPECT_EQ(text(), nullptr);
    usleep(60000);
    const t_INI_TEXT first = text();
    EXPECT_TRUE(first != nullptr && first == text() && reads("[A]", "k", "1"));
    for (int i = 0; i < 200; i++) {
        write_file(file, "[A]\nk=" + std::to_string(i % 10) + "\n");
        ASSERT_TRUE(reads("[A]", "k", std::to_string(i % 10))) << i;
    }
    write_file(installation.path("y.ini"), "[A]\nk=y\n");
    usleep(60000);
    EXPECT_TRUE(reads("[A]", "k", "9") && text() != nullptr);
    { // what is read within a moment is of one state
        const ini_moment moment;
        EXPECT_TRUE(reads("[A]", "k", "9"));
        write_file(file, "[A]\nk=0\n");
        EXPECT_TRUE(reads("[A]", "k", "9"));
    }
    EXPECT_TRUE(reads("[A]", "k", "0"));
    ASSERT_EQ(rename(installation.path("y.ini").c_str(), file.c_str()), 0);
    EXPECT_TRUE(reads("[A]", "k", "y"));
    gIniMemoryPolicy = {50, 0};
    usleep(60000);
    EXPECT_TRUE(text() != text());
    ASSERT_EQ(truncate(file.c_str(), 65537), 0);
    usleep(60000);
    EXPECT_TRUE(text() == nullptr && reads("[A]", "k", "y"));
    unlink(file.c_str());
    EXPECT_FALSE(reads("[A]", "k", "y"));
}

// A change that is killed at any moment leaves the whole old or the whole new text, apart from
// blank lines at its end.
TEST_F(IniChange, KilledOneLeavesOldOrNew) {
    const std::string values[] = {"1", std::string(500, 'v')}, end = "\n\n[B]\nl=1";
    for (int i = 0; i < 100; i++) {
        write_file(file, "\n[A]\nk=1" + end + "\n\n");
        const pid_t child = fork();
        if (child == 0) {
            for (int turn = 1;; turn = 1 - turn) {
                change(values[turn]);
            }
        }
        usleep(static_cast<useconds_t>(200 + 37 * i));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        std::string left = read_file(file).value_or("");
        left.erase(left.find_last_not_of('\n') + 1);
        EXPECT_TRUE(left == "\n[A]\nk=1" + end || left == "\n[A]\nk=" + values[1] + end) << left;
    }
}

} // namespace
