// Running programs: what the caller gets, and how every abnormal end is told.
#include "common/common/cm_message.h"
#include "common/unix/cm_hal_unix.h"
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <csignal>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

using namespace vn_test;

namespace {

int exec(const char *file) {
    const char *argv[] = {file, "-c", "kill -9 $$", nullptr};
    return i_cm_execvp(file, const_cast<char **>(argv));
}

// Runs the command and returns what was printed on standard error.
std::string told(int (*run)(const char *), const std::string &command, int result) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(run(command.c_str()), result) << command;
    return testing::internal::GetCapturedStderr();
}

TEST(Run, AbnormalEndsAreTold) {
    Installation in;
    const std::string none = "No such file or directory", of = " of a signal that was not caught: ";
    const std::string caught = " terminated due to the receipt" + of, sh = "/bin/sh ";
    const std::string event = "terminated due to receipt" + of, died = "terminated abnormally";
    const std::string start = "could not start: " + none, x(2000, 'x');
    const std::string absent = "could not start (ENOENT): " + none, end = died + " 0...\n";
    const std::string failed = " could not start!\nstart_", is_2 = ": " + none + " (2)\n";
    const std::tuple<int (*)(const char *), std::string, int, std::string, std::string> cases[] = {
        {i_cm_system, "exit 126", 126, "", ""},
        {i_cm_system, "exit 127 # %s%n" + x, 127,
         "start_system: please check" + is_2 + "start_system: [" + absent + "]\n", absent},
        {i_cm_system, "exit 160", 160, "exe" + caught + "32\n", event + "32"},
        {i_cm_system, "exit 162", 162, "exe" + failed + "system" + is_2, start},
        {i_cm_system, "kill -9 $$", 0, sh + end + "/bin/sh" + caught + "9\n",
         sh + died + "\n" + sh + event + "9"},
        {exec, "sh", 9, "exe " + end + "exe" + caught + "9\n", "exe " + died + "\n" + event + "9"},
        {exec, "/nosuch", 130 * 256,
         "start_exe (child)" + is_2 + "exe /nosuch" + failed + "exe" + is_2, start},
    };
    std::vector<std::string> protocol;
    for (const auto &[run, command, result, err, events] : cases) {
        EXPECT_EQ(told(run, command, result), err) << command;
        const std::string subject = run == exec ? "Error: start_exe: " : "Error: start_system: ";
        for (const std::string &text : lines_of(events)) {
            protocol.push_back("<time> E008-BASICS [<pid>]: Error in command execution " +
                               (subject + command).substr(0, 1023) + ": " + text);
        }
    }
    EXPECT_EQ(in.protocol(), protocol);
}

TEST(Run, ALostChildIsNoSuccess) {
    Installation in;
    signal(SIGCHLD, SIG_IGN); // the system waits for the children itself
    const std::string lost = "start_system: no child to wait for! No child processes (errno=10)\n";
    EXPECT_EQ(told(i_cm_system, "exit 0", 127), lost + "/bin/sh terminated abnormally 0...\n");
    signal(SIGCHLD, SIG_DFL);
    eLang = LANG_DE;
    EXPECT_EQ(told(i_cm_system, "exit 127", 127),
              "start_system: please check: No such file or directory (2)\nstart_system: [konnte "
              "nicht gestartet werden (ENOENT): No such file or directory]\n");
}

// Of the lines that only name the parent's id somewhere none is the parent's.
TEST(Run, TheParentIsTheLineOfItsId) {
    Installation in;
    const std::string id = std::to_string(getppid()), x(1000, 'x');
    const std::pair<std::string, std::string> cases[] = {
        {"77 vi " + id + "\n  " + id + "  prog -x\n" + id + " other\n", "prog -x"},
        {"77 " + x + "\n" + id + " prog " + x + "\n", "prog " + x.substr(0, 504 - id.size())},
        {"12345 vi " + id + "\n78 " + id + "\n", "vi " + id},
        {"", ""}};
    setenv("PATH", (in.path("ro/bin") + ":/usr/bin:/bin").c_str(), 1);
    write_file(in.path("ro/bin/ps"), "#!/bin/sh\ncat " + in.path("list"));
    chmod(in.path("ro/bin/ps").c_str(), 0755);
    for (const auto &[list, text] : cases) {
        write_file(in.path("list"), list);
        char info[1024];
        EXPECT_EQ(get_parent_info(info, sizeof info), 1);
        EXPECT_EQ(info, text + " (PPID=" + id + ")");
    }
}

TEST(Run, ConventionsOfStartAndWait) {
    Installation in;
    write_file(in.path("ro/bin/prog"), "#!/bin/sh\nexit $1\n");
    chmod(in.path("ro/bin/prog").c_str(), 0755);
    testing::internal::CaptureStdout();
    std::printf("a ");
    told(start_proc, "prog 4; printf 'b '", 0);
    told(exec, "/nosuch", 130 * 256); // the child must not print what the parent had printed
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "a b ");
    told(start_proc, "nosuch prog", -3);
    in.remove_ini(in.path("rw/ini/vn.ini"), "Pathes", "gv_ro_bin");
    told(exec, "sh", 999);
}

} // namespace
