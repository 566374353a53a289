// The control daemon's client, against the sandbox's daemon and against sockets that do less.
#include "common/unix/cm_socket.h"
#include "common/unix/cm_trace.h"
#include "control/vn_ctrl.h"
#include "tests/support/daemon.h"
#include "tests/support/expected.h"

#include <chrono>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <netinet/tcp.h>
#include <thread>

using namespace vn_test;

namespace {

int iLookUps = 0;
int iConnects = 0;
int iLastPending = 0; // the connects before and with this one are not through yet

template <typename Function>
Function *of_the_system(const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

// The resolver of these tests: "alias" has another canonical name, "late" is known when asked the
// second time, "nosuch" never.
hostent *gethostbyname(const char *name) {
    static hostent *(*const system_s)(const char *) =
        of_the_system<hostent *(const char *)>("gethostbyname");
    static std::string canonical;
    const std::string asked = name;
    if (asked == "nosuch" || (asked == "late" && ++iLookUps == 1)) {
        h_errno = HOST_NOT_FOUND;
        return nullptr;
    }
    hostent *entry = system_s(asked == "alias" || asked == "late" ? "127.0.0.1" : name);
    if (asked == "alias") {
        canonical = "canonical.test";
        entry->h_name = canonical.data();
    }
    return entry;
}

// A connect that takes as many tries as a test wants.
int connect(int fd, const sockaddr *address, socklen_t length) {
    static int (*const system_s)(int, const sockaddr *, socklen_t) =
        of_the_system<int(int, const sockaddr *, socklen_t)>("connect");
    if (++iConnects < iLastPending) {
        errno = iConnects % 2 == 0 ? EALREADY : EAGAIN;
        return -1;
    }
    return system_s(fd, address, length);
}

namespace {

std::string socket_error(int number) {
    return " (socket error " + std::to_string(number) + ": " + strerror(number) + ')';
}

struct Control : testing::Test {
    Control() { gCtrlPolicy = {1, 10, 1, 1000}; }
    Installation in;
    std::string host = "127.0.0.1", canonical = host;

    template <typename Value>
    static Value option(int fd, int level, int name) {
        Value value = {};
        socklen_t length = sizeof value;
        EXPECT_EQ(getsockopt(fd, level, name, &value, &length), 0);
        return value;
    }

    // The result and, of a failure, the text.
    std::string call(int port, int timeout = 0, int start = -1, int end = 0) {
        char name[1024] = "";
        host.copy(name, sizeof name - 1);
        int first = -1, second = -1;
        const std::string before = possessions();
        const auto begin = std::chrono::steady_clock::now();
        const int result = vn_ctrl(name, port, start, end, "root", "echo\"a", &first,
                                   start < 0 ? nullptr : &second, timeout);
        const int limit = timeout > 0 ? timeout + 2 : 20;
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(limit));
        EXPECT_EQ(name, canonical);
        if (result != 0) {
            EXPECT_EQ(possessions(), before);
            return std::to_string(result) + ' ' + vn_ctrl_geterror();
        }
        for (const int fd : {first, second}) {
            if (fd >= 0) {
                EXPECT_EQ(option<int>(fd, SOL_SOCKET, SO_KEEPALIVE), 1);
                EXPECT_EQ(option<int>(fd, IPPROTO_TCP, TCP_NODELAY), 1);
                EXPECT_EQ(option<linger>(fd, SOL_SOCKET, SO_LINGER).l_onoff, 1);
                EXPECT_EQ(option<linger>(fd, SOL_SOCKET, SO_LINGER).l_linger, 60);
                EXPECT_EQ(fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
            }
        }
        const std::string told = second < 0 ? "0 one" : "0 two";
        cm_CloseSocketsAndCleanup(3, 0, first, second);
        EXPECT_EQ(possessions(), before);
        return told;
    }
};

TEST(ControlPolicy, IsTheOneOfTheDaemons) {
    EXPECT_EQ(gCtrlPolicy.iResolve, 500);
    EXPECT_EQ(gCtrlPolicy.iConnect, 100);
    EXPECT_EQ(gCtrlPolicy.iAccept, 10);
    EXPECT_EQ(gCtrlPolicy.iUrgent, 1000);
}

TEST_F(Control, LooksTheHostUp) {
    const Daemon daemon(in);
    for (const auto &[given, found] :
         {std::pair("alias", "canonical.test"), {"late", "127.0.0.1"}}) {
        host = given;
        canonical = found;
        EXPECT_EQ(call(daemon.port), "0 one");
    }
    EXPECT_EQ(iLookUps, 2);
}

// A connect that is through with the last look counts as too late.
TEST_F(Control, ConnectsInTenLooksASecond) {
    const Daemon daemon(in);
    for (const int timeout : {1, 3}) {
        const int last = timeout * 10;
        iConnects = 0;
        iLastPending = last - 2; // after it one is under way, the next is through
        EXPECT_EQ(call(daemon.port, timeout), "0 one");
        EXPECT_EQ(iConnects, last - 1);
        iConnects = 0;
        iLastPending = last - 1;
        EXPECT_EQ(
            call(daemon.port, timeout),
            "253 connect() call timed out for host: [127.0.0.1]. Probably due to a Firewall." +
                socket_error(ETIMEDOUT));
        EXPECT_EQ(iConnects, last);
        iConnects = iLastPending = 0;
    }
}

TEST_F(Control, OffersAPortForTheSecondConnection) {
    const Daemon daemon(in);
    const Listener used(0);
    const auto offered = [&] {
        const std::string line = read_file(in.path("requests")).value_or("");
        std::remove(in.path("requests").c_str());
        const size_t end = line.find(']');
        EXPECT_EQ(line.substr(end), "] [root] [echo\"a]\n");
        return end == 1 ? 0 : std::stoi(line.substr(1));
    };
    for (const int timeout : {0, 3}) {
        EXPECT_EQ(call(daemon.port, timeout), "0 one");
        EXPECT_EQ(offered(), 0);
        EXPECT_EQ(call(daemon.port, timeout, used.port(), used.port()), "0 one");
        EXPECT_EQ(offered(), 0);
        EXPECT_EQ(call(daemon.port, timeout, 0, 0), "0 two");
        EXPECT_GT(offered(), 0);
        EXPECT_EQ(call(daemon.port, timeout, used.port(), used.port() + 50), "0 two");
        const int next = offered();
        EXPECT_TRUE(next > used.port() && next <= used.port() + 50) << next;
    }
}

TEST_F(Control, TellsWhatTheDaemonDid) {
    const std::string reply = "CTRLD reply: ", x(20000, 'x');
    const std::pair<std::string, std::string> cases[] = {
        {"-r 'no root' -u 7", "7 " + reply + "no root"},
        {"-r 'late ' -u 240 -w 50", "240 " + reply + "late"},
        {"-r none", "253 " + reply + "none"},
        {"-r 0 -u 0", "253 " + reply + "0"},
        {"-u 9 -r " + x, "9 " + (reply + x).substr(0, 259)},
        {"-m wrong", "253 CTRLD reply:"},
        {"-m wrong -u 5", "5 CTRLD reply:"}, // a refusal without a line feed
        {"-m close", "253 ERROR: Server listening on remote port is not a CTRLD Server"},
        {"-m mute", "253 recv() call failed." + socket_error(ETIMEDOUT)},
        {"-m trickle", "253 " + reply + "no"},
        {"-m lonely",
         "253 accept() call timed out probably due to a Firewall." + socket_error(EAGAIN)}};
    for (const auto &[options, told] : cases) {
        const Daemon daemon(in, options);
        EXPECT_EQ(call(daemon.port, 1, 0, 0), told) << options;
    }
}

TEST_F(Control, TellsWhyThereIsNoConnection) {
    const Listener deaf(-1), full(0), queued(-1);
    connect(queued.fd, reinterpret_cast<const sockaddr *>(&full.address), full.length);
    EXPECT_EQ(call(deaf.port()),
              "253 connect() call failed for host: [127.0.0.1]." + socket_error(ECONNREFUSED));
    EXPECT_EQ(call(deaf.port(), 1),
              "253 connect() call failed. No one listening on the remote host address [127.0.0.1] "
              "port [" +
                  std::to_string(deaf.port()) + "]." + socket_error(ECONNREFUSED));
    EXPECT_EQ(call(full.port(), 1), "253 connect() call timed out for host: [127.0.0.1]. Probably "
                                    "due to a Firewall." +
                                        socket_error(ETIMEDOUT));
    EXPECT_EQ(call(65536 + full.port()),
              "253 invalid port of the control daemon: " + std::to_string(65536 + full.port()));
    EXPECT_EQ(call(-1), "253 invalid port of the control daemon: -1");
    EXPECT_EQ(call(65535).substr(0, 21), "253 connect() call fa");
    host = canonical = "nosuch";
    EXPECT_EQ(call(1), "253 gethostbyname() call failed for host: [nosuch] (resolver error 1: " +
                           std::string(hstrerror(HOST_NOT_FOUND)) + ')');
    vn_processerror("first \r\n");
    vn_processerror("second");
    EXPECT_STREQ(vn_ctrl_geterror(), "first");
    vn_processerror("third");
    EXPECT_STREQ(vn_ctrl_geterror(), "third");
}

// A peer that takes nothing ends the sending after thirty tries, one that is slow gets it all.
TEST_F(Control, SendsAWholeBuffer) {
    int fds[2] = {};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
    std::string sent(3000000, 'x'), got;
    for (size_t i = 0; i < sent.size(); i += 7) {
        sent[i] = static_cast<char>(i >> 8);
    }
    const timeval wait = {0, 20000};
    setsockopt(fds[0], SOL_SOCKET, SO_SNDTIMEO, &wait, sizeof wait);
    std::thread reader([&] {
        usleep(50000); // so that the sender has to try again
        char block[65536];
        for (ssize_t size = 0; (size = read(fds[1], block, sizeof block)) > 0;) {
            got.append(block, static_cast<size_t>(size));
        }
    });
    const int size = static_cast<int>(sent.size());
    EXPECT_EQ(iSendBuffer(fds[0], sent.data(), size, 0), size);
    shutdown(fds[0], SHUT_WR);
    reader.join();
    EXPECT_TRUE(got == sent);
    EXPECT_EQ(iSetNonBlockmode(fds[1], 1), 0);
    while (send(fds[1], sent.data(), sent.size(), 0) > 0) {
    }
    str_log log = {};
    v_set_log_main("t.tra", "NOSUCH", &log);
    v_set_log(2, 0, &log);
    EXPECT_EQ(iSendBuffer(fds[1], "abc", 3, 0), -1);
    close(fds[0]);
    EXPECT_EQ(iSendBuffer(fds[1], "abc", 3, MSG_NOSIGNAL), -1);
    close(fds[1]);
    std::string trace = read_file(log.szFile).value_or("");
    for (size_t at = 0; at < trace.size(); at = std::min(trace.find('\n', at), trace.size()) + 1) {
        trace.erase(at, 9);
    }
    expect_file("send_buffer.txt", trace);
}

} // namespace
