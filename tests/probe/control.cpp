// The control daemon's client, sockets, and a daemon that plays a script.
#include "tests/probe/probe.h"

#include "common/unix/cm_socket.h"
#include "control/vn_ctrl.h"
#include "tests/probe/sockets.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <iterator>
#include <memory>
#include <netdb.h>
#include <netinet/tcp.h>

namespace {

int last_pending = 0; // the connects before this one are not through yet
int connects = 0;

template <typename Call>
Call *of_the_system(const char *name) {
    return reinterpret_cast<Call *>(dlsym(RTLD_NEXT, name));
}

} // namespace

// The probe's resolver: "alias" has another canonical name, "late" is known when asked the second
// time, "nosuch" never.
hostent *gethostbyname(const char *name) {
    static auto *const system_s = of_the_system<hostent *(const char *)>("gethostbyname");
    static char canonical[] = "canonical.test";
    static int look_ups = 0;
    const std::string asked = name;
    if (asked == "nosuch" || (asked == "late" && ++look_ups == 1)) {
        h_errno = HOST_NOT_FOUND;
        return nullptr;
    }
    hostent *entry = system_s(asked == "alias" || asked == "late" ? "127.0.0.1" : name);
    entry->h_name = asked == "alias" ? canonical : entry->h_name;
    return entry;
}

// A connect that takes as many tries as are wanted.
int connect(int fd, const sockaddr *address, socklen_t length) {
    static auto *const system_s = of_the_system<int(int, const sockaddr *, socklen_t)>("connect");
    if (++connects < last_pending) {
        errno = connects % 2 == 0 ? EALREADY : EAGAIN;
        return -1;
    }
    return system_s(fd, address, length);
}

namespace vn_probe {
namespace {

std::unique_ptr<Listener> listener;

// A number, or @ with what is added to the listener's port.
int port_of(const std::string &word) {
    const bool relative = word[0] == '@';
    const long number = std::strtol(word.c_str() + (relative ? 1 : 0), nullptr, 10);
    return (int)number + (relative ? listener->port() : 0);
}

// BACKLOG [CONNECTIONS]: the listener, with connections of ours; -1: it does not listen.
void run_listen(Words &words) {
    static std::vector<std::unique_ptr<Listener>> ours_s;
    listener = std::make_unique<Listener>((int)words.number());
    for (long i = words.more() ? words.number() : 0; i > 0; i--) {
        const auto &our = ours_s.emplace_back(std::make_unique<Listener>(-1));
        ::connect(our->fd, reinterpret_cast<sockaddr *>(&listener->address), listener->length);
    }
}

// A port on which nobody listens.
void run_free_port(Words &) {
    std::printf("%d\n", Listener(-1).port());
}

// NUMBER: of the connects that are not through.
void run_pending(Words &words) {
    last_pending = (int)words.number();
    connects = 0;
}

template <typename Value>
Value option(int fd, int level, int name) {
    Value value = {};
    socklen_t length = sizeof value;
    getsockopt(fd, level, name, &value, &length);
    return value;
}

void show_socket(const char *name, int fd) {
    if (fd >= 0) {
        const linger wait = option<linger>(fd, SOL_SOCKET, SO_LINGER);
        std::printf("%s: keep alive %d, no delay %d, linger %d %d s%s\n", name,
                    option<int>(fd, SOL_SOCKET, SO_KEEPALIVE),
                    option<int>(fd, IPPROTO_TCP, TCP_NODELAY), wait.l_onoff, wait.l_linger,
                    (fcntl(fd, F_GETFL) & O_NONBLOCK) != 0 ? ", does not block" : "");
    }
}

// HOST PORT [TIMEOUT [START END]]: result, host and failure; the sockets, and what is left of them.
void run_vn_ctrl(Words &words) {
    Buffer host = buffer(1024, words.text());
    const int port = port_of(words.text());
    const int timeout = words.more() ? (int)words.number() : 0;
    const int start = words.more() ? port_of(words.text()) : -1;
    const int end = words.more() ? port_of(words.text()) : 0;
    int first = -1, second = -1;
    const std::string before = possessions();
    const int result = vn_ctrl(host.data(), port, start, end, "root", "echo\"a", &first,
                               start < 0 ? nullptr : &second, timeout);
    std::printf("%d [%s] [%s]\n", result, host.data(), result == 0 ? "" : vn_ctrl_geterror());
    show_socket("first", first);
    show_socket("second", second);
    if (last_pending > 0) {
        std::printf("%d connects\n", connects);
    }
    cm_CloseSocketsAndCleanup(3, 0, first, second);
    std::printf("%s", possessions() == before ? "" : "something is left\n");
}

// TEXT...: the failures of a call, and the one that is kept.
void run_failures(Words &words) {
    while (words.more()) {
        vn_processerror(words.text());
    }
    std::printf("[%s]\n", vn_ctrl_geterror());
}

constexpr int kOurs = 40; // the descriptor that a trace shows

// A connection between both that takes no more.
void run_full_socket(Words &) {
    int pair[2];
    socketpair(AF_UNIX, SOCK_STREAM, 0, pair);
    for (const int end : {0, 1}) {
        dup2(pair[end], kOurs + end);
        close(pair[end]);
    }
    while (send(kOurs, "xxxx", 4, MSG_DONTWAIT) > 0) {
    }
}

// DESCRIPTOR: takes all there is; what it got, long ones by their length.
void run_receive(Words &words) {
    std::vector<char> got(1 << 20);
    const ssize_t size = recv((int)words.number(), got.data(), got.size(), MSG_DONTWAIT);
    size > 9 ? (void)std::puts("received") : (void)std::printf("%zd [%s]\n", size, got.data());
}

// DESCRIPTOR MODE
void run_block_mode(Words &words) {
    const int fd = (int)words.number(), result = iSetNonBlockmode(fd, (int)words.number());
    std::printf("%d, %s\n", result, (fcntl(fd, F_GETFL) & O_NONBLOCK) != 0 ? "returns" : "waits");
}

// DESCRIPTOR TEXT: sends it.
void run_send(Words &words) {
    const int fd = (int)words.number();
    const std::string text = words.text();
    const int result = iSendBuffer(fd, text.c_str(), (int)text.size(), MSG_NOSIGNAL);
    const int error = vn_sockerror();
    std::printf(result < 0 ? "%d %s\n" : "%d\n", result, std::strerror(error));
}

// DESCRIPTOR DESCRIPTOR: closes both, as the third and fourth of a call.
void run_close(Words &words) {
    const int first = (int)words.number(), second = (int)words.number();
    cm_CloseSocketsAndCleanup(4, 0, -1, first, second);
}

// Plays a daemon on both connections of a call.
struct Peer {
    Listener listener{5};
    int fds[2] = {-1, -1};
    std::string got;

