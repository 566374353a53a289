// What differs between systems, on each of them.
#include "tests/probe/probe.h"

#include "common/unix/system/descriptor_calls.h"
#include "common/unix/system/device_node.h"
#include "common/unix/system/mount_list.h"
#include "common/unix/system/option_order.h"

#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>

namespace vn_probe {
namespace {

static_assert(*options_in_order("+:a", SYSTEM_LINUX) == '+');
static_assert(*options_in_order("+:a", SYSTEM_FREEBSD) == ':');

// NAME: whose rows are used from here on.
void run_system(Words &words) {
    const std::string wanted = words.text();
    const char *names[] = {"Linux", "OpenBSD", "FreeBSD", "NetBSD", "other"};
    for (int i = 0; i < kSystems; i++) {
        geDeviceSystem = wanted == names[i] ? static_cast<e_SYSTEM>(i) : geDeviceSystem;
    }
}

// DEVICE POINT TYPE FLAGS
void run_mount_line(Words &words) {
    const std::string device = words.text(), point = words.text(), type = words.text();
    const auto flags = static_cast<unsigned long long>(words.number());
    std::printf("%s\n", mount_line({device, point, type, flags}, geDeviceSystem).c_str());
}

// Own mounts by the system's call: Linux has none.
void run_mount_lines(Words &) {
    std::vector<std::string> lines;
    std::printf("%d, %zu lines, table %s\n", list_mounts(&lines), lines.size(),
                mount_table(geDeviceSystem) == nullptr ? "-" : mount_table(geDeviceSystem));
}

void show(const char *what, const unique_fd &fd) {
    const char *exec = (fcntl(fd.get(), F_GETFD) & FD_CLOEXEC) != 0 ? "closed" : "inherited";
    const char *wait = (fcntl(fd.get(), F_GETFL) & O_NONBLOCK) != 0 ? "returns" : "waits";
    std::printf("%s %s %s\n", what, exec, wait);
}

int wait_for(const char *what, pollfd (&wanted)[2], const sigset_t *signals) {
    const timespec limit = {0, 50000000};
    errno = 0;
    const int ready = poll_with_signals(wanted, 2, &limit, signals, geDeviceSystem);
    std::printf("%s: %d [%x %x] %s\n", what, ready, static_cast<unsigned>(wanted[0].revents),
                static_cast<unsigned>(wanted[1].revents), ready < 0 ? std::strerror(errno) : "-");
    return ready;
}

// A listening socket that does not wait, and a connection to it.
struct Connection {
    unique_fd listener, client, server;
};

void connect(Connection *made) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    made->listener.reset(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
    auto *generic = reinterpret_cast<sockaddr *>(&address);
    bind(made->listener.get(), generic, length);
    listen(made->listener.get(), 1);
    getsockname(made->listener.get(), generic, &length);
    made->server = accept_connection(made->listener.get(), geDeviceSystem);
    std::printf("nobody %s\n", made->server ? "came" : std::strerror(errno));
    made->client.reset(socket(AF_INET, SOCK_STREAM, 0));
    ::connect(made->client.get(), generic, length);
    made->server = accept_connection(made->listener.get(), geDeviceSystem);
    show("connection", made->server);
}

// What the calls on descriptors give.
void run_descriptors(Words &) {
    unique_fd read, write;
    std::printf("pipe %d\n", open_pipe(&read, &write, geDeviceSystem));
    show("reading end", read);
    show("writing end", write);
    Connection connection;
    connect(&connection);
    pollfd wanted[2] = {{read.get(), POLLIN, 0}, {connection.server.get(), POLLIN | POLLPRI, 0}};
    wait_for("nothing", wanted, nullptr);
    send(connection.client.get(), "x", 1, MSG_OOB);
    wait_for("urgent", wanted, nullptr);
    wanted[1].fd = -1;
    wait_for("left out", wanted, nullptr);
    write.reset();
    wait_for("ended", wanted, nullptr);
    wanted[0].fd = -1;
    sigset_t none, user;
    sigemptyset(&none);
    sigemptyset(&user);
    sigaddset(&user, SIGUSR1);
    signal(SIGUSR1, [](int) {});
    sigprocmask(SIG_BLOCK, &user, nullptr);
    raise(SIGUSR1);
    wait_for("blocked", wanted, nullptr);
    wait_for("let in", wanted, &none);
}

const Function kFunctions[] = {
    {"system_of", run_system},
    {"mount_line", run_mount_line},
    {"mount_lines", run_mount_lines},
    {"descriptors", run_descriptors},
};

} // namespace

const std::span<const Function> kSystem = kFunctions;

} // namespace vn_probe
