// What the receive loop of a remote call costs. ctrlc_lib_call fetches 200 MB, lines of 80
// characters that a control daemon on this machine sends, once into an output file and once into a
// line list. The reference is a bare socket on the loopback address whose bytes go into a file; a
// bare socket that receives from the daemon shows which part of the difference is the daemon's.
// `cat` is the source of all of them, and they take turns within one run.
#include "bench/measure.h"
#include "common/common/LL.h"
#include "common/common/text.h"
#include "kernel/vn_ctrlc_lib.h"

#include <arpa/inet.h>
#include <fstream>
#include <memory>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>

namespace {

constexpr int kRounds = 7;
constexpr int kLineLength = 80; // and a line feed
constexpr long kLines = 200'000'000 / (kLineLength + 1);
constexpr long kBytes = kLines * (kLineLength + 1);
constexpr std::size_t kBlock = 65536;

void require(bool bHolds, const char *what) {
    if (!bHolds) {
        throw std::runtime_error(what);
    }
}

void require_size(const std::string &file, long lBytes) {
    struct stat status = {};
    require(stat(file.c_str(), &status) == 0 && status.st_size == lBytes, "bytes were lost");
}

// The control daemon; it ends with this process, whose end of its standard input then closes.
class Daemon {
public:
    Daemon() {
        int in[2];
        int out[2];
        require(pipe2(in, O_CLOEXEC) == 0 && pipe2(out, O_CLOEXEC) == 0, "no pipe");
        child_ = fork();
        if (child_ == 0) {
            dup2(in[0], 0);
            dup2(out[1], 1);
            execl(VN_SANDBOX_PROGRAMS "/ctrld", "ctrld", "-t", "600", nullptr);
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        input_ = in[1];
        char line[16] = {};
        require(read(out[0], line, sizeof line - 1) > 0, "no control daemon");
        close(out[0]);
        port_ = std::to_string(std::stoi(line));
    }
    ~Daemon() {
        close(input_);
        waitpid(child_, nullptr, 0);
    }
    Daemon(const Daemon &) = delete;
    Daemon &operator=(const Daemon &) = delete;

    const std::string &port() const { return port_; }

private:
    pid_t child_ = -1;
    int input_ = -1;
    std::string port_;
};

std::unique_ptr<RCMD> request(const Daemon &daemon, const std::string &lines) {
    auto rcmd = std::make_unique<RCMD>();
    text_copy(rcmd->szClient, "127.0.0.1");
    text_copy(rcmd->szUser, "root");
    text_copy(rcmd->szPort, daemon.port());
    text_copy(rcmd->szCmd, "cat " + lines);
    return rcmd;
}

template <class Action>
double seconds_of(Action action) {
    const auto begin = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

double into_file(const Daemon &daemon, const std::string &lines, const std::string &file) {
    unlink(file.c_str());
    const auto rcmd = request(daemon, lines);
    text_copy(rcmd->szOutFile, file);
    const double wall =
        seconds_of([&] { require(ctrlc_lib_call(rcmd.get(), str_log{}) == 0, rcmd->szMsg); });
    require_size(file, kBytes);
    return wall;
}

// The time does not hold the freeing of the list.
double into_list(const Daemon &daemon, const std::string &lines) {
    const auto rcmd = request(daemon, lines);
    rcmd->LL_Stdout = ConsLL();
    const double wall =
        seconds_of([&] { require(ctrlc_lib_call(rcmd.get(), str_log{}) == 0, rcmd->szMsg); });
    long lWhole = 0;
    const void *line = FirstElmLL(rcmd->LL_Stdout);
    for (; IsElmLL(line) != 0; line = NextElmLL(line)) {
        lWhole += IsElmLL(line) == kLineLength + 1 ? 1 : 0;
    }
    DestLL(rcmd->LL_Stdout);
    require(lWhole == kLines, "lines were lost");
    return wall;
}

// Connects back and becomes `cat`, whose standard output is the socket.
[[noreturn]] void send_lines(const sockaddr_in &address, const char *lines) {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    if (connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0) {
        dup2(fd, 1);
        execl("/bin/cat", "cat", lines, nullptr);
    }
    _exit(127);
}

void copy(int from, int to) {
    static char block[kBlock];
    for (ssize_t got = 0; (got = recv(from, block, sizeof block, 0)) > 0;) {
        require(write(to, block, static_cast<std::size_t>(got)) == got, "no space for the copy");
    }
}

const sockaddr *generic(const sockaddr_in *address) {
    return reinterpret_cast<const sockaddr *>(address);
}

sockaddr_in loopback(int iPort) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<in_port_t>(iPort));
    return address;
}

// Has `cat` connect to a socket of ours. Returns the connection.
int connect_cat(const std::string &lines, pid_t *child) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    require(bind(listener, generic(&address), length) == 0 && listen(listener, 1) == 0 &&
                getsockname(listener, reinterpret_cast<sockaddr *>(&address), &length) == 0,
            "no socket");
    *child = fork();
    if (*child == 0) {
        send_lines(address, lines.c_str());
    }
    const int from = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    close(listener);
    return from;
}

