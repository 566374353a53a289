// Changing a value of an INI file: the layout that is written, and files that must stay as they
// are.
#include "common/unix/cm_kernel.h"
#include "common/unix/configuration/ini_file.h"
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace vn_test;
using namespace std::string_literals;

namespace {

TEST(IniChange, RewritesTheWholeFile) {
    Installation installation;
    const std::string file = installation.path("x.ini");
    const std::string large(1 << 20, 'x');
    struct {
        std::string before;
        std::string section, key, value;
        std::string after;
    } const cases[] = {
        {"# c\n; d\n[Pathes]\ngv_rw = /opt/x/ ; why\nq=\"a;b#c\"\ns = 'x y'\nempty=\n\n"
         "[SETUP]\nlang=en\n",
         "SETUP", "lang", "de",
         "\n[Pathes]\ngv_rw=/opt/x/\nq=a;b#c\ns=x y\nempty=\n\n[SETUP]\nlang=de\n\n"},
        {"[A]\nro=/a#b\nk=1\n", "A", "k", "2", "\n[A]\nro=/a\nk=2\n\n"},
        {"[A]\nk=1\n", "A", "new", "%s%n %d", "\n[A]\nk=1\nnew=%s%n %d\n\n"},
        {"[A]\nKey=1\n", "A", "key", "2", "\n[A]\nKey=1\nkey=2\n\n"},
        {"[A]\nk=1\n", "a", "k", "2", "\n[A]\nk=1\n\n"}, // no such section
        {"[E]\n[A]\nk=1\n", "E", "k", "2", "\n[E]\nk=2\n\n[A]\nk=1\n\n"},
        {"[E]\n[A]\nk=1\n", "A", "k", "", "\n[E]\n\n[A]\nk=\n\n"},
        {"[A]\r\nk=1\r\nl=2", "A", "k", "3", "\n[A]\nk=3\nl=2\n\n"},
        {"[A]\nk=1\n[B]\nk=2\n[A]\nl=3\n", "A", "l", "4", "\n[A]\nk=1\nl=4\n\n[B]\nk=2\n\n"},
        {"#" + large + "\n[A]\nk=" + large + "\nl=1\n", "A", "l", "2",
         "\n[A]\nk=" + large + "\nl=2\n\n"},
        {"[A]\nk=1\n", "A", std::string(253, 'n'), "2", // "A:" and the name have 255 characters
         "\n[A]\nk=1\n" + std::string(253, 'n') + "=2\n\n"},
        // Without a section: a layout of its own, and nowhere for the new entry.
        {"# c\nk=1\nl = \"x y\"", "A", "k", "2", "k = 1\nl = x y\n"},
        {"k=1\n", "", "k", "2", "k = 1\n"},
        {"", "A", "k", "2", ""},
    };
    for (const auto &c : cases) {
        write_file(file, c.before);
        EXPECT_EQ(i_change_ini(file.c_str(), c.section.c_str(), c.key.c_str(), c.value.c_str()), 1);
        EXPECT_EQ(read_file(file), c.after) << "from " << c.before.substr(0, 80);
    }
}

TEST(IniChange, LeavesAloneWhatItCannotTakeIn) {
    Installation installation;
    const std::string file = installation.path("x.ini");
    for (const std::string &content :
         {"[A]\nk=1\nneither section nor entry\n"s, "[A\nk=1\n"s, "[A]\nk=1\n=v\n"s,
          "[A]\nk=1\n[ ]\n"s, "[A]\nk=1\0\n"s, "[A]\nk=1\n" + std::string(1 << 20, 'x')}) {
        write_file(file, content);
        EXPECT_EQ(i_change_ini(file.c_str(), "A", "k", "2"), 0) << content.substr(0, 80);
        EXPECT_EQ(read_file(file), content);
    }
    const std::string pipe = installation.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string &path : {pipe, installation.dir, installation.path("none"), "/dev/full"s,
                                    "/" + std::string(5000, 'n')}) {
        EXPECT_EQ(i_change_ini(path.c_str(), "A", "k", "2"), 0) << path;
    }
    EXPECT_EQ(read_file(installation.path("none")), std::nullopt);
}

TEST(IniChange, RefusesAnEntryThatWouldReadAsSomethingElse) {
    Installation installation;
    const std::string file = installation.path("x.ini"), content = "[A]\nk=1\n";
    write_file(file, content);
    for (const std::string &key :
         {"#k"s, ";k"s, "[k"s, " #k"s, "k=l"s, ""s, " "s, "k\nl"s, std::string(254, 'n')}) {
        EXPECT_EQ(i_change_ini(file.c_str(), "A", key.c_str(), "2"), 0) << key;
    }
    for (const char *end : {"\n", "\r"}) {
        EXPECT_EQ(i_change_ini(file.c_str(), "A", "k", (std::string("2") + end + "[B]").c_str()),
                  0);
        EXPECT_EQ(i_change_ini(file.c_str(), (std::string("A") + end).c_str(), "k", "2"), 0);
    }
    EXPECT_EQ(read_file(file), content);
}

