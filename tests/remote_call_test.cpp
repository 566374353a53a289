// Remote calls through the sandbox's control daemon; nothing but their result may stay behind.
#include "common/common/text.h"
#include "common/unix/cm_trace.h"
#include "kernel/vn_ctrlc_lib.h"
#include "tests/support/daemon.h"

#include <chrono>
#include <gtest/gtest.h>
#include <memory>
#include <thread>

using namespace vn_test;

namespace {

struct RemoteCall : testing::Test {
    Installation in;
    std::string daemon_options, options = "-s", in_file, out_file, err_file, whole_command;
    bool list_out = true, list_err = true;
    int timeout = 0;
    str_log log = {};

    static std::string emptied(t_LL list) {
        std::string lines;
        for (void *line = FirstElmLL(list); IsElmLL(line) != 0; line = NextElmLL(line)) {
            lines += static_cast<const char *>(line) + std::string(";");
        }
        DestLL(list);
        return lines;
    }
    // Exit code, status, message, and the lines of both streams.
    std::string call(const std::string &script) const {
        const Daemon daemon(in, daemon_options);
        const auto request = std::make_unique<RCMD>();
        text_copy(request->szClient, "127.0.0.1");
        text_copy(request->szPort, std::to_string(daemon.port));
        text_copy(request->szPortOpt, options);
        text_copy(request->szCmd,
                  whole_command.empty() ? "sh -c \"" + script + '"' : whole_command);
        text_copy(request->szInFile, in_file);
        text_copy(request->szOutFile, out_file);
        text_copy(request->szErrFile, err_file);
        request->iTimeout = timeout;
        request->LL_Stdout = list_out ? ConsLL() : nullptr;
        request->LL_Stderr = list_err ? ConsLL() : nullptr;
        giSingleConnection = 1;
        gRelayPolicy = {0, 1};
        const std::string before = possessions();
        const auto begin = std::chrono::steady_clock::now();
        std::string told = std::to_string(ctrlc_lib_call(request.get(), log));
        const int limit = timeout > 0 ? timeout + 2 : 20;
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(limit));
        EXPECT_EQ(possessions(), before) << script;
        told += std::string(" ") + request->szSts + '|' + request->szMsg + '|';
        told += list_out ? emptied(request->LL_Stdout) + '|' : "";
        return list_err ? told + emptied(request->LL_Stderr) : told;
    }
};

TEST_F(RemoteCall, GivesLinesResultAndExitCode) {
    std::string count;
    for (int i = 1; i <= 20000; i++) {
        count += std::to_string(i) + ';';
    }
    const std::string x(8192, 'x'), both = "seq 20000; seq 20000 >&2; exit 5";
    const std::tuple<std::string, std::string, std::string, std::string> cases[] = {
        {"", "-s", "echo b >&2", "0 ||b;|"},
        {"", "-d", "echo a; echo b >&2; exit 3", "3 ||a;|b;"},
        {"-w 20", "-d", "exit 254", "254 |||"},
        {"-m dribble", "-s", "printf 'a\\r\\n\\nSTATUS=OK MSG=done\\nlast'",
         "0 OK|done|a;;STATUS=OK MSG=done;last;|"},
        {"", "-s", "echo STATUS=A B MSG=c; printf MSG=x", "0 A B|x|STATUS=A B MSG=c;MSG=x;|"},
        {"", "-d", "printf STATUS=E >&2", "0 E|||STATUS=E;"},
        {"", "-s", "head -c 20000 /dev/zero | tr '\\0' x",
         "0 ||" + x + ';' + x + ';' + x.substr(0, 3616) + ";|"},
        {"-m noexit", "-s", "echo a", "255 ||a;|"},
        {"-m reset", "-d", "echo a; printf b", "255 ||a;b;|"},
        {"-m stall1", "-d", both, "5 ||" + count + '|' + count},
        {"-m stall2", "-d -o port=0", both, "5 ||" + count + '|' + count}};
    for (const auto &[daemon, opts, script, told] : cases) {
        daemon_options = daemon;
        options = opts;
        EXPECT_EQ(call(script), told) << daemon << script;
    }
    daemon_options = "-m silent";
    timeout = 1;
    EXPECT_EQ(call("echo a"), "255 |||");
}