// Has the daemon run `cat`. Returns the connection, the daemon's answer still to be read.
int connect_daemon(const Daemon &daemon, const std::string &lines) {
    const sockaddr_in address = loopback(std::stoi(daemon.port()));
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const std::string fields = std::string("\0root\0cat\"", 10) + lines + '\0';
    require(connect(fd, generic(&address), sizeof address) == 0 &&
                send(fd, fields.data(), fields.size(), 0) == static_cast<ssize_t>(fields.size()),
            "no connection");
    return fd;
}

// Receives what a connection brings into a file, lSkipped bytes of answer included.
double bare_copy(int from, const std::string &file, long lSkipped,
                 std::chrono::steady_clock::time_point begin) {
    const int to = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    copy(from, to);
    close(to);
    close(from);
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - begin;
    require_size(file, kBytes + lSkipped);
    return wall.count();
}

double over_socket(const std::string &lines, const std::string &file) {
    unlink(file.c_str());
    const auto begin = std::chrono::steady_clock::now();
    pid_t child = -1;
    const double wall = bare_copy(connect_cat(lines, &child), file, 0, begin);
    waitpid(child, nullptr, 0);
    return wall;
}

double over_daemon(const Daemon &daemon, const std::string &lines, const std::string &file) {
    unlink(file.c_str());
    const auto begin = std::chrono::steady_clock::now();
    return bare_copy(connect_daemon(daemon, lines), file, 1, begin);
}

void print(const char *name, const std::vector<double> &walls) {
    const double wall = measure::median(walls);
    std::printf("  %-14s %7.0f ms  %7.0f MB/s", name, 1e3 * wall, 1e-6 * kBytes / wall);
}

void print(const char *name, const std::vector<double> &walls, const std::vector<double> &bare) {
    measure::Pairs speed; // MB/s
    for (std::size_t i = 0; i < walls.size(); ++i) {
        speed.add(1e-6 * kBytes / walls[i], 1e-6 * kBytes / bare[i]);
    }
    print(name, walls);
    std::printf("  throughput %5.2f of the bare socket's\n", measure::median(speed.ratios));
    measure::row(std::string("throughput of a remote command's output (") + name +
                     ") and of a bare socket",
                 speed, 1, "MB/s");
}

void compare() {
    const measure::Workplace workplace;
    const std::string lines = workplace.path("lines");
    const std::string file = workplace.path("copy");
    measure::make_lines(lines, kLines, kLineLength);
    const Daemon daemon;
    over_socket(lines, file); // warms the caches
    std::vector<double> files;
    std::vector<double> lists;
    std::vector<double> bare;
    std::vector<double> served;
    for (int i = 0; i < kRounds; ++i) {
        files.push_back(into_file(daemon, lines, file));
        bare.push_back(over_socket(lines, file));
        lists.push_back(into_list(daemon, lines));
        served.push_back(over_daemon(daemon, lines, file));
    }
    std::printf("remote_stream: %ld lines of %d characters, medians of %d rounds\n", kLines,
                kLineLength, kRounds);
    print("bare socket", bare);
    std::printf("\n");
    print("the daemon's", served, bare);
    print("output file", files, bare);
    print("line list", lists, bare);
}

} // namespace

int main() {
    return measure::exit_status(compare);
}
