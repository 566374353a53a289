// What a command for a client leaves, whole, by every access method and for every way to fail:
// result, output, request, protocol and trace at level 3, against the files
// tests/expected/remote_<what>.txt. To write these anew see tests/support/expected.h.
#include "common/common/text.h"
#include "common/unix/cm_trace.h"
#include "control/vn_ctrl.h"
#include "kernel/remote/async.h"
#include "kernel/vn_ctrlc_lib.h"
#include "kernel/vn_lib.h"
#include "tests/support/daemon.h"
#include "tests/support/expected.h"

#include <atomic>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <regex>
#include <thread>

using namespace vn_test;

namespace {

// A control daemon that takes its next step once the trace holds a text behind the one before. So
// the order of what happens on both sides is always the same.
struct Peer {
    struct Step {
        std::string traced; // waits for it
        char what; // 1 and 2: sends on that connection, !: sends the code, c: connects back, x and
                   // X: ends the first and second connection, r: resets the first
        std::string text = {};
    };
    Peer(const std::string &trace, const std::vector<Step> &steps)
        : listener(std::make_unique<Listener>(5)) {
        thread = std::thread([=, this] { serve(trace, steps); });
    }
    void serve(const std::string &trace, const std::vector<Step> &steps) {
        int fds[] = {accept(listener->fd, nullptr, nullptr), -1};
        char letter = 0;
        while (std::count(got.begin(), got.end(), '\0') < 3 && recv(fds[0], &letter, 1, 0) == 1) {
            got += letter;
        }
        size_t begin = 0;
        for (const Step &step : steps) {
            for (size_t at = std::string::npos; at == std::string::npos && !ended; usleep(500)) {
                at = read_file(trace).value_or("").find(step.traced, begin);
                begin = at == std::string::npos ? begin : at + step.traced.size();
            }
            if (!ended) {
                take(step, fds);
            }
        }
        while (recv(fds[0], &letter, 1, 0) == 1) {
            got += letter;
        }
        close(fds[0]);
        close(fds[1]);
    }
    // Once the call is over.
    void end() {
        ended = true;
        shutdown(listener->fd, SHUT_RD);
        thread.join();
    }
    void take(const Step &step, int (&fds)[2]) {
        const linger none = {1, 0};
        sockaddr_in back = listener->address;
        switch (step.what) {
        case 'c':
            fds[1] = socket(AF_INET, SOCK_STREAM, 0);
            back.sin_port = htons(static_cast<in_port_t>(std::stoi(got)));
            connect(fds[1], reinterpret_cast<sockaddr *>(&back), sizeof back);
            break;
        case 'x':
        case 'X':
            shutdown(fds[step.what == 'X'], SHUT_WR);
            break;
        case 'r':
            setsockopt(fds[0], SOL_SOCKET, SO_LINGER, &none, sizeof none);
            close(fds[0]);
            fds[0] = -1;
            break;
        default:
            send(fds[step.what == '2' || (step.what == '!' && fds[1] >= 0)], step.text.data(),
                 step.text.size(), step.what == '!' ? MSG_OOB : 0);
        }
    }

    std::unique_ptr<Listener> listener;
    std::string got;
    std::atomic<bool> ended = false;
    std::thread thread;
};

const char *const kPass = "Entering select()";
const std::string kAccepted(1, '\0');

struct RemoteTrace : testing::Test {
    RemoteTrace() {
        setenv("PATH", (in.path("ro/remote:") + getenv("PATH")).c_str(), 1);
        sigemptyset(&urgent);
        sigaddset(&urgent, SIGURG); // the receive loop is to take every exit code
        pthread_sigmask(SIG_BLOCK, &urgent, nullptr);
        gCtrlPolicy = {1, 100, 300, 1000};
        gRelayPolicy = {1, 1};
        gAsyncPolicy = {1};
        v_set_log_main("t.tra", "NOSUCH", &log);
        v_set_log(3, 0, &log);
    }
    ~RemoteTrace() override {
        pthread_sigmask(SIG_UNBLOCK, &urgent, nullptr);
        eLang = LANG_EN;
    }
    sigset_t urgent;
    Installation in;
    std::unique_ptr<RCMD> request = std::make_unique<RCMD>();
    str_log log = {};
    bool list_out = true, list_err = true;
    std::string text; // of all calls