TEST_F(RemoteCall, WritesFiles) {
    list_out = list_err = false;
    const std::string out = in.path("out"), err = in.path("err"), script = "echo a; echo b >&2";
    const std::string none = in.path("none/x"), refused = "ERROR: CTRLD reply: no";
    using Text = std::optional<std::string>;
    const std::tuple<std::string, std::string, std::string, std::string, Text, Text> cases[] = {
        {"", out, err, script + "; exit 3", "a\n", "b\n"},
        {"", out, "", "echo b >&2", "b\n", {}},
        {"", "", err, script, {}, {}},
        {"", none, "", script, {}, {}},
        {"", out, none, script, "", {}},
        {"", "/dev/full", "", script, {}, {}},
        {"", "/dev/full", "", script + "; exit 7", {}, {}},
        {"-r no", out, "", "", refused, {}},
        {"-r no -u 9", out, err, "", {}, refused}};
    const std::vector<std::string> exits = {"3", "0", "255", "1", "1", "1", "7", "253", "9"};
    options = "-d";
    for (size_t i = 0; i < exits.size(); i++) {
        Text wrote_out, wrote_err;
        std::string command;
        std::tie(daemon_options, out_file, err_file, command, wrote_out, wrote_err) = cases[i];
        const std::string told = call(command);
        EXPECT_EQ(told.substr(0, told.find(' ')), exits[i]) << told;
        EXPECT_EQ(read_file(out), wrote_out) << i;
        EXPECT_EQ(read_file(err), wrote_err) << i;
        EXPECT_EQ(told.find("No space left") != told.npos, out_file == "/dev/full") << told;
        EXPECT_EQ(told.find("|ERROR: fopen(" + none + ", \"w\") failed (2): No such") != told.npos,
                  out_file == none || err_file == none)
            << told;
        std::remove(out.c_str());
        std::remove(err.c_str());
    }
}

TEST_F(RemoteCall, TakesTheResultOutOfWhatItWrites) {
    list_out = list_err = false;
    out_file = in.path("out");
    EXPECT_EQ(call("echo '  STATUS=F MSG=g\t'; echo ' xSTATUS=H'; printf x"), "0 F|g|");
    EXPECT_EQ(read_file(out_file), "  STATUS=F MSG=g\t\n xSTATUS=H\nx");
}

TEST_F(RemoteCall, WritesWhatNoListTakes) {
    options = "-d";
    out_file = in.path("out");
    list_out = false;
    EXPECT_EQ(call("echo a; echo b >&2; printf c"), "0 ||b;");
    EXPECT_EQ(read_file(out_file), "a\nc");
    list_out = true;
    list_err = false;
    EXPECT_EQ(call("echo b >&2; printf c >&2"), "0 ||b;c;|");
    EXPECT_EQ(read_file(out_file), "");
}

TEST_F(RemoteCall, BearsSilence) {
    EXPECT_EQ(gRelayPolicy.iIdleLimit, 119);
    EXPECT_EQ(gRelayPolicy.iIdlePauseMsec, 1000);
    v_set_log_main("t.tra", "NOSUCH", &log);
    v_set_log(2, 0, &log);
    const auto passes = [&](int number) {
        const std::string trace = read_file(log.szFile).value_or("");
        size_t count = 0, at = 0;
        while ((at = trace.find("Cntr [" + std::to_string(number) + ']', at) + 1) != 0) {
            ++count;
        }
        return count;
    };
    // No socket: the wait finds it ready, but nothing comes from it.
    int deaf[2] = {}, ends[2] = {};
    ASSERT_EQ(pipe(deaf), 0);
    ASSERT_EQ(write(deaf[1], "x", 1), 1);
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const auto request = std::make_unique<RCMD>();
    gRelayPolicy.iIdlePauseMsec = 1;
    giSingleConnection = 1;
    STDOUT_STDERR_transfer(stdout, stderr, request.get(), deaf[0], 0, log);
    EXPECT_EQ(passes(0) + passes(119), 2U);
    EXPECT_EQ(passes(120), 0U);
    EXPECT_EQ(request->iTimeout, 0); // the stream has not ended
    std::remove(log.szFile);
    giSingleConnection = 0;
    std::thread sender([&] {
        while (passes(3) == 0) {
            usleep(1000);
        }
        EXPECT_EQ(write(ends[1], "\n", 1), 1);
    });
    STDOUT_STDERR_transfer(stdout, stderr, request.get(), ends[0], deaf[0], log);
    sender.join();
    EXPECT_EQ(passes(3), 2U); // counts anew behind what came
    for (const int fd : {deaf[0], deaf[1], ends[0], ends[1]}) {
        close(fd);
    }
}

