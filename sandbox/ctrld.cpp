// Plays the control daemon of a backup client on the loopback address: reads a request (port of the
// second connection, user, command), connects back, answers, runs the command with its standard
// streams on the connections and sends its exit code as an urgent byte. -m has it misbehave.
// Not played: users and rights, a configuration, other addresses than 127.0.0.1.
//
// It must leave nothing behind: whoever serves a connection ends, and its command with it, when the
// life line closes, a pipe whose other end only the daemon itself holds.
#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr char kUsage[] =
    "usage: ctrld [-p PORT] [-t SECONDS] [-l FILE] [-r TEXT] [-u CODE] [-w MSEC] [-m MODE]\n"
    "Prints its port; ends when its standard input closes, at the latest after SECONDS (120).\n"
    "  -l FILE  appends a line [PORT] [USER] [COMMAND] for every request\n"
    "  -r TEXT  refuses every request; -u CODE sends that urgent byte behind the text\n"
    "  -w MSEC  waits before the urgent byte, also that of a command\n"
    "  -m MODE  misbehaves:\n"
    "     close    closes instead of answering      mute     never answers\n"
    "     wrong    answers X and -u CODE, closes    lonely   accepts, never connects back\n"
    "     silent   accepts, runs nothing            dribble  sends one byte at a time\n"
    "     noexit   sends no exit code               reset    resets at the end of the output\n"
    "     trickle  refuses, a byte at a time, without an end\n"
    "     half     accepts, sends -u CODE, ends its side, reads nothing\n"
    "     stall1   holds standard output back until standard error has ended\n"
    "     stall2   the other way round\n";

enum class Mode {
    none,
    close,
    mute,
    wrong,
    lonely,
    silent,
    dribble,
    noexit,
    reset,
    trickle,
    half,
    stall1,
    stall2,
};

struct s_MODE {
    const char *name;
    Mode mode;
};

constexpr s_MODE kModes[] = {
    {"close", Mode::close},   {"mute", Mode::mute},     {"wrong", Mode::wrong},
    {"lonely", Mode::lonely}, {"silent", Mode::silent}, {"dribble", Mode::dribble},
    {"noexit", Mode::noexit}, {"reset", Mode::reset},   {"trickle", Mode::trickle},
    {"half", Mode::half},     {"stall1", Mode::stall1}, {"stall2", Mode::stall2},
};

constexpr char kEndOfInputText[] = "END OF STDIN";
constexpr std::string_view kEndOfInput{kEndOfInputText, sizeof kEndOfInputText}; // with its NUL
constexpr std::size_t kBlock = 65536;

int number(const char *digits) {
    return static_cast<int>(std::strtol(digits, nullptr, 10));
}

struct s_OPTIONS {
    int iPort = 0; // 0: any free one
    int iSeconds = 120;
    std::string log;
    bool bRefuse = false;
    std::string refusal;
    int iCode = -1; // urgent byte of a refusal or of modes half and wrong; -1: none
    int iWait = 0;
    Mode mode = Mode::none;
};

struct s_REQUEST {
    std::string fields[3]; // port of the second connection, user, command
    std::string rest;      // what came behind them: the beginning of the input
};

// From a descriptor to another; what has been read and not yet written is kept between.
struct s_PUMP {
    int from = -1; // -1: at its end
    int to = -1;   // -1: what comes is thrown away
    std::string data = {};
    std::size_t iBegin = 0;
    bool bHeld = false; // reads on, writes nothing
};

int lifeline = -1;
pid_t command = 0; // leader of the command's process group

// Ends whoever serves a connection, and what it has started.
[[noreturn]] void leave(int iStatus) {
    if (command > 0) {
        ::kill(-command, SIGKILL);
    }
    ::_exit(iStatus);
}

// Waits until one of the descriptors (-1: none) is ready, or iMsec milliseconds.
void await(std::vector<pollfd> &wanted, int iMsec = -1) {
    wanted.push_back({lifeline, POLLIN, 0});
    while (::poll(wanted.data(), static_cast<nfds_t>(wanted.size()), iMsec) < 0) {
        if (errno != EINTR) {
            leave(1);
        }
    }
    if (wanted.back().revents != 0) {
        leave(0);
    }
    wanted.pop_back();
}