    // Takes what has come; false once the caller is gone.
    bool receive(int flags) {
        char letter = 0;
        ssize_t size = 0;
        while ((size = recv(fds[0], &letter, 1, flags)) == 1) {
            got += letter;
        }
        return size != 0;
    }
    void connect_back() {
        sockaddr_in back = listener.address;
        back.sin_port = htons(static_cast<in_port_t>(std::stoi(got)));
        fds[1] = socket(AF_INET, SOCK_STREAM, 0);
        ::connect(fds[1], reinterpret_cast<sockaddr *>(&back), sizeof back);
    }
    void reset() {
        const linger none = {1, 0};
        setsockopt(fds[0], SOL_SOCKET, SO_LINGER, &none, sizeof none);
        close(fds[0]);
        fds[0] = -1;
    }
    void act(char what, std::string text) {
        std::replace(text.begin(), text.end(), '@', '\0');
        const bool second = what == '2' || what == 'X' || (what == '!' && fds[1] >= 0);
        switch (what) {
        case 'c':
            return connect_back();
        case 'r':
            return reset();
        case 'x':
        case 'X':
            shutdown(fds[second ? 1 : 0], SHUT_WR);
            return;
        default:
            send(fds[second ? 1 : 0], text.data(), text.size(), what == '!' ? MSG_OOB : 0);
        }
    }
};

// FILE [TEXT STEP]...: a daemon for one call. Prints its port; takes each step once the file holds
// the text behind the one before, so that the order of what happens on both sides is always the
// same; then prints what it got. Steps: 1TEXT and 2TEXT send on that connection (@ is a NUL), !CODE
// sends the exit code, c connects back, x and X end the first and second connection, r resets the
// first.
void run_daemon(Words &words) {
    alarm(20);
    Peer peer;
    std::printf("%d\n", peer.listener.port());
    std::fflush(stdout);
    const char *file = words.text();
    peer.fds[0] = accept(peer.listener.fd, nullptr, nullptr);
    bool there = true;
    size_t begin = 0;
    while (words.more()) {
        const std::string text = words.text(), step = words.text();
        size_t at = std::string::npos;
        while (there && at == std::string::npos) {
            usleep(500);
            there = peer.receive(MSG_DONTWAIT);
            std::ifstream trace(file);
            const std::string all((std::istreambuf_iterator<char>(trace)), {});
            at = all.find(text, begin);
        }
        begin = at + text.size();
        there ? peer.act(step[0], step.substr(1)) : (void)0;
    }
    peer.receive(0);
    std::replace(peer.got.begin(), peer.got.end(), '\0', '|');
    std::printf("daemon got %s\n", peer.got.c_str());
}

const Function kFunctions[] = {
    {"listen", run_listen},       {"free_port", run_free_port},   {"pending", run_pending},
    {"vn_ctrl", run_vn_ctrl},     {"failures", run_failures},     {"full_socket", run_full_socket},
    {"receive", run_receive},     {"block_mode", run_block_mode}, {"send", run_send},
    {"close_sockets", run_close}, {"daemon", run_daemon}};

} // namespace

const std::span<const Function> kControl = kFunctions;

} // namespace vn_probe
