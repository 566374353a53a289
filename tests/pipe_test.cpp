// Pipes to child processes: real shells, both channels read from one loop as the agent does it.
#include "common/unix/cm_hal_pipe.h"
#include "common/unix/cm_trace.h"
#include "tests/support/service.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Adds what one call reads to the text: ";" behind a line or piece, "." behind the end of file.
int read_one(bool error, DB_PROC_PIP *pipe, int max, std::string *text) {
    std::vector<char> line(static_cast<size_t>(max) + 1); // just what the reader may fill
    const int result = (error ? iPIPE_READ_STDERR : iPIPE_READ)(pipe, line.data(), max);
    *text += line.data() + std::string(result == 1 ? ";" : result == 0 ? "." : "");
    return result;
}

// All that the child still gives, as "<output> <errors> <exit code>".
std::string read_all(DB_PROC_PIP pipe, int max = 1023) {
    std::string text[2];
    while (pipe.iMax_read != 0) {
        for (const int error : {0, 1}) {
            if (const int fd = error ? pipe.ifdErr : pipe.ifdOut; FD_ISSET(fd, &pipe.fdset_read)) {
                read_one(error, &pipe, max, &text[error]);
            }
        }
    }
    return text[0] + ' ' + text[1] + ' ' + std::to_string(iPIPE_CLOSE(&pipe));
}

DB_PROC_PIP open(const std::string &command, char (&&text)[80] = {}) {
    DB_PROC_PIP pipe;
    EXPECT_EQ(iPIPE_OPEN(command.c_str(), "re", text, sizeof text, &pipe), 0) << text;
    return pipe;
}

TEST(Pipe, GivesLinesPiecesAndExitCode) {
    const std::tuple<const char *, int, const char *> cases[] = {
        {"printf 'a\\r\\nb\\rc\\n\\nlast'; echo b >&2; exit 3", 80, "a;b;;last. b;. 3"},
        {"printf 'a\\0b\\n\\0\\n'", 80, "a;;. . 0"},
        {"printf '1234567\\n123\\n12\\r\\n123\\r\\n'", 3, "123;456;7;123;;12;;123;;. . 0"},
        {"echo a; kill -9 $$", 80, "a;. . 0"},
        {"exec 2>&-; echo a; exit 255", 80, "a;. . 255"},
        {"exec >&-; echo b >&2", 80, ". b;. 0"}};
    for (const auto &[command, max, told] : cases) {
        EXPECT_EQ(read_all(open(command), max), told) << command;
    }
    const std::string longer(1 << 17, ' '); // than the system takes
    EXPECT_EQ(read_all(open("exit 3 #" + longer)), ". . 127");
    const std::string mega = read_all(open("head -c 10000000 /dev/zero | tr '\\0' x"));
    EXPECT_EQ(mega.size(), 10000000U + 9775 + std::string(". . 0").size());
    std::string lines;
    for (int i = 1; i <= 20000; i++) {
        lines += std::to_string(i) + ';';
    }
    EXPECT_EQ(read_all(open("for i in $(seq 20000); do echo $i; echo $i >&2; done")),
              lines + ". " + lines + ". 0");
}

TEST(Pipe, LeavesAnUnfinishedLineToTheCallerAndAGrandchildAlone) {
    vn_test::Installation in;
    ASSERT_EQ(mkfifo(in.path("go").c_str(), 0600), 0);
    auto pipe =
        open("printf par; sleep 60 & echo $! >&2; echo f >&2; cat " + in.path("go") + "; exit 4");
    std::string out, err;
    while (read_one(true, &pipe, 80, &err) == -1) {
    }
    for (int i = 0; i < 2; i++) { // the other channel has data, the beginning is not repeated
        EXPECT_EQ(read_one(false, &pipe, 80, &out), -1);
    }
    EXPECT_EQ(read_one(true, &pipe, 80, &err), 1);
    vn_test::write_file(in.path("go"), "tial\n");
    EXPECT_EQ(read_one(false, &pipe, 80, &out), 1);
    EXPECT_EQ(out + err.substr(err.find(';')), "partial;;f;");
    EXPECT_EQ(iPIPE_CLOSE(&pipe), 4);
    EXPECT_EQ(kill(std::stoi(err), SIGKILL), 0); // it holds the pipe
}

