// The socket services: what is sent over full buffers and interruptions, and what is traced.
#include "common/unix/cm_socket.h"
#include "tests/support/service.h"

#include <csignal>
#include <fcntl.h>
#include <netdb.h>
#include <sys/socket.h>
#include <sys/time.h>

using namespace vn_test;

namespace {

constexpr int kOurs = 40, kPeer = 41; // descriptors that a trace shows

// A connection between both; returns how many bytes it takes without a reader.
int connect_pair(int mode) {
    int pair[2];
    socketpair(AF_UNIX, SOCK_STREAM, 0, pair);
    for (const int end : {0, 1}) {
        dup2(pair[end], kOurs + end);
        close(pair[end]);
    }
    const int size = 16384; // the system takes twice as much
    setsockopt(kOurs, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
    int bytes = 0;
    while (send(kOurs, "x", 1, MSG_DONTWAIT) == 1) {
        bytes++;
    }
    EXPECT_EQ(iSetNonBlockmode(kOurs, mode), 0);
    return bytes;
}

TEST(Socket, ServicesAreTracedWhole) {
    Installation in;
    const auto use = [](const str_log &) {
        const int taken = connect_pair(0);
        for (const int mode : {1, 0, 1, 2}) { // only 1 sets it
            const int result = iSetNonBlockmode(kOurs, mode);
            std::printf("mode %d: %d %d\n", mode, result, fcntl(kOurs, F_GETFL) & O_NONBLOCK);
        }
        std::printf("no descriptor: %d\n", iSetNonBlockmode(-1, 1));
        iSetNonBlockmode(kOurs, 1);
        std::printf("full: %d\n", iSendBuffer(kOurs, "abc", 3, 0));
        std::vector<char> all(static_cast<size_t>(taken));
        recv(kPeer, all.data(), all.size(), MSG_WAITALL);
        std::printf("empty: %d\n", iSendBuffer(kOurs, "abc", 3, 0));
        std::printf("nothing: %d\n", iSendBuffer(kOurs, "abc", 0, 0));
        std::printf("no socket: %d", iSendBuffer(42, "abc", 3, 0));
        std::printf(" %d\n", vn_sockerror());
        h_errno = NO_DATA;
        std::printf("resolver: %d\n", vn_hsockerror() == NO_DATA);
        char rest[8] = "";
        cm_CloseSocketsAndCleanup(4, 0, -1, kOurs, 42);
        std::printf("peer: %zd [%s]", recv(kPeer, rest, sizeof rest, 0), rest);
        std::printf(" %zd\n", recv(kPeer, rest, sizeof rest, 0));
    };
    expect_file("socket.txt", service(in, "sockets", 2, use));
}

int ticks = 0;

// Every 20 ticks the peer reads all there is: 20 interrupted sends in a row at most.
void tick(int) {
    char bytes[4096];
    if (++ticks % 20 == 0) {
        while (recv(kPeer, bytes, sizeof bytes, MSG_DONTWAIT) > 0) {
        }
    }
}

TEST(Socket, SendCountsTheRetriesInARow) {
    connect_pair(0);
    struct sigaction action = {};
    action.sa_handler = tick;
    sigaction(SIGALRM, &action, nullptr);
    const itimerval every = {{0, 12000}, {0, 12000}}, never = {};
    setitimer(ITIMER_REAL, &every, nullptr);
    const std::string text(48000, 'y'); // more than the buffer takes, less than it takes twice
    EXPECT_EQ(iSendBuffer(kOurs, text.data(), 48000, 0), 48000);
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_GE(ticks, 40);
    close(kOurs);
    close(kPeer);
}

} // namespace
