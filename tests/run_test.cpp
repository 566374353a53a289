// Running programs: what the caller gets, and how every abnormal end is told.
#include "common/common/cm_message.h"
#include "common/unix/cm_hal_unix.h"
#include "common/unix/processes/child.h"
#include "tests/support/service.h"

#include <chrono>
#include <csignal>
#include <pwd.h>
#include <sys/stat.h>

using namespace vn_test;

namespace {

int exec(const char *file, const char *command) {
    const char *argv[] = {file, "-c", command, nullptr};
    return i_cm_execvp(file, const_cast<char **>(argv));
}

// Runs the command and returns what was printed on standard error.
std::string told(int (*run)(const char *), const std::string &command, int result) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(run(command.c_str()), result) << command;
    return testing::internal::GetCapturedStderr();
}

// Every end of a command or a program, without a process for it and without one to wait for.
void end_abnormally(const Installation &in) {
    const std::string stop = "echo $$ >" + in.path("pid") + "; kill -STOP $$", x(2000, 'x');
    for (const std::string &command :
         {std::string("exit 126"), "exit 127 # %s%n" + x, std::string("exit 128"),
          std::string("exit 160"), std::string("exit 161"), std::string("kill -9 $$"), stop,
          std::string(1 << 17, ' ')}) { // more than an argument may have
        std::fprintf(stderr, "%.10s: ", command.c_str());
        const int result = i_cm_system(command.c_str());
        std::fprintf(stderr, "returned %d\n", result);
    }
    kill(std::stoi(read_file(in.path("pid")).value_or("0")), SIGKILL);
    for (const char *command : {"exit 128", "exit 130", "kill -9 $$"}) {
        std::fprintf(stderr, "returned %d\n", exec("sh", command));
    }
    std::fprintf(stderr, "returned %d\n", exec("/nosuch", ""));
    signal(SIGCHLD, SIG_IGN); // the system waits for the children itself
    std::fprintf(stderr, "returned %d\n", i_cm_system("exit 0"));
    std::fprintf(stderr, "returned %d\n", exec("sh", "exit 0"));
    forbid_processes(in);
#ifdef __SANITIZE_ADDRESS__ // whose search for leaks at the exit needs a process
    on_exit([](int status, void *) { _exit(status); }, nullptr);
#endif
    std::fprintf(stderr, "returned %d\n", i_cm_system("exit 0"));
    exec("sh", "exit 0");
}

TEST(Run, AbnormalEndsAreToldWhole) {
    Installation in;
    umask(0);
    std::string all;
    for (const LANGUAGES language : {LANG_EN, LANG_DE, LANG_BY}) {
        const auto use = [&](const str_log &) {
            eLang = language;
            end_abnormally(in);
        };
        const int level = language == LANG_EN ? 1 : 0;
        all += service(in, "language " + std::to_string(language), level, use);
    }
    expect_file("run.txt", all);
}

