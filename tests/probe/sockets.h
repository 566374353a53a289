// Sockets, and what a remote call must leave as it was.
#pragma once

#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace vn_probe {

// A socket on a free port; listens with that backlog, -1: does not listen.
struct Listener {
    explicit Listener(int backlog) {
        bind(fd, reinterpret_cast<sockaddr *>(&address), length);
        getsockname(fd, reinterpret_cast<sockaddr *>(&address), &length);
        if (backlog >= 0) {
            listen(fd, backlog);
        }
    }
    ~Listener() { close(fd); }
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;
    int port() const { return ntohs(address.sin_port); }

    int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {AF_INET, 0, {}, {}};
    socklen_t length = sizeof address;
};

// Open descriptors, signal handlers and children of this process.
inline std::string possessions() {
    std::string all;
    std::getline(std::ifstream("/proc/thread-self/children"), all);
    for (int fd = 0; fd < 256; fd++) {
        all += fcntl(fd, F_GETFD) < 0 ? '-' : 'o';
    }
    for (int signal = 1; signal < 32; signal++) {
        struct sigaction action = {};
        sigaction(signal, nullptr, &action);
        all += action.sa_handler == SIG_DFL ? 'd' : action.sa_handler == SIG_IGN ? 'i' : 'h';
    }
    return all;
}

} // namespace vn_probe