void await(int fd, short iEvents, int iMsec = -1) {
    std::vector<pollfd> wanted = {{fd, iEvents, 0}};
    await(wanted, iMsec);
}

bool try_again() {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

void set_nonblocking(int fd) {
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
}

// Sends everything; who is gone is not served any longer.
void send_all(int fd, std::string_view data, int iFlags = 0) {
    while (!data.empty()) {
        const ssize_t sent = ::send(fd, data.data(), data.size(), iFlags | MSG_NOSIGNAL);
        if (sent < 0 && !try_again()) {
            leave(1);
        }
        if (sent < 0) {
            await(fd, POLLOUT);
        } else {
            data.remove_prefix(static_cast<std::size_t>(sent));
        }
    }
}

void send_urgent(const s_OPTIONS &options, int fd, int iCode) {
    if (options.iWait > 0) {
        await(-1, 0, options.iWait);
    }
    const char code = static_cast<char>(iCode);
    send_all(fd, {&code, 1}, MSG_OOB);
}

// Reads and throws away what the peer sends, until it closes.
void drain_peer(int fd) {
    char block[8192];
    ssize_t got = 0;
    do {
        await(fd, POLLIN);
        got = ::recv(fd, block, sizeof block, 0);
    } while (got > 0 || (got < 0 && try_again()));
}

// Closes a connection behind what was sent. Not before the peer does: a close with unread data
// would reset the connection and take the exit code with it.
void finish(int fd) {
    if (fd >= 0) {
        ::shutdown(fd, SHUT_WR);
        drain_peer(fd);
        ::close(fd);
    }
}

void reset(int fd) {
    const linger none = {1, 0};
    if (fd >= 0) {
        ::setsockopt(fd, SOL_SOCKET, SO_LINGER, &none, sizeof none);
        ::close(fd);
    }
}

s_REQUEST read_request(int fd) {
    std::string data;
    while (std::count(data.begin(), data.end(), '\0') < 3) {
        await(fd, POLLIN);
        char block[8192];
        const ssize_t got = ::recv(fd, block, sizeof block, 0);
        if (got == 0 || (got < 0 && !try_again())) {
            leave(1);
        }
        data.append(block, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    }
    s_REQUEST request;
    for (std::string &field : request.fields) {
        const std::size_t iEnd = data.find('\0');
        field = data.substr(0, iEnd);
        data.erase(0, iEnd + 1);
    }
    request.rest = data;
    return request;
}

void log_request(const std::string &file, const s_REQUEST &request) {
    std::string line;
    for (const std::string &field : request.fields) {
        line += (line.empty() ? "[" : " [") + field + ']';
    }
    line += '\n';
    const int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (fd < 0) {
        std::perror(file.c_str());
        return;
    }
    if (::write(fd, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        std::perror(file.c_str());
    }
    ::close(fd);
}

void set_no_delay(int fd) {
    const int iOn = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &iOn, sizeof iOn);
}

sockaddr_in loopback(int iPort) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<in_port_t>(iPort));
    return address;
}

// Opens the second connection, to the port that the request offers. -1 when it offers none.
int connect_back(const std::string &port) {
    if (port.empty()) {
        return -1;
    }
    const sockaddr_in address = loopback(number(port.c_str()));
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (::connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        std::perror("ctrld: connecting back");
        leave(1);
    }
    set_no_delay(fd);
    set_nonblocking(fd);
    return fd;
}

// The command's arguments, which are separated by one double quote each.
std::vector<std::string> split(const std::string &text) {
    std::vector<std::string> words;
    std::size_t iBegin = 0;
    for (std::size_t iEnd = 0; iEnd != std::string::npos; iBegin = iEnd + 1) {
        iEnd = text.find('"', iBegin);
        words.push_back(text.substr(iBegin, iEnd == std::string::npos ? iEnd : iEnd - iBegin));
    }
    return words;
}

[[noreturn]] void execute(char *const *arguments, const int (&streams)[3]) {
    ::setpgid(0, 0);
    ::signal(SIGPIPE, SIG_DFL);
    for (int i = 0; i < 3; ++i) {
        ::dup2(streams[i], i);
    }
    ::execvp(arguments[0], arguments);
    const char *reason = std::strerror(errno);
    for (const char *text :
         {"ctrld: ", static_cast<const char *>(arguments[0]), ": ", reason, "\n"}) {
        [[maybe_unused]] const ssize_t written = ::write(2, text, std::strlen(text));
    }
    ::_exit(127);
}

