// What remote calls do amid signals and threads; all else of them is in sessions.
#include "common/common/text.h"
#include "common/unix/cm_socket.h"
#include "common/unix/cm_trace.h"
#include "kernel/vn_ctrlc_lib.h"
#include "tests/probe/sockets.h"
#include "tests/support/installation.h"

#include <gtest/gtest.h>
#include <memory>
#include <sys/time.h>
#include <thread>

using namespace vn_test;

namespace {

int ends[2];
int ticks = 0;
char received[200000];
size_t received_size = 0;

void receive() {
    ssize_t size = 0;
    do {
        received_size += static_cast<size_t>(size);
        size =
            recv(ends[1], received + received_size, sizeof received - received_size, MSG_DONTWAIT);
    } while (size > 0);
}

// Every 20 ticks the peer takes all there is: 20 interrupted sends in a row at most.
void tick(int) {
    if (++ticks % 20 == 0) {
        receive();
    }
}

TEST(RemoteSocket, SendsAllOverInterruptionsAndFullBuffers) {
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const int size = 16384; // the system takes twice as much
    setsockopt(ends[0], SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
    struct sigaction action = {};
    action.sa_handler = tick;
    sigaction(SIGALRM, &action, nullptr);
    const itimerval every = {{0, 12000}, {0, 12000}}, never = {};
    setitimer(ITIMER_REAL, &every, nullptr);
    std::string text(100000, 'y'); // more than the buffer takes twice
    for (size_t i = 0; i < text.size(); i += 7) {
        text[i] = static_cast<char>(i >> 8);
    }
    EXPECT_EQ(iSendBuffer(ends[0], text.data(), 100000, 0), 100000);
    setitimer(ITIMER_REAL, &never, nullptr);
    receive();
    EXPECT_TRUE(std::string(received, received_size) == text);
    EXPECT_GE(ticks, 40);
}

TEST(RemoteSocket, TakesAnExitCodeInTheSignalHandler) {
    const vn_probe::Listener listener(1), sender(-1);
    connect(sender.fd, reinterpret_cast<const sockaddr *>(&listener.address), listener.length);
    const int fd = accept(listener.fd, nullptr, nullptr);
    for (const int number : {1, 2}) {
        const char code = static_cast<char>(6 + number);
        reset_exit_code();
        g_hSocket1 = number == 1 ? fd : -1;
        g_hSocket2 = number == 1 ? 0 : fd;
        signal_handler(SIGURG);
        EXPECT_EQ(exit_code_socket(), 0);
        EXPECT_EQ(g_iEXITCODE, 255);
        ASSERT_EQ(send(sender.fd, &code, 1, MSG_OOB), 1);
        for (int i = 0; i < 1000 && exit_code_socket() == 0; i++) {
            usleep(1000);
            signal_handler(SIGURG);
        }
        EXPECT_EQ(exit_code_socket(), number);
        EXPECT_EQ(g_iEXITCODE, 6 + number);
    }
    close(fd);
}

// No socket: the wait finds it ready, but nothing comes from it.
struct Deaf {
    Deaf() { EXPECT_EQ(pipe(fds) + static_cast<int>(write(fds[1], "x", 1)), 1); }
    int fds[2] = {};
};

TEST(RemoteRelay, BearsSilenceAnewBehindWhatComes) {
    const Installation in;
    str_log log = {};
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
    const Deaf deaf;
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const auto request = std::make_unique<RCMD>();
    gRelayPolicy.iIdlePauseMsec = 1;
    giSingleConnection = 1;
    STDOUT_STDERR_transfer(stdout, stderr, request.get(), deaf.fds[0], 0, log);
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
    STDOUT_STDERR_transfer(stdout, stderr, request.get(), ends[0], deaf.fds[0], log);
    sender.join();
    EXPECT_EQ(passes(3), 2U);
}

TEST(RemoteRelay, ForwardsAByteAfterAnInterruptedWait) {
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
    STDOUT_STDERR_transfer(stdout, stderr, request.get(), first[0], second[0], {});
    peer.join();
    EXPECT_EQ(got, 3);
    EXPECT_EQ(send_sig, static_cast<char>(-1));
    EXPECT_EQ(request->iTimeout, 1); // both have ended
}

} // namespace
