// The sandbox's control daemon for a test, and what a call must leave as it was.
#pragma once

#include "tests/support/installation.h"

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vn_test {

// Runs until its end with these options; logs the requests into the file "requests".
struct Daemon {
    explicit Daemon(const Installation &in, const std::string &options = "") {
        const std::string fifo = in.path("fifo");
        mkfifo(fifo.c_str(), 0600);
        const std::string log = " -l " + in.path("requests ") + options + " >" + fifo;
        std::remove(in.path("requests").c_str());
        input = popen(("exec " + in.path("ro/remote/ctrld") + log).c_str(), "we");
        std::ifstream(fifo) >> port;
    }
    ~Daemon() { pclose(input); }
    Daemon(const Daemon &) = delete;
    Daemon &operator=(const Daemon &) = delete;

    std::FILE *input;
    int port = 0;
};

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
    std::string all = read_file("/proc/thread-self/children").value_or("");
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

} // namespace vn_test