// Starts the command; fds gets our ends of its standard input, output and error.
void start_command(const std::string &text, int (&fds)[3]) {
    std::vector<std::string> words = split(text);
    std::vector<char *> arguments;
    for (std::string &word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    int streams[3] = {};
    for (int i = 0; i < 3; ++i) {
        int ends[2] = {};
        if (::pipe2(ends, O_CLOEXEC) != 0) {
            leave(1);
        }
        streams[i] = ends[i == 0 ? 0 : 1];
        fds[i] = ends[i == 0 ? 1 : 0];
        set_nonblocking(fds[i]);
    }
    const pid_t child = ::fork();
    if (child < 0) {
        leave(1);
    }
    if (child == 0) {
        execute(arguments.data(), streams);
    }
    ::setpgid(child, child);
    command = child;
    for (const int fd : streams) {
        ::close(fd);
    }
}

bool is_empty(const s_PUMP &pump) {
    return pump.iBegin == pump.data.size();
}

bool is_done(const s_PUMP &pump) {
    return pump.from < 0 && is_empty(pump);
}

void fill(s_PUMP *pump) {
    char block[kBlock];
    const ssize_t got = ::read(pump->from, block, sizeof block);
    if (got > 0) {
        pump->data.append(block, static_cast<std::size_t>(got));
    } else if (got == 0 || !try_again()) {
        ::close(pump->from);
        pump->from = -1;
    }
}

// Sends what an output pump holds.
void drain(s_PUMP *pump, bool bDribble) {
    const std::size_t iLength = bDribble ? 1 : pump->data.size() - pump->iBegin;
    const ssize_t sent = ::send(pump->to, pump->data.data() + pump->iBegin, iLength, MSG_NOSIGNAL);
    if (sent < 0) {
        if (!try_again()) {
            leave(1);
        }
        return;
    }
    pump->iBegin += static_cast<std::size_t>(sent);
    if (is_empty(*pump)) {
        pump->data.clear();
        pump->iBegin = 0;
    }
    if (bDribble) {
        await(-1, 0, 1);
    }
}

// What of the input may be written: all up to the end marker; its beginning may be still to come.
std::size_t writable_input(const s_PUMP &in) {
    const std::size_t iMarker = in.data.find(kEndOfInput, in.iBegin);
    if (iMarker != std::string::npos) {
        return iMarker - in.iBegin;
    }
    const std::size_t iLength = in.data.size() - in.iBegin;
    return iLength - std::min(iLength, kEndOfInput.size() - 1);
}

bool input_ended(const s_PUMP &in) {
    return in.data.compare(in.iBegin, kEndOfInput.size(), kEndOfInput) == 0;
}

void close_input(s_PUMP *in) {
    ::close(in->to);
    in->to = -1;
    in->data.clear();
    in->iBegin = 0;
}

// The input's side of a pass. A command that reads nothing is fed no more than its pipe takes; for
// one that has closed its input the rest is read and thrown away.
void pass_input(s_PUMP *in, const pollfd &from, const pollfd &to) {
    if (from.revents != 0) {
        char block[kBlock];
        const ssize_t got = ::recv(in->from, block, sizeof block, 0);
        if (got == 0 || (got < 0 && !try_again())) {
            leave(1); // the agent is gone
        }
        if (in->to >= 0) {
            in->data.append(block, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
        }
    }
    if (to.revents == 0) {
        return;
    }
    const ssize_t written = ::write(in->to, in->data.data() + in->iBegin, writable_input(*in));
    if (written < 0 && !try_again()) {
        close_input(in);
        return;
    }
    in->iBegin += static_cast<std::size_t>(std::max<ssize_t>(written, 0));
    if (in->iBegin >= kBlock) {
        in->data.erase(0, in->iBegin);
        in->iBegin = 0;
    }
}

// What comes on the second connection are numbers of signals for the command.
void pass_signals(int *second) {
    char signals[16];
    const ssize_t got = ::recv(*second, signals, sizeof signals, 0);
    for (ssize_t i = 0; i < got; ++i) {
        ::kill(-command, signals[i]);
    }
    if (got == 0 || (got < 0 && !try_again())) {
        *second = -1; // no more will come
    }
}

// Moves data between the connections and the command until both its outputs have ended.
void relay(const s_OPTIONS &options, s_PUMP *in, s_PUMP (&outputs)[2], int second) {
    const bool bDribble = options.mode == Mode::dribble;
    outputs[0].bHeld = options.mode == Mode::stall1;
    outputs[1].bHeld = options.mode == Mode::stall2;
    while (!is_done(outputs[0]) || !is_done(outputs[1])) {
        if (in->to >= 0 && input_ended(*in)) {
            close_input(in);
        }
        const bool bInput = in->to >= 0 && writable_input(*in) > 0;
        std::vector<pollfd> wanted = {{bInput ? -1 : in->from, POLLIN, 0},
                                      {bInput ? in->to : -1, POLLOUT, 0}};
        for (int i = 0; i < 2; ++i) {
            s_PUMP &output = outputs[i];
            output.bHeld = output.bHeld && !is_done(outputs[1 - i]);
            const bool bRead = output.bHeld || is_empty(output);
            const bool bWrite = !output.bHeld && !is_empty(output);
            wanted.push_back({bRead ? output.from : -1, POLLIN, 0});
            wanted.push_back({bWrite ? output.to : -1, POLLOUT, 0});
        }
        wanted.push_back({second, POLLIN, 0});
        await(wanted);
        if (wanted.back().revents != 0) {
            pass_signals(&second);
        }
        pass_input(in, wanted[0], wanted[1]);
        for (std::size_t i = 0; i < 2; ++i) {
            if (wanted[2 + 2 * i].revents != 0) {
                fill(&outputs[i]);
            }
            if (wanted[3 + 2 * i].revents != 0) {
                drain(&outputs[i], bDribble);
            }
        }
    }
}

// Waits for the command. Returns its exit code, as a shell tells it.
int command_status() {
    int iStatus = 0;
    while (::waitpid(command, &iStatus, 0) < 0 && errno == EINTR) {
    }
    command = 0;
    return WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : 128 + WTERMSIG(iStatus);
}

void run_command(const s_OPTIONS &options, const s_REQUEST &request, int first, int second) {
    int fds[3] = {};
    start_command(request.fields[2], fds);
    s_PUMP in = {first, fds[0], request.rest};
    s_PUMP outputs[2] = {{fds[1], first}, {fds[2], second < 0 ? first : second}};
    relay(options, &in, outputs, second);
    if (in.to >= 0) {
        close_input(&in);
    }
    const int iExit = command_status();
    if (options.mode == Mode::reset) {
        await(-1, 0, 50); // so that the output arrives before
        reset(second);
        reset(first);
        return;
    }
    if (options.mode != Mode::noexit) {
        send_urgent(options, second < 0 ? first : second, iExit);
    }
    if (second >= 0) {
        ::shutdown(second, SHUT_WR);
    }
    finish(first);
    finish(second);
}

void refuse(const s_OPTIONS &options, int first) {
    send_all(first, '\1' + options.refusal + '\n');
    if (options.iCode >= 0) {
        send_urgent(options, first, options.iCode);
    }
    finish(first);
}

// A refusal that goes on until the agent is gone.
void trickle(int first) {
    send_all(first, "\1no");
    for (;;) {
        await(-1, 0, 20);
        send_all(first, " ");
    }
}

// Ends our side of the connection and leaves what the agent sends unread.
void end_our_side(const s_OPTIONS &options, int first) {
    if (options.iCode >= 0) {
        send_urgent(options, first, options.iCode);
    }
    ::shutdown(first, SHUT_WR);
    await(-1, 0);
}

// The modes in which a request gets no answer that it could be run with. False in the others.
bool misbehave(const s_OPTIONS &options, int first) {
    switch (options.mode) {
    case Mode::mute:
        drain_peer(first);
        return true;
    case Mode::close:
        finish(first);
        return true;
    case Mode::wrong:
        send_all(first, "X");
        if (options.iCode >= 0) {
            send_urgent(options, first, options.iCode);
        }
        finish(first);
        return true;
    case Mode::trickle:
        trickle(first);
        return true;
    default:
        return false;
    }
}

void serve(const s_OPTIONS &options, int first) {
    set_nonblocking(first);
    set_no_delay(first);
    const s_REQUEST request = read_request(first);
    if (!options.log.empty()) {
        log_request(options.log, request);
    }
    if (options.bRefuse) {
        refuse(options, first);
        return;
    }
    if (misbehave(options, first)) {
        return;
    }
    send_all(first, {"\0", 1});
    if (options.mode == Mode::lonely) {
        drain_peer(first);
        return;
    }
    if (options.mode == Mode::half) {
        end_our_side(options, first);
        return;
    }
    const int second = connect_back(request.fields[0]);
    if (options.mode == Mode::silent) {
        drain_peer(first);
        return;
    }
    run_command(options, request, first, second);
}

// Listens; prints the port. Returns the socket.
int start_listening(int iPort) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int iOn = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &iOn, sizeof iOn);
    sockaddr_in address = loopback(iPort);
    auto *generic = reinterpret_cast<sockaddr *>(&address);
    socklen_t length = sizeof address;
    if (::bind(fd, generic, length) != 0 || ::listen(fd, 16) != 0 ||
        ::getsockname(fd, generic, &length) != 0) {
        std::perror("ctrld");
        std::exit(1);
    }
    std::printf("%d\n", ntohs(address.sin_port));
    std::fflush(stdout);
    return fd;
}