TEST(Pipe, WithoutDescriptorsFailsAndLeavesNoneOpen) {
    const int first_free = dup(2);
    rlimit old = {};
    getrlimit(RLIMIT_NOFILE, &old);
    for (rlim_t left = 0; left < 4; left++) {
        close(first_free);
        const rlimit limit = {static_cast<rlim_t>(first_free) + left, old.rlim_max};
        DB_PROC_PIP pipe;
        char text[80] = "";
        setrlimit(RLIMIT_NOFILE, &limit);
        EXPECT_EQ(iPIPE_OPEN("echo a", "re", text, sizeof text, &pipe), -1);
        setrlimit(RLIMIT_NOFILE, &old);
        EXPECT_STREQ(text, "PIPE_OPEN failed (24): Too many open files");
        EXPECT_EQ(dup(2), first_free);
    }
    const rlimit many = {1100, old.rlim_max};
    if (setrlimit(RLIMIT_NOFILE, &many) == 0) { // select takes descriptors up to 1023
        while (dup(2) < 1022) {
        }
        for (const int fits : {1, 0}) {
            DB_PROC_PIP pipe;
            char text[80] = "";
            EXPECT_EQ(iPIPE_OPEN("exit 6", "r", text, sizeof text, &pipe), fits - 1);
            EXPECT_STREQ(text, fits == 1 ? "" : "PIPE_OPEN failed (24): Too many open files");
            if (fits == 1) {
                EXPECT_EQ(pipe.ifdOut, 1023);
                EXPECT_EQ(read_all(pipe), ".  6");
            }
            EXPECT_EQ(dup(2), 1024 - fits);
        }
    }
}

TEST(Pipe, TellsOfStandardStreamsThatAreNotThere) {
    vn_test::Installation in;
    vn_test::write_file(in.path("f"), "one\n");
    str_log log = {};
    v_set_log_main("t.tra", "NOSUCH", &log);
    v_set_log(2, 0, &log);
    const int kept[] = {dup(0), dup(1), dup(2)};
    for (const int fd : {0, 1, 2}) {
        close(fd);
    }
    DB_PROC_PIP pipe;
    char text[80];
    const int result = iPIPE_OPEN_STDIN("sleep 0.1; cat; echo b >&2", "rwe", in.path("f").c_str(),
                                        text, 80, &pipe);
    const std::string told = read_all(pipe);
    for (const int fd : {0, 1, 2}) {
        dup2(kept[fd], fd);
        close(kept[fd]);
    }
    EXPECT_EQ(std::to_string(result) + told, "0one;. b;. 0");
    const std::string trace = *vn_test::read_file(in.path("rw/lgc/t.tra"));
    const std::string bad = " (9): Bad file descriptor\n";
    for (const std::string &line :
         {": Error could not duplicate old stdin" + bad, "PIPE_OPEN: close(1) error" + bad,
          "PIPE_OPEN: close(2) error" + bad, std::string("call select()\n")}) {
        EXPECT_NE(trace.find(line), std::string::npos) << line << trace;
    }
    const size_t select = trace.find("call select()\n"); // a read before it, one behind it
    EXPECT_LT(trace.find("call read()\n"), select);
    EXPECT_LT(trace.find("call read()\n", select), trace.find("[one]"));
}

TEST(Pipe, FeedsAFileThatStaysTheCallersInput) {
    vn_test::Installation in;
    const std::string file = in.path("f");
    vn_test::write_file(file, "one\n");
    DB_PROC_PIP pipe;
    char text[80];
    EXPECT_EQ(iPIPE_OPEN_STDIN("cat", "r", "-", text, sizeof text, &pipe), -1);
    EXPECT_STREQ(text, "Mode \"r\" is not allowed! Use mode with \"w\".");
    for (const char *name : {file.c_str(), "STDIN", "-"}) {
        EXPECT_EQ(iPIPE_OPEN_STDIN("cat", "rw", name, text, sizeof text, &pipe), 0);
        EXPECT_EQ(read_all(pipe), "one;.  0");
        EXPECT_EQ(lseek(0, 0, SEEK_SET), 0); // the child has moved it
    }
}

// Until the child has ended: what it has written is there, and its pipes are at their end.
void await(const DB_PROC_PIP &pipe) {
    siginfo_t info;
    waitid(P_PID, static_cast<id_t>(pipe.iChildPid), &info, WEXITED | WNOWAIT);
}

int go = -1;

void write_go(int) {
    static int ticks = 0;
    if (++ticks == 4) {
        (void)!write(go, "go\n", 3);
    }
}