    // Makes the catalogue's last client this one.
    void client(const std::string &name, const char *os, const char *mode,
                const std::string &opts) const {
        const std::string sql = "update clients set name='" + name + "',os='" + os +
                                "',accessmode='" + mode + "',access_options='" + opts +
                                "' where client_id=10";
        const std::string tool = in.path("ro/db/damisql");
        EXPECT_EQ(run_program({tool, "-d", "vorna_db", "-q", sql}, {}, {}).status, 0);
    }
    void program(const std::string &name, const std::string &script) const {
        const std::string path = in.path("ro/remote/" + name);
        write_file(path, "#!/bin/sh\n" + script + "\n");
        std::filesystem::permissions(path, std::filesystem::perms(0755));
    }
    void files(const char *input, const char *out, const char *err) {
        text_copy(request->szInFile, *input == 0 ? "" : in.path(input));
        text_copy(request->szOutFile, *out == 0 ? "" : in.path(out));
        text_copy(request->szErrFile, *err == 0 ? "" : in.path(err));
        list_out = list_err = *out == 0 && *err == 0;
    }
    // Adds what is left of a call to the text, then removes it.
    void leave(const std::string &head, const std::string &result) {
        text += (text.empty() ? "$ " : "\n$ ") + head + '\n' + result + '\n';
        for (const std::string &line : in.protocol()) {
            text += line + '\n';
        }
        std::remove(in.path("rw/prot/vorna.prot").c_str());
        for (const char *name : {"out", "err", "trace"}) {
            const std::string path = *name == 't' ? log.szFile : in.path(name);
            std::string content = read_file(path).value_or("");
            if (*name == 't' && request->iASyncFlg != 0) {
                content = sorted(content);
            }
            text += content.empty() ? "" : std::string("--- ") + name + '\n' + content;
            text += content.empty() || content.back() == '\n' ? "" : "\n";
            std::remove(path.c_str());
        }
    }
    // The lines without their times, for processes that write at once.
    static std::string sorted(const std::string &lines) {
        std::vector<std::string> all = lines_of(lines);
        for (std::string &line : all) {
            line.replace(0, 8, "00:00:00");
        }
        std::sort(all.begin(), all.end());
        std::string result;
        for (const std::string &line : all) {
            result += line + '\n';
        }
        return result;
    }
    std::string trace() const { return read_file(log.szFile).value_or(""); }
    // Runs a command; what the calls of several lists and files give is told alike.
    void run(const std::string &name, const std::string &command) {
        text_copy(request->szClient, name);
        text_copy(request->szCmd, command);
        t_LL all[] = {list_out ? ConsLL() : nullptr, list_err ? ConsLL() : nullptr};
        request->LL_Stdout = all[0];
        request->LL_Stderr = all[1];
        const std::string before = possessions();
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        std::string result = std::to_string(i_RCMD(request.get(), log));
        for (const std::string &own :
             {testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()}) {
            result += own.empty() ? "" : "\nown: " + own;
        }
        result += std::string(" [") + request->szSts + "] [" + request->szMsg + ']';
        for (t_LL list : all) {
            for (void *line = list ? FirstElmLL(list) : nullptr; line && IsElmLL(line) != 0;
                 line = NextElmLL(line)) {
                result += std::string(list == all[0] ? "\n1: " : "\n2: ") +
                          static_cast<const char *>(line);
            }
            if (list) {
                DestLL(list);
            }
        }
        const char *end = "(-- RCMD: returns|job [0-9]+ finished)";
        while (request->iASyncFlg != 0 && !std::regex_search(trace(), std::regex(end))) {
            usleep(1000);
        }
        leave(name + ": " + command, result);
        *request = {};
        list_out = list_err = true;
    }
    // The same through a daemon that takes these steps.
    void call(const std::string &options, const std::string &command,
              const std::vector<Peer::Step> &steps) {
        Peer peer(log.szFile, steps);
        const std::string port = std::to_string(peer.listener->port());
        const bool standard = options.starts_with("-p");
        in.set_ini(in.path("rw/ini/vn.ini"), "CTRLD_Server", "CTRLD_Port", standard ? port : "1");
        client("127.0.0.1", "Linux", "CTRL", options + (standard ? "" : " -p " + port));
        giSingleConnection = 1;
        run("127.0.0.1", command);
        peer.end();
        std::replace(peer.got.begin(), peer.got.end(), '\0', '|');
        text += "--- daemon got " + std::regex_replace(peer.got, std::regex("^[0-9]+"), "<own>");
        text = std::regex_replace(text, std::regex(port), "<port>") + '\n';
    }
    void name(int number, const char *by) {
        text = std::regex_replace(text, std::regex(std::to_string(number)), by);
    }
    // The catalogue's answers have tests of their own.
    void expect(const std::string &what) const {
        const std::pair<const char *, const char *> masks[] = {
            {"(\n|^)[ 0-9][0-9]:[0-9]{2}:[0-9]{2}#", "$1#"},
            {"\n# *\\+\\+\\+ DB_ACCESS[^]*?--- DB_ACCESS[^\n]*", ""},
            {"\n# *(ReadFromHandle|PIPE_READ|loop with)[^\n]*", ""},
            {"\n# *job [0-9]+ is still executing after ([3-9]|[0-9]{2,})s", ""},
            {"finished after [0-9]+s", "finished after <n>s"},
            {"(socket |SOCKET = \\[|shutdown\\()[0-9]+", "$1<fd>"},
            {" \\([0-9]+\\) closed", " (<fd>) closed"},
            {"portnumber [0-9]+", "portnumber <own>"},
            {"(child: |job |PPID=)[0-9]+", "$1<pid>"}};
        std::string all = text;
        for (const auto &[form, by] : masks) {
            all = std::regex_replace(all, std::regex(form), by);
        }
        all = std::regex_replace(all, std::regex(in.dir), "<dir>");
        expect_file("remote_" + what + ".txt", all);
    }
};

TEST_F(RemoteTrace, Daemon) {
    write_file(in.path("in"), "input");
    files("in", "", "");
    request->bVerbose = 1;
    call("-o Port=0 -d", "cat 'a b' \"c d\" x'y z' e\\ f\"g\"",
         {{"send() cmd", '1', kAccepted},
          {"one byte returned 1", 'c'},
          {kPass, '1', "out\nMSG=do"},
          {kPass, '2', " STATUS=OK MSG=err \r\n"},
          {kPass, '2', "rest"},
          {kPass, '!', "\7"},
          {kPass, 'X'},
          {kPass, 'x'}});
    files("", "out", "err");
    request->bVerbose = 1;
    request->bAvoidErrProt = 1;
    request->bAppendMode = 1;
    write_file(in.path("out"), "before\n");
    call("-s", "true", {{"", '1', kAccepted}, {kPass, '1', "one\n"}, {kPass, 'x'}});
    files("", "out", "");
    request->iTimeout = 2;
    const int own = Listener(-1).port();
    call("-v -d -o port=" + std::to_string(own) + "-65536", "true",
         {{"", '1', kAccepted},
          {"", 'c'},
          {kPass, '1', "x"},
          {kPass, '2', "y"},
          {kPass, '!', "\376"},
          {kPass, 'r'},
          {kPass, 'X'}});
    name(own, "<own>");
    files("", "", "err");
    call("-p 12x -p 11x", "'", {{"", '1', kAccepted}});
    expect("daemon");
}

TEST_F(RemoteTrace, DaemonsThatFail) {
    files("", "out", "err");
    call("-o x-d", "a \"b", {{"send() cmd", '1', "\1no \n"}, {"", '!', "\372"}, {"", 'x'}});
    call("-s", "a", {{"send() cmd", 'x'}});
    files("", "out", "");
    call("-s", "a", {{"send() cmd", 'r'}});
    gCtrlPolicy.iAccept = 1;
    request->iTimeout = 1;
    call("-s -d", "a", {{"send() cmd", '1', kAccepted}}); // does not connect back
    const Listener used(0);
    const std::string port = std::to_string(used.port());
    files("", "nosuch/out", "");
    call("-s -d -o port=" + port, "a", {{"send() cmd", '1', kAccepted}});
    name(used.port() + 1, "<own + 1>");
    name(used.port(), "<own>");
    expect("daemons_that_fail");
}

TEST_F(RemoteTrace, Shell) {
    client("h", "Linux", "RSH", "-x \"a b\"");
    run("h", "echo 'a'");
    program("ssh", "printf '%s\\n' \"$@\"; exit 255");
    for (const char *os : {"Windows 2003", "Windows 2008"}) {
        client("h", os, "SSH", "NULL");
        in.set_glbv("gv_ssh_no_alive", "1");
        request->bAvoidProt = 1;
        run("h", "dir");
    }
    client("-h", "Linux", "S", "NULL");
    run("-h", "a");
    program("vn_ctrlc", "printf '%s\\n' \"$@\" 'MSG=a b'; exit 240");
    in.set_glbv("gv_ctrlc_old", "1");
    for (const int timeout : {0, 1, 9}) {
        client("h", "Linux", "C", timeout > 0 ? "-s -x \"a b\"" : "NULL");
        request->iTimeout = timeout;
        run("h", "a \"b c\" 'd' $0");
        in.set_glbv("gv_ctrlc_no_alive", "1");
    }
    program("vn_ctrlc", "printf '%0100d\\n' 1 2 3 >&2; exit $9");
    for (const char *exit : {"239", "240"}) {
        files("", "out", "err");
        request->bAvoidErrProt = 1;
        run("h", exit);
    }
    expect("shell");
}

TEST_F(RemoteTrace, Local) {
    run("LOCAL", "echo '  STATUS=1234567890123456789x MSG=m\t'; exit 3");
    for (const bool list : {true, false}) {
        list_err = list;
        list_out = !list;
        run("LOCAL", "echo ' MSG=e ' >&2");
    }
    write_file(in.path("in"), "input\n");
    for (const BOOL append : {0, 1}) {
        files("in", "out", append != 0 ? "err" : "");
        request->bAppendMode = append;
        request->bVerbose = 1;
        write_file(in.path("out"), "before\n");
        write_file(in.path("err"), "before\n");
        run("LOCAL", "vn_perf 2 IDLE; cat; echo 'x scd-1100: text'");
        files("", "out", append != 0 ? "err" : "");
        run("LOCAL", "echo error scd-11 >&2");
    }
    text_copy(request->szOutFile, "STDOUT");
    list_out = list_err = false;
    run("LOCAL", "echo a");
    for (const BOOL known : {0, 1}) {
        files("nosuch", "", "err");
        request->bCommandNotFound = known;
        run("LOCAL", "true");
    }
    files("", "out", "nosuch/err");
    run("LOCAL", "vn_perf");
    expect("local");
}

TEST_F(RemoteTrace, Asynchronous) {
    const std::string fifo = in.path("go");
    mkfifo(fifo.c_str(), 0600);
    for (log.iFlg = 1; log.iFlg <= 2; ++log.iFlg) {
        std::thread ends([&] {
            while (log.iFlg == 2 && trace().find("after 2s") == std::string::npos) {
                usleep(1000);
            }
            write_file(fifo, "\n");
        });
        request->iASyncFlg = 1;
        run("LOCAL", "read a <" + fifo + "; exit 4");
        ends.join();
    }
    log.iFlg = 2;
    gAsyncPolicy = {300}; // nothing to tell in three seconds
    request->iASyncFlg = 1;
    run("LOCAL", "kill -9 $PPID");
    expect("asynchronous");
}

TEST_F(RemoteTrace, Search) {
    for (const char *pattern : {"B", "b^"}) {
        char search[512], message[256] = "";
        text_copy(search, pattern);
        const int result = i_RCMD_SEARCH("LOCAL", "echo ab; echo MSG=m", search, message, log);
        leave(pattern, std::to_string(result) + " [" + search + "] [" + message + ']');
    }
    char search[512] = "a", message[256] = "";
    const std::string name(160, 'x');
    const int result = i_RCMD_SEARCH(name.c_str(), "a", search, message, log);
    leave("a client's name of 160 letters", std::to_string(result) + " [" + message + ']');
    expect("search");
}

TEST_F(RemoteTrace, Refused) {
    for (const LANGUAGES language : {LANG_EN, LANG_DE, LANG_BY}) {
        eLang = language;
        for (const char *name : {"moon", "pallas", "vesta", "venus"}) {
            program("rsh", "exit 9");
            run(name, "a");
        }
    }
    files("", "out", "");
    run("ceres", "a");
    run("ceres", "a");
    expect("refused");
}

} // namespace