TEST_F(RemoteCall, ForwardsAByteAfterAnInterruptedWait) {
    struct sigaction handler = {};
    handler.sa_handler = [](int) {};
    sigaction(SIGUSR1, &handler, nullptr);
    int first[2] = {}, second[2] = {};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, first) +
                  socketpair(AF_UNIX, SOCK_STREAM, 0, second),
              0);
    send_sig = 3;
    giSingleConnection = 0;
    char got = 0;
    std::thread peer([&, relay = pthread_self()] {
        while (recv(second[1], &got, 1, MSG_DONTWAIT) != 1) {
            pthread_kill(relay, SIGUSR1);
            usleep(1000);
        }
        close(first[1]);
        close(second[1]);
    });
    const auto request = std::make_unique<RCMD>();
    STDOUT_STDERR_transfer(stdout, stderr, request.get(), first[0], second[0], log);
    peer.join();
    EXPECT_EQ(got, 3);
    EXPECT_EQ(send_sig, -1);
    EXPECT_EQ(request->iTimeout, 1);
    close(first[0]);
    close(second[0]);
    signal(SIGUSR1, SIG_DFL);
}

TEST_F(RemoteCall, TracesWhatItDoes) {
    v_set_log_main("t.tra", "NOSUCH", &log);
    v_set_log(2, 0, &log);
    const auto traced = [&](const char *text) {
        return read_file(log.szFile).value_or("").find(text) != std::string::npos;
    };
    EXPECT_EQ(call("printf abc"), "0 ||abc;|");
    EXPECT_TRUE(traced("process rest of stdout buffer"));
    EXPECT_FALSE(traced("!!! LF position"));
    EXPECT_EQ(call("head -c 8192 /dev/zero | tr '\\0' x").substr(0, 5), "0 ||x");
    EXPECT_TRUE(traced("szGetLine: !!! LF position 8192 == line size 8192 (buf size 8192)"));
    std::remove(log.szFile);
    daemon_options = "-r no";
    EXPECT_EQ(call(""), "253 |CTRLD reply: no||");
    EXPECT_TRUE(traced("CloseSocketsAndCleanup: closing 1 sockets"));
    EXPECT_TRUE(traced("--- VN_CTRLC_LIB: ERROR vn_ctrl call failed with return: 253"));
}

TEST_F(RemoteCall, FeedsAFile) {
    in_file = in.path("in");
    for (const size_t size : {0, 1, 8192, 3000000}) {
        write_file(in_file, std::string(size, 'x'));
        EXPECT_EQ(call("tr -d '\\n' | wc -c"), "0 ||" + std::to_string(size) + ";|");
        EXPECT_EQ(call("exit 4"), "4 |||");
    }
    in_file = in.path(std::string(300, 'm'));
    EXPECT_EQ(call("cat"), "1 |ERROR: fopen(..." + std::string(160, 'm') +
                               ", \"r\") failed (36): File name too long||");
    in_file = in.path("missing");
    EXPECT_EQ(call("cat"),
              "1 |ERROR: fopen(" + in_file + ", \"r\") failed (2): No such file or directory||");
}

TEST_F(RemoteCall, IsNotHeldByInputThatNobodyReads) {
    signal(SIGTERM, SIG_IGN); // only a kill ends who sends the input
    in_file = in.path("in");
    write_file(in_file, std::string(8000000, 'x'));
    daemon_options = "-m half -u 7";
    EXPECT_EQ(call(""), "7 |||");
    daemon_options = "-m half";
    timeout = 1;
    EXPECT_EQ(call(""), "255 |||");
    signal(SIGTERM, SIG_DFL);
}