TEST(Pipe, IsTracedWhole) {
    vn_test::Installation in;
    const std::string fifo = in.path("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const auto use = [&](const str_log &) {
        DB_PROC_PIP pipe;
        char text[80] = "";
        const auto open = [&](const char *command, const char *mode) {
            std::printf("open %d ", iPIPE_OPEN(command, mode, text, sizeof text, &pipe));
            await(pipe);
        };
        const auto show = [&] { std::printf("%s\n", read_all(pipe).c_str()); };
        open("echo a; echo b >&2; exit 3", "re");
        show();
        open("echo a; kill -9 $$", "r");
        show();
        open("echo b >&2", "e");
        std::string none;
        EXPECT_EQ(read_one(false, &pipe, 79, &none), 0);
        show();
        open("exit 4", "w");
        show();
        for (const char *name : {"nosuch", "-", "r"}) {
            std::memcpy(text, "old", 4);
            const int result = iPIPE_OPEN_STDIN("exit 5", *name == 'r' ? name : "rw", name, text,
                                                sizeof text, &pipe);
            std::printf("%s: %d [%s] %d %d\n", name, result, text, pipe.iChildPid > 0,
                        pipe.ifdOut > 2);
            if (result == 0) {
                show();
            }
        }
        pipe = {}; // a handle whose input was kept, and one that cannot be read
        pipe.iFdOldStdin = 999;
        std::printf("close %d\n", iPIPE_CLOSE(&pipe));
        pipe.ifdOut = 998;
        std::printf("read %d\n", iPIPE_READ(&pipe, text, 79));
        iPIPE_OPEN("exec sleep 60", "re", text, sizeof text, &pipe);
        close(pipe.ifdErr);
        std::printf("wait %d\n", iPIPE_READ(&pipe, text, 79));
        kill(pipe.iChildPid, SIGKILL);
        iPIPE_CLOSE(&pipe);
    };
    const auto fail = [&](const str_log &) {
        DB_PROC_PIP pipe;
        char text[80] = "";
        rlimit old = {};
        getrlimit(RLIMIT_NOFILE, &old);
        const int next = dup(0);
        close(next);
        for (const rlim_t left : {1U, 3U}) { // the trace takes one
            const rlimit limit = {static_cast<rlim_t>(next) + left, old.rlim_max};
            setrlimit(RLIMIT_NOFILE, &limit);
            std::printf("%d %s\n", iPIPE_OPEN("exit 0", "re", text, sizeof text, &pipe), text);
        }
        setrlimit(RLIMIT_NOFILE, &old);
        vn_test::forbid_processes(in);
        std::printf("%d %s\n", iPIPE_OPEN("exit 0", "re", text, sizeof text, &pipe), text);
        std::printf("%d\n", dup(0) == next);
    };
    const auto wait = [&](const str_log &) { // signals interrupt it, the last lets the child go on
        struct sigaction action = {};
        action.sa_handler = write_go;
        sigaction(SIGALRM, &action, nullptr);
        // cppcheck-suppress stlcstrParam; it is the system's open, not the fixture's
        go = ::open(fifo.c_str(), O_RDWR);
        auto pipe = open("exec cat " + fifo);
        std::string line;
        ualarm(50000, 50000);
        EXPECT_EQ(read_one(false, &pipe, 79, &line), 1);
        ualarm(0, 0);
        std::printf("%s\n", line.c_str());
        kill(pipe.iChildPid, SIGKILL);
        await(pipe);
        std::printf("%s\n", read_all(pipe).c_str());
    };
    std::string all = vn_test::service(in, "pipes", 2, use);
    all += vn_test::service(in, "no pipes", 2, fail);
    std::string last; // of the interruptions one line
    for (const std::string &line : vn_test::lines_of(vn_test::service(in, "waits", 2, wait))) {
        all += line == last ? "" : line + "\n";
        last = line;
    }
    vn_test::expect_file("pipe.txt", all);
}

// Of 3000 returns for the other channel one is traced.
TEST(Pipe, TracesOneReturnIn3000) {
    vn_test::Installation in;
    const auto use = [&](const str_log &log) {
        auto pipe = open("echo b >&2; exec sleep 60");
        const auto is_traced = [&] {
            std::string line;
            EXPECT_EQ(read_one(false, &pipe, 79, &line), -1);
            const std::string trace = *vn_test::read_file(log.szFile);
            std::filesystem::remove(log.szFile);
            return trace.find("data for other channel > return -1\n") != std::string::npos;
        };
        int first = 0;
        while (!is_traced()) { // others may have counted
            first++;
        }
        str_log quiet = log;
        quiet.iFlg = 0;
        v_SET_LOCAL_LOG(quiet);
        for (int i = 0; i < 2998; i++) {
            std::string line;
            read_one(false, &pipe, 79, &line);
        }
        v_SET_LOCAL_LOG(log);
        std::printf("%d ", first < 3000);
        std::printf("%d ", is_traced());
        std::printf("%d\n", is_traced());
        kill(pipe.iChildPid, SIGKILL);
    };
    const std::string told = vn_test::service(in, "reads", 2, use);
    EXPECT_NE(told.find("\n1 0 1\n"), std::string::npos) << told;
}

} // namespace
