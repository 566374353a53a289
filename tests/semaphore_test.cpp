// Named semaphores between real processes; what holds and waits is a child of the test.
#include "common/common/text.h"
#include "common/unix/cm_semaphore.h"
#include "tests/support/service.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <thread>

using namespace vn_test;

namespace {

struct Semaphore : testing::Test {
    Installation in;
    const std::string sem = in.path("rw/work/sem"), file = sem + "/s.sem";
    int told[2] = {-1, -1}; // a letter for each process that got the semaphore

    void SetUp() override { ASSERT_EQ(pipe(told), 0); }
    // Starts a process that takes the semaphore and stays until it is killed.
    pid_t start(char letter) const {
        const pid_t pid = fork();
        SCT_SEMA sema = {"s", "holder %s", "", 0};
        if (pid == 0) {
            _exit(i_SEMA(letter, &sema, {}) == 0 && write(told[1], &letter, 1) == 1 ? pause() : 1);
        }
        return pid;
    }
    bool is_told(int milliseconds = 20000) const {
        pollfd ready = {told[0], POLLIN, 0};
        char letter;
        return poll(&ready, 1, milliseconds) == 1 && read(told[0], &letter, 1) == 1;
    }
    // Each of the letters gives the code, and the message with what is printed.
    void expect(const std::string &letters, int code, const std::string &text) {
        for (const char letter : letters) {
            SCT_SEMA sema = {"s", "me", "", 0};
            testing::internal::CaptureStdout();
            EXPECT_EQ(i_SEMA(letter, &sema, {}), code) << letter;
            EXPECT_EQ(in.normalised(sema.szMsg) + testing::internal::GetCapturedStdout(), text);
        }
    }
};

TEST_F(Semaphore, IsHeldUntilItsHolderReleasesItOrDies) {
    expect("?-R", 0, "semaphore s is free");
    expect("x", 2, "error: invalid argument x");
    for (const std::string letters : {"*-+", "+RS", "S-+"}) {
        SCT_SEMA sema = {"s", "me", "", 0};
        EXPECT_EQ(i_SEMA(letters[0], &sema, {}), 0);
        const pid_t first = start(letters[2]);
        EXPECT_FALSE(is_told(30));
        EXPECT_EQ(i_SEMA(letters[1], &sema, {}), 0);
        EXPECT_TRUE(is_told());
        const pid_t second = start(letters[2]);
        EXPECT_FALSE(is_told(30));
        waitpid(first, nullptr, kill(first, SIGKILL));
        EXPECT_TRUE(is_told());
        const std::string holder = std::to_string(second) + " holder %s";
        const std::string holds = "another process " + holder + " is holding semaphore s";
        expect("*", 1, holds);
        expect("-R", 1, "could not reset semaphore bcs. " + holds);
        expect("?", 1, holder);
        for (const std::string letter : {"?", "*"}) { // the holder's text comes behind its lock
            write_file(file, "");
            std::thread writer([&] {
                usleep(20000);
                write_file(file, holder);
            });
            expect(letter, 1, letter == "?" ? holder : holds);
            writer.join();
        }
        write_file(file, "");
        expect("*", 1, "semaphore is occupied by another process");
        expect("?", 2,
               "failed to try to set lock on lock file: (" + std::to_string(EAGAIN) +
                   ") Resource temporarily unavailable");
        write_file(file, holder);
        waitpid(second, nullptr, kill(second, SIGKILL));
        expect("?", 0, "holding process " + holder + " for semaphore s disappeared");
        expect("?", 0, "semaphore s is free"); // the file is empty now
    }
}

TEST_F(Semaphore, SaysWhatIsWrongWithItsFile) {
    const std::string open = "failed to open lock file: ", fatal = open + "(21) Is a directory";
    std::filesystem::create_directory(file);
    expect("+", 3,
           fatal +
               "STATUS=FATAL MSG=Operation '+' for semaphore [s] with caller [me] failed with: " +
               fatal + "\n");
    expect("?", 2, "failed to open semaphore file [<dir>/rw/work/sem/s.sem]: (21) Is a directory");
    std::filesystem::remove(file);
    const auto read_only = [&] { // root may write everywhere
        int code = chmod(in.dir.c_str(), 0555) + chmod(sem.c_str(), 0555);
        code += geteuid() == 0 ? setuid(65534) : 0;
        SCT_SEMA sema = {"s", "me", "", 0};
        code += x_Semaphore('+', file.c_str(), &sema);
        _exit(open + "(13) Permission denied" == sema.szMsg ? code : -1);
    };
    EXPECT_EXIT(read_only(), testing::ExitedWithCode(3), "");
    EXPECT_EQ(chmod(in.dir.c_str(), 0700) + chmod(sem.c_str(), 0700), 0);
    std::filesystem::remove_all(sem);
    expect("*+S", 1, open + "(2) No such file or directory");
    expect("?-", 0, "semaphore s is free");
}

TEST_F(Semaphore, StaysWithTheRecordThatHoldsIt) {
    SCT_SEMA sema = {"s", "me", "", 0};
    for (const char letter : {'+', 'S', '*', '+'}) {
        EXPECT_EQ(i_SEMA(letter, &sema, {}), 0);
    }
    const int next = dup(2); // the next descriptor that is free is as before
    close(next);
    EXPECT_EQ(i_SEMA('+', &sema, {}), 0);
    EXPECT_EQ(dup(2), next);
    const pid_t other = start('+');
    EXPECT_FALSE(is_told(30));
    EXPECT_EQ(i_SEMA('-', &sema, {}), 0);
    EXPECT_TRUE(is_told());
    waitpid(other, nullptr, kill(other, SIGKILL));
}

TEST_F(Semaphore, HasALockFileOfItsOwnOrNone) {
    for (const int more : {0, 1}) { // the path has 575 bytes, then one more
        const size_t size = 575 - strlen("sem/s.sem") + static_cast<size_t>(more);
        std::string path = in.dir + '/' + std::string(200, 'w') + '/' + std::string(200, 'w') + '/';
        path += std::string(size - path.size() - 1, 'w') + '/';
        std::filesystem::create_directories(path + "sem");
        in.set_ini(in.path("rw/ini/vn.ini"), "Pathes", "gv_rw_work", path);
        SCT_SEMA sema = {"s", "me", "", 0};
        EXPECT_EQ(i_SEMA('*', &sema, {}), more == 0 ? 0 : 2) << sema.szMsg;
        EXPECT_EQ(std::string(sema.szMsg).find("path of lock file is too long") == 0, more == 1);
        EXPECT_EQ(i_SEMA('-', &sema, {}), more == 0 ? 0 : 2);
    }
}

TEST_F(Semaphore, WaitingForEachOtherIsAFailureOfOne) {
    SCT_SEMA first = {"s", "me", "", 0}, second = {"t", "me", "", 0};
    EXPECT_EQ(i_SEMA('+', &first, {}), 0);
    const pid_t other = fork();
    if (other == 0) {
        first.hSema = 0;
        const bool held = i_SEMA('+', &second, {}) == 0 && write(told[1], "+", 1) == 1;
        _exit(held ? i_SEMA('+', &first, {}) : 9);
    }
    EXPECT_TRUE(is_told());
    testing::internal::CaptureStdout();
    const int code = i_SEMA('+', &second, {});
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(i_SEMA('-', &first, {}), 0);
    int state = 0;
    waitpid(other, &state, 0);
    EXPECT_EQ(code + WEXITSTATUS(state), 3);
    if (code == 3) {
        EXPECT_STREQ(second.szMsg, "file lock with fcntl() failed: (35) Resource deadlock avoided");
    }
}

// Only "/tmp" is made for a lock file; seen where there is none.
TEST_F(Semaphore, MakesTheTemporaryDirectory) {
    const auto use = [&](const str_log &) {
        if (chroot(in.dir.c_str()) != 0) {
            _exit(9);
        }
        umask(0);
        for (const char *path : {"/tmp/s.sem", "/nosuch/s.sem", "/nosuch/s.sem"}) {
            SCT_SEMA sema = {"s", "me", "", 0};
            const int code = x_Semaphore('+', path, &sema);
            struct stat status = {};
            stat("/tmp", &status);
            std::printf("%s %d %d %o '%s'\n", path, code, sema.hSema > 0, status.st_mode & 0777,
                        sema.szMsg);
            std::filesystem::remove_all("/tmp/s.sem");
            if (*path == '/' && path[1] == 't') {
                rmdir("/tmp");
            }
        }
    };
    const std::string none = "(2) No such file or directory'\n";
    const std::string text = service(in, "tmp", 0, use);
    if (text == "== tmp\n--- exit status\n9\n") {
        GTEST_SKIP() << "needs the right to change the root directory";
    }
    EXPECT_EQ(text, "== tmp\n--- standard output\n/tmp/s.sem 0 1 775 ''\n/nosuch/s.sem 1 0 775 "
                    "'directory /tmp created >> retry creation of lock file failed: " +
                        none + "/nosuch/s.sem 1 0 775 'failed to open lock file: " + none);
}

// What both levels show of every letter on a semaphore that is free, held here, held elsewhere,
// left by a dead holder, and of one whose file cannot be had.
TEST_F(Semaphore, IsTracedWhole) {
    SCT_SEMA sema = {"s", "me", "", 0};
    const auto use = [&](const std::string &letters, const str_log &log) {
        for (const char letter : letters) {
            const int code = i_SEMA(letter, &sema, log);
            std::printf("%c %d %d %s", letter, code, sema.hSema > 0, sema.szMsg);
            const bool dir = std::filesystem::is_directory(file);
            const std::string text = dir ? "" : read_file(file).value_or("no file");
            std::printf(" '%s'\n", text == std::to_string(getpid()) + " me" ? "own" : text.c_str());
        }
    };
    const auto alone = [&](const str_log &log) {
        use("?-*", log);
        EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0644));
        EXPECT_EQ(fcntl(sema.hSema, F_GETFD), FD_CLOEXEC);
        write_file(file, "");
        use("*+S-+", log);
        write_file(file, "");
        use("Rx", log);
        write_file(file, "17 gone");
        use("?R", log);
        std::filesystem::remove(file);
        std::filesystem::create_directory(file);
        use("*?", log);
        std::filesystem::remove_all(sem);
        use("*?-", log);
        text_copy(sema.szSema, std::string(31, 'n')); // the inquiry's name is cut
        std::filesystem::create_directory(sem);
        use("?", log);
        sema.hSema = 999; // no descriptor
        use("-", log);
    };
    const auto refused = [&](const str_log &log) { use("*?-", log); };
    umask(022);
    std::string all;
    for (const int level : {1, 2}) {
        all += service(in, "alone, level " + std::to_string(level), level, alone);
        const pid_t other = start('+');
        EXPECT_TRUE(is_told());
        for (const std::string holder : {"17 holder %s", ""}) {
            write_file(file, holder);
            const auto begin = std::chrono::steady_clock::now();
            all += service(in, "held by [" + holder + "]", level, refused);
            const auto end = std::chrono::steady_clock::now();
            EXPECT_GE(end - begin, std::chrono::milliseconds(holder.empty() ? 3 * 20 * 5 : 0));
        }
        waitpid(other, nullptr, kill(other, SIGKILL));
    }
    expect_file("semaphore.txt", all);
}

TEST_F(Semaphore, LetsOneOfFiftyProcessesInAtATime) {
    const std::string counter = in.path("counter");
    write_file(counter, "0");
    for (int i = 0; i < 50; i++) {
        if (fork() != 0) {
            continue;
        }
        SCT_SEMA sema = {"s", "counter", "", 0};
        for (int n = 0;; n++) {
            if (n == 50 || i_SEMA('+', &sema, {}) != 0) {
                _exit(n - 50);
            }
            write_file(counter, std::to_string(std::stoi(*read_file(counter)) + 1));
            if (i_SEMA('-', &sema, {}) != 0) {
                _exit(1);
            }
        }
    }
    for (int state = 0; wait(&state) > 0;) {
        EXPECT_EQ(state, 0);
    }
    EXPECT_EQ(read_file(counter), "2500");
}

} // namespace
