// The control daemon's client, against the sandbox's daemon and against sockets that do less.
#include "common/unix/cm_socket.h"
#include "control/vn_ctrl.h"
#include "tests/support/daemon.h"

#include <chrono>
#include <gtest/gtest.h>

using namespace vn_test;

namespace {

struct Control : testing::Test {
    Control() { gCtrlPolicy = {1, 10, 1, 1000}; }
    Installation in;
    std::string host = "127.0.0.1";

    // The result and, of a failure, the text without the system's own.
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
        EXPECT_EQ(name, host);
        if (result != 0) {
            EXPECT_EQ(possessions(), before);
            const std::string text = vn_ctrl_geterror();
            return std::to_string(result) + ' ' + text.substr(0, text.find(" (socket error"));
        }
        for (const int fd : {first, second}) {
            int on = 0;
            socklen_t length = sizeof on;
            EXPECT_EQ(getsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &on, &length), fd < 0 ? -1 : 0);
            EXPECT_EQ(on, fd < 0 ? 0 : 1);
        }
        const std::string told = second < 0 ? "0 one" : "0 two";
        cm_CloseSocketsAndCleanup(3, 0, first, second);
        EXPECT_EQ(possessions(), before);
        return told;
    }
};

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
        {"-m close", "253 ERROR: Server listening on remote port is not a CTRLD Server"},
        {"-m mute", "253 recv() call failed."},
        {"-m trickle", "253 " + reply + "no"},
        {"-m lonely", "253 accept() call timed out probably due to a Firewall."}};
    for (const auto &[options, told] : cases) {
        const Daemon daemon(in, options);
        EXPECT_EQ(call(daemon.port, 1, 0, 0), told) << options;
    }
}

TEST_F(Control, TellsWhyThereIsNoConnection) {
    const Listener deaf(-1), full(0), queued(-1);
    connect(queued.fd, reinterpret_cast<const sockaddr *>(&full.address), full.length);
    EXPECT_EQ(call(deaf.port()), "253 connect() call failed for host: [127.0.0.1].");
    EXPECT_EQ(call(deaf.port(), 1),
              "253 connect() call failed. No one listening on the remote host address [127.0.0.1] "
              "port [" +
                  std::to_string(deaf.port()) + "].");
    EXPECT_EQ(call(full.port(), 1), "253 connect() call timed out for host: [127.0.0.1]. Probably "
                                    "due to a Firewall.");
    EXPECT_EQ(call(65536 + full.port()),
              "253 invalid port of the control daemon: " + std::to_string(65536 + full.port()));
    host = "300.1.1.1";
    const std::string told = call(1);
    EXPECT_EQ(told.substr(0, told.find(" (")),
              "253 gethostbyname() call failed for host: [300.1.1.1]");
    vn_processerror("first \r\n");
    vn_processerror("second");
    EXPECT_STREQ(vn_ctrl_geterror(), "first");
    vn_processerror("third");
    EXPECT_STREQ(vn_ctrl_geterror(), "third");
}

} // namespace