// True when standard input has ended; what it says is ignored.
bool input_is_closed() {
    char block[256];
    const ssize_t got = ::read(STDIN_FILENO, block, sizeof block);
    return got == 0 || (got < 0 && !try_again());
}

void start_serving(const s_OPTIONS &options, int listener, int daemon_end) {
    const int connection = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) {
        return;
    }
    if (::fork() == 0) {
        ::close(listener);
        ::close(daemon_end);
        serve(options, connection);
        leave(0);
    }
    ::close(connection);
}

void serve_until_end(const s_OPTIONS &options, int listener, int daemon_end) {
    using clock = std::chrono::steady_clock;
    const auto end = clock::now() + std::chrono::seconds(options.iSeconds);
    for (;;) {
        const auto rest =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - clock::now()).count();
        pollfd wanted[] = {{STDIN_FILENO, POLLIN, 0}, {listener, POLLIN, 0}};
        // Once a second, to collect those who have served.
        const int iReady =
            rest > 0 ? ::poll(wanted, 2, static_cast<int>(std::min<long long>(rest, 1000))) : 0;
        if (rest <= 0 || (iReady > 0 && wanted[0].revents != 0 && input_is_closed())) {
            return;
        }
        if (iReady > 0 && wanted[1].revents != 0) {
            start_serving(options, listener, daemon_end);
        }
        while (::waitpid(-1, nullptr, WNOHANG) > 0) {
        }
    }
}

