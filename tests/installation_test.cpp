// The test fixture itself: a harness that cannot fail, or that leaves its directory, proves
// nothing.
#include "tests/support/expected.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

using namespace vn_test;

namespace {

CallResult shell(const std::string &script, const CallOptions &options = {}) {
    return run_program({"/bin/sh", "-c", script}, {"PATH=/usr/bin:/bin"}, options);
}

TEST(Program, DeliversInputOutputErrorAndStatus) {
    const std::string large(300000, 'x'); // more than any pipe holds
    CallOptions options;
    options.input = large;
    EXPECT_EQ(shell("tee /dev/stderr; exit 3", options), (CallResult{3, large, large}));
    EXPECT_EQ(shell("exec 0<&-; echo unread", options), (CallResult{0, "unread\n", ""}));
    EXPECT_EQ(shell("kill -9 $$"), (CallResult{128 + 9, "", ""}));
}

// The program waits for all its life, so a slow machine changes nothing.
TEST(Program, OverTheTimeLimitFailsTheTest) {
    CallResult result;
    CallOptions options;
    options.limit = std::chrono::milliseconds(50);
    EXPECT_NONFATAL_FAILURE(result = shell("sleep 60 & wait", options),
                            "was not at its end after 50 ms");
    EXPECT_EQ(result, (CallResult{-1, "", ""}));
    // What was said until then is shown; how long the shell takes to say it is not foreseen.
    for (int limit = 100; limit <= 12800 && result.out.empty(); limit *= 2) {
        options.limit = std::chrono::milliseconds(limit);
        EXPECT_NONFATAL_FAILURE(result = shell("echo begun; sleep 60 & wait", options), "");
    }
    EXPECT_EQ(result, (CallResult{-1, "begun\n", ""}));
}

TEST(InstallationFixture, IsCompleteAndLeavesNothing) {
    const char *before = std::getenv("VORNA_INI");
    const std::string previous = before != nullptr ? before : "(none)";
    std::string dir;
    {
        Installation installation;
        dir = installation.dir;
        EXPECT_EQ(std::getenv("VORNA_INI"), dir + "/vorna.ini");
        EXPECT_EQ(read_file(installation.path("vorna.ini")),
                  "VN_INI=" + dir + "/rw/ini/vn.ini\nVTPD_INI=" + dir + "/rw/ini/vtpd.ini\n");
        EXPECT_EQ(installation.get_glbv("gv_prot"), dir + "/rw/prot/vorna.prot");
        // Every directory of the main INI file is there and ends with "/".
        for (const std::string &line : lines_of(*read_file(installation.path("rw/ini/vn.ini")))) {
            const std::string value = line.substr(line.find('=') + 1);
            EXPECT_TRUE(!line.starts_with("gv_r") ||
                        (value.ends_with('/') && std::filesystem::is_directory(value)))
                << line;
        }
    }
    EXPECT_FALSE(std::filesystem::exists(dir));
    const char *after = std::getenv("VORNA_INI");
    EXPECT_EQ(after != nullptr ? after : "(none)", previous);
}

TEST(InstallationFixture, ChangesOneKeyOfAnIniFile) {
    Installation installation;
    const std::string file = installation.path("x.ini");
    write_file(file, "top=1\n[A]\nk=1\n\n[B]\nk=2\n");
    installation.set_ini(file, "B", "k", "3");
    installation.set_ini(file, "A", "new", "4");
    installation.set_ini(file, "C", "k", "5");
    installation.set_ini(file, "", "second", "6");
    installation.remove_ini(file, "A", "k");
    EXPECT_NONFATAL_FAILURE(installation.remove_ini(file, "A", "k"), "x.ini has no k");
    EXPECT_EQ(read_file(file), "top=1\nsecond=6\n[A]\n\nnew=4\n[B]\nk=3\n[C]\nk=5\n");
}

TEST(InstallationFixture, NormalisesWhatDiffersFromRunToRun) {
    Installation installation;
    EXPECT_EQ(installation.normalised(" 9:05:07#   --- X " + installation.dir + "/rw/\n" +
                                      "23:59:00#  PID=17, parent process: sh (PPID=0)\n" +
                                      "2010-09-16 15:27:50 E003-BASICS [ 12345]: at 15:27:50\n" +
                                      "no time [Pathes] 12"),
              "<time>#   --- X <dir>/rw/\n"
              "<time>#  PID=<pid>, parent process: sh (PPID=<pid>)\n"
              "<time> E003-BASICS [<pid>]: at 15:27:50\n"
              "no time [Pathes] 12");
    EXPECT_EQ(installation.comparable("User= x ID=20261121070507 120261121070507 " +
                                      std::string(VN_CLIENT_PROGRAM " 2026.11.21 06:38:57")),
              "User= x ID=<id> 120261121070507 <agent> <date>");
}

TEST(ExpectedFile, ShowsWhatDiffers) {
    if (std::getenv("VN_RENEW") != nullptr) {
        GTEST_SKIP() << "would write a file";
    }
    EXPECT_NONFATAL_FAILURE(expect_file("no/such", "new\n"), "/no/such (-), see");
    EXPECT_NONFATAL_FAILURE(expect_file("start.txt", "new\n"), "+new\n");
}

TEST(MakeInstallation, RefusesADirectoryThatTheAgentsBuffersCannotHold) {
    const std::string script = VN_SANDBOX_DIR "/make_installation";
    Installation installation;
    const std::string prefix = installation.dir + "/";
    const std::string longest = prefix + std::string(110 - prefix.size(), 'd');
    EXPECT_EQ(run_program({script, longest}, {"PATH=/usr/bin:/bin"}, {}).status, 0);
    EXPECT_EQ(run_program({script, longest + "d"}, {"PATH=/usr/bin:/bin"}, {}),
              (CallResult{1, "",
                          "make_installation: the path " + longest +
                              "d/rw/ini/debug.ini is longer "
                              "than 127 bytes: use a shorter DIR\n"}));
    EXPECT_FALSE(std::filesystem::exists(longest + "d"));
}

} // namespace