TEST_F(RemoteCall, RefusesACommandThatWouldBeCut) {
    const std::string x(16383, 'x'); // stands twice in the converted command
    whole_command = "echo '" + x + "'";
    const std::string told = call("");
    EXPECT_EQ(told.substr(0, 25), "253 |Command too long for");
    EXPECT_FALSE(read_file(in.path("requests")));
    whole_command = "true '" + x.substr(8) + "'";
    EXPECT_EQ(call(""), "0 |||");
}

TEST(RemoteExitCode, ComesThroughTheSignalHandler) {
    const Listener listener(1), sender(-1);
    connect(sender.fd, reinterpret_cast<const sockaddr *>(&listener.address), listener.length);
    reset_exit_code();
    g_hSocket1 = accept(listener.fd, nullptr, nullptr);
    g_hSocket2 = 0;
    signal_handler(SIGURG);
    EXPECT_EQ(g_iEXITCODE, 255);
    ASSERT_EQ(send(sender.fd, "\7", 1, MSG_OOB), 1);
    for (int i = 0; i < 1000 && g_iEXITCODE == 255; i++) {
        usleep(1000);
        signal_handler(SIGURG);
    }
    EXPECT_EQ(g_iEXITCODE, 7);
    close(g_hSocket1);
}

TEST(RemoteCommand, IsConvertedAsTheDaemonsExpect) {
    const std::pair<const char *, const char *> cases[] = {{"", ""},
                                                           {"ls -l \"my dir\"", "ls\"-l\"my dir"},
                                                           {"a  b ", "a\"\"b"},
                                                           {"a\\ \\\"b\\", "a\\ \\\"b\\"},
                                                           {"x=\"y z\" c", "x=y z\"c"},
                                                           {"x='y z'", "x=y z"},
                                                           {"e \"a 'b'\"", "e\"a 'b'"},
                                                           {"e 'a b'", "e\"'a b'a b"}};
    for (const auto &[command, converted] : cases) {
        char result[80];
        str_log log = {};
        vConvertCommand(command, result, sizeof result, &log);
        EXPECT_STREQ(result, converted);
        const int length = static_cast<int>(strlen(converted));
        EXPECT_TRUE(vConvertCommand(command, result, length + 1, &log)) << command;
        EXPECT_FALSE(vConvertCommand(command, result, length, &log)) << command;
    }
}

TEST(RemoteLine, IsCutOutOfTheBuffer) {
    const std::tuple<const char *, int, const char *, const char *> cases[] = {
        {"a\r\nb", 80, "a", "b"},
        {"a\rb\n\n", 80, "a\rb", "\n"},
        {"\nx", 80, "", "x"},
        {"abc", 80, nullptr, "abc"},
        {"", 80, nullptr, ""},
        {"abcdef", 4, "abc", "def"},
        {"STATUS=A MSG=b\n", 80, "STATUS=A MSG=b", ""}};
    const auto request = std::make_unique<RCMD>();
    for (const auto &[data, limit, line, rest] : cases) {
        char buffer[80], cut[80];
        text_copy(buffer, data);
        int size = static_cast<int>(strlen(buffer));
        EXPECT_STREQ(szGetLine(buffer, &size, request.get(), 1, cut, limit, {}), line);
        EXPECT_EQ(std::string(buffer, static_cast<size_t>(size)), rest);
    }
    EXPECT_EQ(request->szSts + std::string(request->szMsg), "Ab");
}

TEST(RemoteLine, HoldsAResult) {
    const std::string s(19, 's'), m(255, 'm');
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"STATUS=" + s, s, "-"},
        {"STATUS=" + s + "x MSG=" + m, s, m},
        {"STATUS=A MSG=" + m + "x", "A", m},
        {"MSG=" + m + "x", "-", m},
        {"STATUS=A  MSG=b MSG=c", "A ", "b MSG=c"},
        {"STATUS= MSG=", "", ""},
        {"STATUS=AMSG=b", "AMSG=b", "-"},
        {"MSG=", "-", ""},
        {" MSG=a", "-", "-"},
        {"STATUS", "-", "-"}};
    for (const auto &[line, status, message] : cases) {
        const auto request = std::make_unique<RCMD>();
        text_copy(request->szSts, "-");
        text_copy(request->szMsg, "-");
        vSetMsgAndSts(line.c_str(), request.get());
        EXPECT_EQ(request->szSts, status) << line;
        EXPECT_EQ(request->szMsg, message) << line;
    }
}

} // namespace
