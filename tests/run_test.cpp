// Running programs: what the caller gets, and how every abnormal end is told.
#include "common/unix/cm_hal_unix.h"
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <tuple>

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
        for (const std::string &text : lines_of(events))
            protocol.push_back("<time> E008-BASICS [<pid>]: Error in command execution " +
                               (subject + command).substr(0, 1023) + ": " + text);
    }
    EXPECT_EQ(in.protocol(), protocol);
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
