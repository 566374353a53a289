// The end of a request, called directly: what no function's answer reaches, the statuses outside
// the three known ones and messages at the edge of their buffer. Every end is a child process's.
#include "common/common/text.h"
#include "kernel/request/finish.h"
#include "kernel/request/options.h"
#include "kernel/request/performance_record.h"
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace vn_test;

namespace {

// Runs the code in a child process with its standard error in the file. Returns its exit status.
int status_of(const std::string &error, const std::function<void()> &code) {
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(open(error.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600), STDERR_FILENO);
        code();
        _exit(99);
    }
    int state = -1;
    waitpid(pid, &state, 0);
    return WIFEXITED(state) ? WEXITSTATUS(state) : -1;
}

// Ends a request with the identifier 7 of a function. Returns its exit status, what it has written
// to standard error, and both variables.
std::string end(const Installation &in, char function, int status, const std::string &message,
                bool remote = false) {
    const int exit_status = status_of(in.path("err"), [&] {
        text_copy(gszId, "7");
        text_copy(strLog.szFile, in.path("rw/lgc/vn_client_.lgc"));
        strLog.iFlg = 1;
        gcFunc = function;
        gFlag.Remote = remote ? 1 : 0;
        FINISH(status, message.c_str());
    });
    const std::string all = std::to_string(exit_status) + "\n" +
                            read_file(in.path("err")).value_or("no record\n") +
                            in.get_glbv("gv_client_sts_7").value_or("none") + " " +
                            in.get_glbv("gv_client_msg_7").value_or("none");
    in.remove_glbv("gv_client_sts_7");
    in.remove_glbv("gv_client_msg_7");
    return all;
}

TEST(Finish, EveryStatusHasItsWordItsVariablesAndItsExitStatus) {
    Installation in;
    const struct {
        int status, exit;
        std::string word;
    } cases[] = {{0, 0, "SUCCESS"}, {1, 1, "WARNING"},  {2, 2, "ERROR"},  {3, 3, "ERROR"},
                 {5, 5, "ERROR"},   {-1, 255, "ERROR"}, {256, 0, "ERROR"}};
    for (const auto &c : cases) {
        const std::string number = std::to_string(c.status), exit = std::to_string(c.exit);
        const std::string record = "\nID=7\nSTATUS=" + c.word + " MSG=%s%n x\n";
        EXPECT_EQ(end(in, 'k', c.status, "%s%n x"), exit + record + number + " %s%n x");
        std::vector<std::string> trace = {"<time># unexpected exit code " + number,
                                          "<time># +++ FINISH Sts= " + c.word + ", Msg= %s%n x",
                                          "<time>#   write GLBV gv_client_sts_ 7",
                                          "<time># --- FINISH "};
        trace.erase(trace.begin(), trace.begin() + (c.status >= 0 && c.status <= 2 ? 1 : 0));
        EXPECT_EQ(in.trace(), trace);
        std::filesystem::remove(in.path("rw/lgc/vn_client_.lgc"));
        EXPECT_EQ(end(in, 'k', c.status, "%s%n x", true), exit + record + "none none"); // remote
        EXPECT_EQ(end(in, FUNCTION_UNKNOWN, c.status, "%s%n x"), exit + record + "none none");
        std::filesystem::remove(in.path("rw/lgc/vn_client_.lgc"));
    }
}

TEST(Finish, AMessageHolds2047Bytes) {
    Installation in;
    const std::string full(2047, 'm');
    for (const std::string &message : {full, full + "n"}) {
        EXPECT_TRUE(end(in, 'k', 0, message) ==
                    "0\nID=7\nSTATUS=SUCCESS MSG=" + full + "\n0 " + full);
    }
}

// The caller reads the record before the process has gone.
TEST(Finish, PausesAfterItsRecord) {
    Installation in;
    for (int i = 0; i < 3; i++) {
        const auto before = std::chrono::steady_clock::now();
        end(in, FUNCTION_UNKNOWN, 0, "");
        EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(10));
    }
}

// With all memory taken, what was set aside suffices for the variables.
TEST(Finish, TellsALackOfMemoryInEveryWay) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer's own memory cannot be limited";
#endif
    Installation in;
    EXPECT_EQ(status_of(in.path("err"),
                        [] {
                            text_copy(gszId, "7");
                            gcFunc = 'k';
                            FINISH_WITHOUT_MEMORY();
                            rlim_t pages = 0;
                            std::ifstream("/proc/self/statm") >> pages;
                            const rlim_t bytes = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
                            const rlimit limit = {bytes, bytes};
                            setrlimit(RLIMIT_AS, &limit);
                            for (size_t size = 1 << 20; size >= 16; size /= 2) {
                                for (void *volatile taken = std::malloc(size); taken != nullptr;) {
                                    taken = std::malloc(size);
                                }
                            }
                            [[maybe_unused]] void *none = ::operator new(1);
                        }),
              2);
    EXPECT_EQ(read_file(in.path("err")), "ID=7\nSTATUS=ERROR MSG=out of memory\n");
    EXPECT_EQ(in.get_glbv("gv_client_sts_7"), "2");
    EXPECT_EQ(in.get_glbv("gv_client_msg_7"), "out of memory");
}

TEST(Figures, ReachTheCallerOrAreSkipped) {
    Installation in;
    const std::string file = in.path("figures"), told = "ID=7\nfigures %s%n\n";
    const auto deliver = [&](const std::string &path, bool remote) {
        std::filesystem::remove(in.path("rw/lgc/vn_client_.lgc"));
        return status_of(in.path("err"), [&] {
            text_copy(gszId, "7");
            text_copy(strLog.szFile, in.path("rw/lgc/vn_client_.lgc"));
            strLog.iFlg = 1;
            gFlag.Remote = remote ? 1 : 0;
            [[maybe_unused]] std::FILE *out = std::freopen(in.path("out").c_str(), "w", stdout);
            if (remote && path == "/dev/full") {
                out = std::freopen(path.c_str(), "w", stdout);
            }
            _exit(iWRITE_PERF_FILE(path.c_str(), "figures %s%n"));
        });
    };
    std::vector<std::string> trace = {"<time># +++ WRITE_PERF_FILE    figures %s%n ", ""};
    const std::string created = in.path("created"), pipe = in.path("pipe"); // nobody reads it
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    write_file(file, std::string(100, 'o')); // what was there is replaced
    for (const std::string &path :
         {file, created, pipe, in.path("no/file"), std::string("/dev/full")}) {
        EXPECT_EQ(deliver(path, false), 1) << path;
        trace[1] = in.normalised("<time># --- WRITE_PERF_FILE " + path + " ");
        EXPECT_EQ(in.trace(), trace);
        EXPECT_EQ(read_file(in.path("out")), "");
    }
    const std::string full = read_file(in.path("err")).value_or("");
    EXPECT_TRUE(full.starts_with("\nFILE_CLOSE error: No space left on device\n")) << full;
    EXPECT_EQ(read_file(file), told);
    EXPECT_EQ(read_file(created), told);
    EXPECT_EQ(deliver(in.path("none"), true), 1);
    EXPECT_EQ(in.trace().at(1), "<time># --- WRITE_PERF_FILE: to stdout");
    EXPECT_EQ(read_file(in.path("out")), told);
    EXPECT_FALSE(std::filesystem::exists(in.path("none")));
    EXPECT_EQ(deliver("/dev/full", true), 2);
    EXPECT_EQ(read_file(in.path("err")),
              "ID=7\nSTATUS=ERROR MSG=write to standard output: No space left on device\n");
}

} // namespace