TEST(Run, StatusIsTakenApart) {
    std::string all;
    for (const int status : {0, 3 << 8, 128 << 8, 137 << 8, 160 << 8, 161 << 8, 9, 19 << 8 | 127}) {
        all += std::to_string(exit_state(status)) + ' ' + std::to_string(exit_code(status)) + ' ' +
               std::to_string(ending_signal(status)) + ' ' + std::to_string(end_signal(status)) +
               ' ' + (ended_well(status) ? "well" : "bad") + ' ' + exit_text(status) + '\n';
    }
    EXPECT_EQ(all, "0 0 0 0 well exit status 0\n3 3 0 0 bad exit status 3\n"
                   "128 128 0 0 bad exit status 128\n137 137 0 9 bad exit status 137\n"
                   "160 160 0 32 bad exit status 160\n161 161 0 0 bad exit status 161\n"
                   "137 0 9 9 bad killed by signal 9\n127 19 0 0 bad exit status 19\n");
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

// The real list: the child's parent is this program, with all its arguments.
TEST(Run, TheParentsCommandIsShown) {
    std::string command;
    for (const std::string &argument : testing::internal::GetArgvs()) {
        command += (command.empty() ? "" : " ") + argument;
    }
    Installation in;
    const std::string parent = command + " (PPID=" + std::to_string(getpid()) + ")\n";
    const auto use = [](const str_log &) {
        char info[1024];
        EXPECT_EQ(get_parent_info(info, sizeof info), 1);
        std::printf("%s\n", info);
        EXPECT_EQ(get_parent_info(info, 5), 1); // cut to fit
        std::printf("%s\n", info);
    };
    EXPECT_EQ(service(in, "", 0, use),
              in.normalised("== \n--- standard output\n" + parent + command.substr(0, 4) + "\n"));
    const auto fail = [&](const str_log &) {
        forbid_processes(in);
        for (const LANGUAGES language : {LANG_EN, LANG_DE, LANG_BY}) {
            eLang = language;
            char info[1024] = "x";
            std::printf("%d [%s]\n", get_parent_info(info, sizeof info), info);
        }
    };
    std::string told = service(in, "a list that cannot be asked", 0, fail);
    const std::string id = "-w " + std::to_string(getpid());
    for (size_t at; (at = told.find(id)) != told.npos;) {
        told.replace(at + 3, id.size() - 3, "<pid>");
    }
    const std::string cause = ": Cannot allocate memory"; // which is the C library's choice
    for (size_t at; (at = told.find(cause)) != told.npos;) {
        told.replace(at, cause.size(), ": <cause>");
    }
    expect_file("parent.txt", told);
}

TEST(Run, ConventionsOfStartAndWait) {
    Installation in;
    write_file(in.path("ro/bin/prog"), "#!/bin/sh\nexit $1\n");
    chmod(in.path("ro/bin/prog").c_str(), 0755);
    testing::internal::CaptureStdout();
    std::printf("a ");
    told(start_proc, "prog 4; printf 'b '", 0);
    exec("/nosuch", ""); // the child must not print what the parent had printed
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "a b ");
    told(start_proc, "nosuch prog", -3);
    told(start_proc, "", -3);
    told(start_proc, in.path("ro/bin/prog 5"), 5);
    told(start_system, "exit 7", 7);
    told(i_cm_system_state, "exit 7", 7);
    told(i_cm_system_state, "kill -9 $$", 137);
    EXPECT_EQ(start_proc(nullptr), 1);
    for (const char *command : {"prog", "prog nosuch"}) {
        EXPECT_EQ(bSetInterpreter(command, 0), 1);
    }
    for (const char *command : {"pro", "nosuch prog", "prognosuch"}) {
        EXPECT_EQ(bSetInterpreter(command, 0), 0);
    }
    char text[9]; // cut to fit
    EXPECT_EQ(bIsFileExecutable("/", text, sizeof text), 1);
    EXPECT_STREQ(text, "/ is exi");
    EXPECT_EQ(bIsFileExecutable("/!", text, sizeof text), 0);
    EXPECT_STREQ(text, "/! not f");
    char user[64];
    GET_USER_NAME(user, sizeof user);
    EXPECT_STREQ(user, getpwuid(geteuid())->pw_name);
    const auto begin = std::chrono::steady_clock::now();
    signal(SIGALRM, [](int) {}); // interrupts the rest, which goes on
    ualarm(5000, 5000);
    wait_msec(0);
    wait_msec(40);
    ualarm(0, 0);
    const auto rest = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(rest, std::chrono::milliseconds(40));
    EXPECT_LT(rest, std::chrono::seconds(10));
    in.remove_ini(in.path("rw/ini/vn.ini"), "Pathes", "gv_ro_bin");
    testing::internal::CaptureStderr();
    EXPECT_EQ(exec("sh", "exit 0"), 999);
    EXPECT_TRUE(
        testing::internal::GetCapturedStderr().ends_with("error occured in i_setenv_vorna\n"));
}

} // namespace