// Calls the code in a child process whose files may not grow beyond `limit` bytes: as on a full
// disk, the first part of a write may still succeed. Returns its result.
int with_file_limit(rlim_t limit, const std::function<int()> &code) {
    const pid_t child = fork();
    if (child == 0) {
        const rlimit bound = {limit, limit};
        _exit(setrlimit(RLIMIT_FSIZE, &bound) == 0 ? code() : 99);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status; // also tells the signal that ended it
}

TEST(IniChange, FullDiskLeavesTheOldFileAndIsSaid) {
    Installation installation;
    const std::string file = installation.path("x.ini"), old = "\n[A]\nk=1\n\n[B]\nl=1\n\n";
    write_file(file, old);
    for (const size_t more : {size_t{0}, size_t{1}, size_t{99}}) {
        EXPECT_EQ(with_file_limit(old.size() + more,
                                  [&] {
                                      char msg[256];
                                      const int done = i_CHANGE_INI_VALUE(
                                          file.c_str(), "A", "k", std::string(101, 'v').c_str(),
                                          msg, sizeof msg);
                                      return done * 2 + (std::string(msg) != "File too large");
                                  }),
                  0);
        EXPECT_EQ(read_file(file), old) << more;
    }
    const std::string full = old + std::string(480, '\n'); // the limit is 512 bytes
    write_file(file, full);
    const CallResult told =
        run_program({"/bin/sh", "-c", "ulimit -f 1; exec \"$@\"", "sh", VN_CLIENT_PROGRAM, "-fu",
                     "-mC", "-i7", "-n", file, "-sA", "-tk", "-d", std::string(500, 'v')},
                    {"PATH=/usr/bin:/bin", "VORNA_INI=" + installation.path("vorna.ini")}, {});
    EXPECT_EQ(told, (CallResult{2, "",
                                "ID=7\nSTATUS=ERROR MSG=write to " + file + ": File too large\n"}));
    EXPECT_EQ(read_file(file), full);
}

TEST(IniChange, WaitsForTheLockButNotForEver) {
    Installation installation;
    const std::string file = installation.path("x.ini"), old = "[A]\nk=1\n";
    write_file(file, old);
    const s_INI_LOCK_POLICY previous = gIniLockPolicy;
    gIniLockPolicy = {5, 5};
    const int held = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(flock(held, LOCK_EX), 0);
    char text[256];
    EXPECT_EQ(i_CHANGE_INI_VALUE(file.c_str(), "A", "k", "2", text, sizeof text), 0);
    EXPECT_STREQ(text, "locked by another process");
    EXPECT_EQ(read_file(file), old);
    close(held);
    EXPECT_EQ(i_change_ini(file.c_str(), "A", "k", "2"), 1);
    gIniLockPolicy = previous;
}

// Who holds the lock for good is waited for once, not at every read of a call.
TEST(IniChange, ReadersWaitInVainOnlyOnce) {
    EXPECT_EQ(gIniLockPolicy.iReadMsec, 1000);
    EXPECT_EQ(gIniLockPolicy.iChangeMsec, 10000);
    Installation installation;
    const std::string file = installation.path("x.ini");
    write_file(file, "[A]\nk=1\n");
    const auto reads = [&] {
        gIniLockPolicy.iReadMsec = 100;
        const int held = open(file.c_str(), O_RDONLY | O_CLOEXEC);
        flock(held, LOCK_EX);
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < 30; i++) {
            char value[8], msg[256];
            if (i_READ_INI(file.c_str(), "[A]", "k", value, sizeof value, msg, sizeof msg) != 1) {
                _exit(2);
            }
        }
        const auto spent = std::chrono::steady_clock::now() - start;
        _exit(spent >= std::chrono::milliseconds(100) && spent < std::chrono::seconds(3) ? 0 : 1);
    };
    EXPECT_EXIT(reads(), testing::ExitedWithCode(0), "");
}