bool find_mode(const char *name, Mode *mode) {
    for (const s_MODE &known : kModes) {
        if (std::strcmp(known.name, name) == 0) {
            *mode = known.mode;
            return true;
        }
    }
    return false;
}

bool read_options(int argc, char **argv, s_OPTIONS *options) {
    for (int iOption = 0; (iOption = ::getopt(argc, argv, "p:t:l:r:u:w:m:")) != -1;) {
        switch (iOption) {
        case 'p':
            options->iPort = number(optarg);
            break;
        case 't':
            options->iSeconds = number(optarg);
            break;
        case 'l':
            options->log = optarg;
            break;
        case 'r':
            options->bRefuse = true;
            options->refusal = optarg;
            break;
        case 'u':
            options->iCode = number(optarg);
            break;
        case 'w':
            options->iWait = number(optarg);
            break;
        case 'm':
            if (!find_mode(optarg, &options->mode)) {
                return false;
            }
            break;
        default:
            return false;
        }
    }
    return optind == argc;
}

} // namespace

int main(int argc, char **argv) {
    s_OPTIONS options;
    if (!read_options(argc, argv, &options)) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    ::signal(SIGPIPE, SIG_IGN);
    int ends[2] = {};
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        std::perror("ctrld");
        return 1;
    }
    lifeline = ends[0];
    serve_until_end(options, start_listening(options.iPort), ends[1]);
    ::close(ends[1]);
    while (::wait(nullptr) > 0) {
    }
}
