// Commands for clients of the catalogue: here, by the control daemon and by rsh.
#include "common/common/text.h"
#include "kernel/vn_lib.h"
#include "tests/support/daemon.h"

#include <gtest/gtest.h>
#include <memory>
#include <sys/wait.h>

using namespace vn_test;

namespace {

struct Dispatcher : testing::Test {
    Dispatcher() { setenv("PATH", (in.path("ro/remote:") + getenv("PATH")).c_str(), 1); }
    Installation in;
    std::unique_ptr<RCMD> request = std::make_unique<RCMD>();
    str_log log = {};

    // Makes the catalogue's last client this one.
    void client(const std::string &name, const char *os, const char *mode,
                const std::string &opts) {
        const std::string sql = "update clients set name='" + name + "',os='" + os +
                                "',accessmode='" + mode + "',access_options='" + opts +
                                "' where client_id=10";
        const std::string tool = in.path("ro/db/damisql");
        EXPECT_EQ(run_program({tool, "-d", "vorna_db", "-q", sql}, {}, {}).status, 0);
    }
    // Exit state, status, message, lines of output and error, and the protocol's.
    std::string run(const std::string &name, const std::string &command, bool lists = true) {
        text_copy(request->szClient, name);
        text_copy(request->szCmd, command);
        request->LL_Stdout = lists ? ConsLL() : nullptr;
        request->LL_Stderr = lists ? ConsLL() : nullptr;
        const std::string before = possessions();
        std::string told = std::to_string(i_RCMD(request.get(), log));
        EXPECT_EQ(possessions(), before) << command;
        told += std::string(" ") + request->szSts + '|' + request->szMsg + '|';
        for (t_LL list : {request->LL_Stdout, request->LL_Stderr}) {
            for (void *line = list ? FirstElmLL(list) : nullptr; line && IsElmLL(line) != 0;
                 line = NextElmLL(line)) {
                told += static_cast<const char *>(line) + std::string(";");
            }
            told += '|';
            if (list) {
                DestLL(list);
            }
        }
        for (const std::string &line : in.protocol()) {
            told += '\n' + line.substr(7);
        }
        std::remove(in.path("rw/prot/vorna.prot").c_str());
        *request = {};
        return told;
    }
};

std::string without_protocol(const std::string &told) {
    return told.substr(0, told.find('\n'));
}

TEST_F(Dispatcher, RunsLocally) {
    const std::string i003 = "\nI003-BASICS [<pid>]: RemoteCmd ";
    const std::string script = "echo a; echo b >&2; echo STATUS=OK MSG=m; exit 4";
    EXPECT_EQ(run("LOCAL", script), "4 OK|m|a;STATUS=OK MSG=m;|b;|" + i003 + script);
    EXPECT_EQ(run("LOCAL", "echo x scc-1100: text"),
              "0 |text|x scc-1100: text;||" + i003 + "echo x scc-1100: text");
    EXPECT_EQ(without_protocol(run("LOCAL", "echo '  STATUS=B MSG=n\t'")),
              "0 B|n|STATUS=B MSG=n;||");
    write_file(in.path("in"), "x\ny");
    text_copy(request->szInFile, in.path("in"));
    text_copy(request->szOutFile, in.path("out"));
    request->bAvoidProt = 1;
    EXPECT_EQ(run("LOCAL", "cat; echo e >&2", false), "0 ||||");
    const std::string wrote = read_file(in.path("out")).value_or("");
    EXPECT_TRUE(wrote == "x\ny\ne\n" || wrote == "x\ne\ny\n" || wrote == "e\nx\ny\n") << wrote;
    text_copy(request->szOutFile, "/none/x");
    EXPECT_EQ(run("LOCAL", "true", false),
              "-1 |ERROR: fopen(/none/x, \"w\") failed (2): No such file or directory|||" + i003 +
                  "true");
    mkfifo(in.path("go").c_str(), 0600);
    request->iASyncFlg = 1;
    EXPECT_EQ(run("LOCAL", "echo done >" + in.path("go")).substr(0, 2), "0 ");
    EXPECT_EQ(read_file(in.path("go")), "done\n");
    text_copy(log.szFile, in.path("trace"));
    for (log.iFlg = 1; log.iFlg <= 2; log.iFlg++) {
        request->iASyncFlg = 1;
        EXPECT_EQ(run("LOCAL", "exit 4").substr(0, 2), "0 ");
        EXPECT_NE(read_file(log.szFile).value_or("").find("PID of child: "), std::string::npos);
        std::remove(log.szFile);
    }
}

TEST_F(Dispatcher, HandsOutLocalOutputInPieces) {
    const std::string x(1500, 'x');
    const std::string part = "printf " + x + "; sleep 0.05; ";
    const std::string twice = x + x;
    const std::string told = run("LOCAL", part + "echo e >&2; sleep 0.05; " + part + "printf " + x);
    EXPECT_EQ(without_protocol(told), "0 ||" + twice.substr(0, 2047) + ';' + twice.substr(0, 2047) +
                                          ';' + x.substr(0, 406) + ";|e;|");
}

TEST_F(Dispatcher, RefusesWhatItCannotReach) {
    const std::string mode = "\nE019-HOSTS  [<pid>]: RemoteCmd a > invalid accessmode - X25";
    const std::tuple<std::string, int, std::string> cases[] = {
        {"moon", 0,
         "\nW001-HOSTS  [<pid>]: Computer moon not yet configured as backup-client - please do it "
         "now."},
        {"x' or 'a'='a", 0,
         "\nW001-HOSTS  [<pid>]: Computer x' or 'a'='a not yet configured as backup-client - "
         "please do it now."},
        {"pallas", 0, "Unknown platform: OpenVMS"},
        {"vesta", 0, mode}};
    for (const auto &[name, avoid, told] : cases) {
        request->bAvoidErrProt = avoid;
        const std::string got = run(name, "a");
        EXPECT_EQ(got.substr(0, 3), "-1 ") << got;
        EXPECT_NE(got.find(told, got.find('\n') - 0), got.npos) << got;
    }
    const std::string longest(255, 'x');
    client("long", "Linux", "CTRL", longest + 'x');
    EXPECT_EQ(without_protocol(run("long", "a")),
              "-1 |access options of client long too long: (256 > 255)|||");
    client("long", "Linux", "RSH", longest);
    EXPECT_EQ(without_protocol(run("long", "a")), "0 ||||");
    char message[256];
    EXPECT_EQ(i_RCMD_EXEC(longest.substr(0, 160).c_str(), "a", message, {}), -1);
    EXPECT_STREQ(message, "Client name to long: (160 > 159)");
    text_copy(request->szOutFile, in.path("out"));
    EXPECT_EQ(run("ceres", "anything", false), "0 ||||");
    EXPECT_EQ(lines_of(read_file(in.path("out")).value_or("")).size(), 1U);
    EXPECT_EQ(run("ceres", "anything").substr(0, 5), "0 ||v");
    EXPECT_EQ(i_RCMD_EXEC(longest.substr(0, 159).c_str(), "a", message, {}), -1);
    EXPECT_EQ(message, "host " + longest.substr(0, 159) + " not yet configured");
    memset(request->szCmd, 'x', sizeof request->szCmd);
    EXPECT_EQ(i_RCMD(request.get(), {}), -1);
    EXPECT_STREQ(request->szMsg, "Command line to long: (24576 > 24575)");
    *request = {};
    memset(request->szClient, 'x', sizeof request->szClient);
    EXPECT_EQ(i_RCMD(request.get(), {}), -1);
    EXPECT_STREQ(request->szMsg, "Client name to long: (160 > 159)");
    *request = {};
}

TEST_F(Dispatcher, CallsTheControlDaemon) {
    const std::tuple<const char *, bool, const char *, const char *> cases[] = {
        {"", false, "sh -c \"echo a; exit 3\"",
         "3 |exit state 3|a;||\nE014-HOSTS  [<pid>]: RemoteCmd sh -c \"echo a; exit 3\" > error: "
         "exit state 3"},
        {"", true, "sh -c \"echo MSG=m; exit 126\"", "126 |m|MSG=m;||"},
        {"", true, "sh -c \"echo MSG=m; exit 127\"",
         "127 |m|MSG=m;||\nE014-HOSTS  [<pid>]: RemoteCmd sh -c \"echo MSG=m; exit 127\" > error: "
         "m"},
        {"", false, "echo $(id) ;a", "0 ||$(id) ;a;||"}};
    for (const auto &[options, avoid, command, told] : cases) {
        const Daemon daemon(in, options);
        client("127.0.0.1", "Linux", "CTRL", "-o port=0 -p " + std::to_string(daemon.port));
        request->bAvoidErrProt = avoid;
        const std::string port = std::to_string(daemon.port), expected = told;
        const size_t lists =
            expected.find("||\n") == expected.npos ? expected.size() : expected.find('\n');
        EXPECT_EQ(
            run("127.0.0.1", command),
            expected.substr(0, lists) +
                "\nI003-BASICS [<pid>]: RemoteCmd CTRLC_LIB_CALL: -t 0 -l root -o port=0 -p " +
                port + " 127.0.0.1 " + command + expected.substr(lists));
    }
    client("127.0.0.1", "Linux", "CTRL", "-p 4294978297"); // 11001 in 32 bits
    EXPECT_EQ(without_protocol(run("127.0.0.1", "a")),
              "-253 |invalid port of the control daemon: 2147483647|||");
    const Daemon daemon(in, "-r no -u 250");
    in.set_ini(in.path("rw/ini/vn.ini"), "CTRLD_Server", "CTRLD_Port", std::to_string(daemon.port));
    client("127.0.0.1", "Windows 2008", "C", "NULL");
    text_copy(request->szOutFile, in.path("out"));
    text_copy(request->szErrFile, in.path("err"));
    request->bAvoidErrProt = 1;
    request->bAvoidProt = 1;
    EXPECT_EQ(run("127.0.0.1", "a b", false), "-250 |ERROR: CTRLD reply: no|||");
    EXPECT_EQ(read_file(in.path("requests")), "[] [system] [a\"b]\n");
}

TEST_F(Dispatcher, PassesEveryWordToRsh) {
    const std::string command = "echo 'a  b' \"$HOME\" `id` \\ *";
    const std::string environment = ". /etc/vorna2000.ini;set -f;LD_LIBRARY_PATH=$VN_BIN_VORNA "
                                    "PATH=$PATH:$VN_BIN_VORNA:$VN_BIN_VNS ";
    const std::tuple<const char *, const char *, std::string> cases[] = {
        {"Linux", "h;touch x$(id)",
         "-l\nroot\n-x\n$(id)\n;>y\na \"b\n\\c d\n\nh;touch x$(id)\n" + environment},
        {"Windows 2008", "h|\"%s`a`", "-l\nsystem\n-x\n$(id)\n;>y\na \"b\n\\c d\n\nh|\"%s`a`\n"}};
    for (const auto &[os, name, told] : cases) {
        client(name, os, "RSH", R"(-x $(id) ;>y "a \"b"  \\c\ d "")");
        EXPECT_EQ(run(name, command).substr(0, 6), "0 ||||");
        EXPECT_EQ(read_file(in.path("rw/work/rsh.args")), told + command + '\n');
    }
    client("h", "Linux", "RSH", "-i \"/a b/key");
    EXPECT_EQ(without_protocol(run("h", command)),
              "-1 |access options with a quote that does not end: [-i \"/a b/key]|||");
}

TEST_F(Dispatcher, SearchesOutput) {
    const std::string x(600, 'x');
    const std::tuple<std::vector<std::string>, std::string, int, std::string> cases[] = {
        {{"a", "b"}, "b", 1, "b"},
        {{"a", "b"}, "^c|B", -1, "^c|B"},
        {{}, "a", 0, "a"},
        {{"a"}, "(", 0, "("},
        {{"ab", "cb", "cd"}, "c^", 1, "cb"},
        {{"a"}, "b^", -1, "b^"},
        {{x}, "x$^", 1, x.substr(0, 511)},
        {{"a\\d5"}, "\\d$", 1, "\\d$"}};
    for (const auto &[lines, search, result, after] : cases) {
        char text[512];
        text_copy(text, search);
        t_LL list = ConsLL();
        for (const std::string &line : lines) {
            InsLastLLf(list, line.size() + 1, line.c_str());
        }
        const int got = i_LL_search(list, text, {});
        EXPECT_EQ(got < 0 ? -1 : got, result) << search;
        EXPECT_EQ(text, after);
        DestLL(list);
    }
    const std::tuple<std::string, std::string, std::string, int, std::string> calls[] = {
        {"LOCAL", "printf 'x\\nMSG=y\\n'", "=y", 1, "y"},
        {"LOCAL", "echo x", "z", 0, ""},
        {"LOCAL", "true", "z", 1, ""},
        {"LOCAL", "echo x", "(", 1, ""},
        {"LOCAL", "echo z" + std::string(24569, ' '), "z", 1, ""},
        {"LOCAL", "echo z" + std::string(24570, ' '), "z", 0,
         "Commandline too long: (24576 > 24576)"},
        {"pallas", "a", "a", -1, "Unknown platform: OpenVMS"}};
    for (const auto &[name, command, search, result, message] : calls) {
        char text[512], msg[256] = "";
        text_copy(text, search);
        EXPECT_EQ(i_RCMD_SEARCH(name.c_str(), command.c_str(), text, msg, {}), result) << command;
        EXPECT_EQ(msg, message);
    }
}

// A real sshd on a loopback port, with keys of its own. The directory that it asks for under /run
// is on a file system that only it sees, where such a one can be mounted.
struct Sshd {
    Sshd(const std::string &config, int port) {
        if ((pid = fork()) == 0) {
            const std::string mount = "mount -t tmpfs tmpfs /run",
                              sshd = "mkdir -p /run/sshd && exec /usr/sbin/sshd -D -e -f " + config;
            const std::string start = "exec 2>/dev/null; ! unshare -m " + mount +
                                      " || exec unshare -m sh -c '" + mount + " && " + sshd +
                                      "'; " + sshd;
            execl("/bin/sh", "sh", "-c", start.c_str(), nullptr);
            _exit(127);
        }
        sockaddr_in address = {AF_INET, htons(static_cast<in_port_t>(port)), {}, {}};
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        for (int i = 0; i < 1000 && !answers && waitpid(pid, nullptr, WNOHANG) == 0; ++i) {
            const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
            answers = connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
            close(fd);
            usleep(5000);
        }
    }
    ~Sshd() {
        kill(pid, SIGTERM);
        waitpid(pid, nullptr, 0);
    }
    pid_t pid;
    bool answers = false;
};

TEST_F(Dispatcher, RunsThroughSsh) {
    if (access("/usr/sbin/sshd", X_OK) != 0 || geteuid() != 0) {
        GTEST_SKIP() << "needs sshd, and to be the user root, who logs in";
    }
    const int port = Listener(-1).port();
    const std::string dir = in.dir + '/', at = "Port " + std::to_string(port) + "\n";
    for (const char *key : {"host", "user"}) {
        ASSERT_EQ(system(("ssh-keygen -q -t ed25519 -N '' -f " + dir + key).c_str()), 0);
    }
    // The environment file of a client's installation is not on this machine: it is left out. The
    // shell takes itself for one below another, which reads no start files.
    write_file(dir + "sshd", at + "ListenAddress 127.0.0.1\nHostKey " + dir + "host\n" +
                                 "PidFile none\nUsePAM no\nStrictModes no\nPermitRootLogin yes\n" +
                                 "AuthorizedKeysFile " + dir + "user.pub\nPermitUserRC no\n" +
                                 "SetEnv SHLVL=9 HOME=" + dir + "\n" +
                                 "ForceCommand eval \"${SSH_ORIGINAL_COMMAND#*;}\"\n");
    write_file(dir + "ssh", at + "IdentityFile " + dir + "user\nIdentitiesOnly yes\n" +
                                "BatchMode yes\nLogLevel ERROR\nStrictHostKeyChecking no\n" +
                                "UserKnownHostsFile " + dir + "known\n");
    client("127.0.0.1", "Linux", "SSH", "-F " + dir + "ssh");
    const Sshd sshd(dir + "sshd", port);
    ASSERT_TRUE(sshd.answers);
    EXPECT_EQ(run("127.0.0.1", "sh -c 'echo \"a  b\"; exit 3'"),
              R"(3 |exit state 3|a  b;||
I003-BASICS [<pid>]: RemoteCmd ssh -l root -F <dir>/ssh 127.0.0.1 )"
              R"('. /etc/vorna2000.ini;set -f;LD_LIBRARY_PATH=$VN_BIN_VORNA )"
              R"(PATH=$PATH:$VN_BIN_VORNA:$VN_BIN_VNS sh -c '\''echo "a  b"; exit 3'\'''
E014-HOSTS  [<pid>]: RemoteCmd sh -c 'echo "a  b"; exit 3' > error: exit state 3)");
}

} // namespace