TEST(IniChange, KeepsTheFilesOwnerModeAndLinks) {
    Installation installation;
    const std::string file = installation.path("x.ini"), link = installation.path("link.ini");
    write_file(file, "[A]\nk=1\n");
    ASSERT_EQ(symlink("x.ini", link.c_str()), 0);
    ASSERT_EQ(chmod(file.c_str(), 0640), 0);
    if (geteuid() == 0) {
        EXPECT_EQ(chown(file.c_str(), 12, 34), 0);
    }
    struct stat before = {}, after = {};
    stat(file.c_str(), &before);
    EXPECT_EQ(i_change_ini(link.c_str(), "A", "k", "2"), 1);
    EXPECT_EQ(read_file(file), "\n[A]\nk=2\n\n");
    struct sigaction signal = {}; // a limit on files ends a process as before
    EXPECT_EQ(sigaction(SIGXFSZ, nullptr, &signal), 0);
    EXPECT_EQ(signal.sa_handler, SIG_DFL);
    EXPECT_EQ(lstat(file.c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_mode, before.st_mode);
    EXPECT_EQ(after.st_uid, before.st_uid);
    EXPECT_EQ(after.st_gid, before.st_gid);
    EXPECT_EQ(lstat(link.c_str(), &after), 0);
    EXPECT_TRUE(S_ISLNK(after.st_mode));
}

// As a user without the right to write a file is read and not changed, without that to read
// neither.
TEST(IniChange, RightsOfTheFile) {
    Installation installation;
    const std::string file = installation.path("x.ini"), content = "[A]\nk=1\n";
    ASSERT_EQ(chmod(installation.dir.c_str(), 0755), 0);
    for (const mode_t mode : {0444, 0222, 0000}) {
        write_file(file, content);
        ASSERT_EQ(chmod(file.c_str(), mode), 0);
        const auto use = [&] {
            if (geteuid() == 0 && setuid(65534) != 0) {
                _exit(9);
            }
            char value[8], msg[256];
            const int read = i_GetPrivateProfileString(file.c_str(), "[A]", "k", value,
                                                       sizeof value, msg, sizeof msg);
            _exit(10 * i_change_ini(file.c_str(), "A", "k", "2") + read);
        };
        EXPECT_EXIT(use(), testing::ExitedWithCode(mode == 0444 ? 1 : 0), "");
        ASSERT_EQ(chmod(file.c_str(), 0600), 0);
        EXPECT_EQ(read_file(file), content);
    }
}

// One process changes a value between two lengths, others read what stands around it.
TEST(IniChange, ReadsBesideItNeverFail) {
    Installation installation;
    const std::string file = installation.path("x.ini"), around(6000, 'x');
    write_file(file, "\n[A]\nfirst=f\nk=\nlong=" + around + "\n\n[B]\nlast=l\n\n");
    const pid_t child = fork();
    if (child == 0) {
        const std::string values[] = {"short", std::string(300, 'v')};
        for (int i = 0; i < 400; i++) {
            if (i_change_ini(file.c_str(), "A", "k", values[i % 2].c_str()) != 1) {
                _exit(1);
            }
        }
        _exit(0);
    }
    int status = -1, reads = 0;
    while (waitpid(child, &status, WNOHANG) == 0 || reads < 400) {
        char value[1024], msg[256];
        ASSERT_EQ(i_READ_INI(file.c_str(), "[B]", "last", value, sizeof value, msg, sizeof msg), 1)
            << msg;
        ASSERT_STREQ(value, "l");
        const std::string foreign = read_file(file).value_or("");
        ASSERT_TRUE(foreign.starts_with("\n[A]\nfirst=f\nk=")) << foreign;
        reads++;
    }
    EXPECT_EQ(status, 0);
}

// A change that is killed at any moment leaves the whole old or the whole new text, apart from
// blank lines at its end.
TEST(IniChange, KilledOneLeavesOldOrNew) {
    Installation installation;
    const std::string file = installation.path("x.ini");
    const std::string texts[] = {"\n[A]\nk=1\n\n[B]\nl=1",
                                 "\n[A]\nk=" + std::string(500, 'v') + "\n\n[B]\nl=1"};
    const std::string values[] = {"1", std::string(500, 'v')};
    for (int i = 0; i < 100; i++) {
        write_file(file, texts[0] + "\n\n");
        const pid_t child = fork();
        if (child == 0) {
            for (int turn = 1;; turn = 1 - turn) {
                i_change_ini(file.c_str(), "A", "k", values[turn].c_str());
            }
        }
        usleep(static_cast<useconds_t>(200 + 37 * i));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        std::string left = read_file(file).value_or("");
        left.erase(left.find_last_not_of('\n') + 1);
        EXPECT_TRUE(left == texts[0] || left == texts[1]) << left;
    }
}

TEST(IniChange, ConcurrentChangesBothCount) {
    Installation installation;
    const std::string file = installation.path("x.ini");
    write_file(file, "[A]\n");
    std::vector<pid_t> children;
    for (const char *key : {"a", "b", "c", "d"}) {
        children.push_back(fork());
        if (children.back() == 0) {
            for (int i = 0; i < 25; i++) {
                i_change_ini(file.c_str(), "A", (key + std::to_string(i)).c_str(), "1");
            }
            _exit(0);
        }
    }
    for (const pid_t child : children) {
        waitpid(child, nullptr, 0);
    }
    EXPECT_EQ(lines_of(read_file(file).value_or("")).size(), 100 + 3U);
}

TEST(IniChange, IsSeenByTheReader) {
    Installation installation;
    for (const char *identifier : {"VN_INI", "", static_cast<const char *>(nullptr)}) {
        const std::string language = std::string("x") + (identifier ? identifier : "(null)");
        EXPECT_EQ(i_change_ini(identifier, "SETUP", "lang", language.c_str()), 1);
        char value[64], message[256];
        EXPECT_EQ(i_READ_INI("VN_INI", "[SETUP]", "lang", value, 64, message, 256), 1) << message;
        EXPECT_EQ(value, language);
    }
}

} // namespace
