// The control daemon's bytes: verdict, urgent byte and both streams, in pieces. Every line that it
// sends arrives, and so does the exit code.
// Covers: control/vn_ctrl.cpp control/first.cpp control/second.cpp control/limited_io.cpp
// Covers: control/error_text.cpp kernel/remote/call/relay.cpp kernel/remote/call/exit_code.cpp
// Covers: kernel/remote/call/daemon_call.cpp
#include "fuzz/fuzz.h"

#include "common/common/text.h"
#include "kernel/vn_ctrlc_lib.h"

#include "control/vn_ctrl.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sched.h>
#include <sys/socket.h>
#include <thread>
#include <vector>

namespace {

constexpr std::size_t kLongest = 20000; // bytes of a stream: what the sockets take at once
constexpr int kNone = 255;              // the exit code when none came

// What the daemon does, from the input's first bytes.
struct s_PLAN {
    bool bDouble;  // connects back
    bool bMute;    // accepts, does not connect back
    bool bReset;   // resets the connections at the end
    bool bFiles;   // the caller wants files, not lists
    bool bUrgent;  // sends an urgent byte
    int iTimeout;  // the caller's limit
    int iPlace;    // of the urgent byte, in 1/256 of the stream
    char cUrgent;  // the exit code
    unsigned iCut; // where the streams are cut
    std::string first, second;
};

s_PLAN plan_of(std::string_view input) {
    std::uint8_t head[5] = {};
    const std::size_t iHead = std::min(input.size(), sizeof head);
    std::memcpy(head, input.data(), iHead);
    input.remove_prefix(iHead);
    const bool bDouble = (head[0] & 1) != 0;
    const std::size_t iFirst = bDouble ? input.size() * head[4] / 256 : input.size();
    return {bDouble,
            (head[0] & 2) != 0,
            (head[0] & 4) != 0,
            (head[0] & 8) != 0,
            (head[0] & 16) != 0,
            (head[0] & 32) != 0 ? 1 : 0,
            head[1],
            static_cast<char>(head[2]),
            head[3],
            std::string(input.substr(0, iFirst).substr(0, kLongest)),
            std::string(input.substr(iFirst).substr(0, kLongest))};
}

void require(bool bHolds, const char *cpWhat) {
    if (!bHolds) {
        std::fprintf(stderr, "not so: %s\n", cpWhat);
        std::abort();
    }
}

sockaddr_in loopback(int iPort) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(iPort));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

// Sends a stream in pieces, the urgent byte (null: none) in front of the place.
void send_stream(int fd, std::string_view data, unsigned *piCut, const char *urgent,
                 std::size_t iPlace) {
    std::size_t iAt = 0;
    for (int iPieces = 0; iAt < data.size() || urgent != nullptr; ++iPieces) {
        if (urgent != nullptr && iAt == iPlace) {
            ::send(fd, urgent, 1, MSG_OOB | MSG_NOSIGNAL);
            urgent = nullptr;
            continue;
        }
        *piCut = *piCut * 1103515245U + 12345U;
        const std::size_t iEnd = urgent != nullptr ? iPlace : data.size();
        const std::size_t iPiece = iPieces > 20 ? data.size() : 1 + (*piCut >> 16) % 300;
        const std::size_t iSent = std::min(iPiece, iEnd - iAt);
        if (::send(fd, data.data() + iAt, iSent, MSG_NOSIGNAL) < 0) {
            return;
        }
        iAt += iSent;
        if ((*piCut >> 8) % 4 == 0) {
            sched_yield();
        }
    }
}

void end_stream(int fd, bool bReset) {
    const linger hard = {1, 0};
    if (bReset) {
        ::setsockopt(fd, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
    }
    ::close(fd);
}

// Serves one call.
void serve(int listener, const s_PLAN &plan) {
    const int iOn = 1;
    const int first = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    ::setsockopt(first, IPPROTO_TCP, TCP_NODELAY, &iOn, sizeof iOn);
    std::string request;
    char block[512];
    for (ssize_t got = 1; got > 0 && std::count(request.begin(), request.end(), '\0') < 3;) {
        got = ::recv(first, block, sizeof block, 0);
        request.append(block, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    }
    const int second = plan.bDouble ? ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0) : -1;
    const sockaddr_in back = loopback(static_cast<int>(std::strtol(request.c_str(), nullptr, 10)));
    if (second >= 0 && !plan.bMute &&
        ::connect(second, reinterpret_cast<const sockaddr *>(&back), sizeof back) == 0) {
        ::setsockopt(second, IPPROTO_TCP, TCP_NODELAY, &iOn, sizeof iOn);
    }
    unsigned iCut = plan.iCut;
    const char *urgent = plan.bUrgent ? &plan.cUrgent : nullptr;
    const std::size_t iPlace = // behind the verdict and all of a refusal
        plan.first[0] != '\0' ? plan.first.size() : 1 + (plan.first.size() - 1) * plan.iPlace / 256;
    send_stream(first, plan.first, &iCut, urgent, iPlace);
    if (second >= 0) {
        send_stream(second, plan.second, &iCut, nullptr, 0);
        end_stream(second, plan.bReset);
    }
    end_stream(first, plan.bReset);
}

// The lines of a stream as a caller is to get them.
std::vector<std::string> lines_of(std::string_view data) {
    std::vector<std::string> lines;
    while (!data.empty()) {
        const std::size_t iFeed = data.find('\n');
        std::string_view line = data.substr(0, std::min<std::size_t>(iFeed, 8192));
        const bool bWhole = iFeed < 8192;
        data.remove_prefix(line.size() + (bWhole ? 1 : 0));
        if (bWhole && line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        std::string text(line.substr(0, line.find('\0')));
        text.erase(0, std::min(text.find_first_not_of(" \t"), text.size()));
        text.erase(text.find_last_not_of(" \t") + 1);
        lines.push_back(text);
    }
    return lines;
}

std::vector<std::string> taken_from(t_LL list) {
    std::vector<std::string> lines;
    for (void *line = FirstElmLL(list); IsElmLL(line) != 0; line = NextElmLL(line)) {
        lines.emplace_back(static_cast<const char *>(line));
    }
    DestLL(list);
    return lines;
}

struct s_OUTCOME {
    int iExit;
    std::vector<std::string> out, err;
};

s_OUTCOME call(int iPort, const s_PLAN &plan) {
    static RCMD request;
    request = {};
    text_copy(request.szClient, "127.0.0.1");
    text_copy(request.szPort, std::to_string(iPort));
    text_copy(request.szPortOpt, plan.bDouble ? "-d" : "-s");
    text_copy(request.szUser, "root");
    text_copy(request.szCmd, "id");
    text_copy(request.szOutFile, plan.bFiles ? "/dev/null" : "");
    request.iTimeout = plan.iTimeout;
    request.LL_Stdout = plan.bFiles ? nullptr : ConsLL();
    request.LL_Stderr = plan.bFiles ? nullptr : ConsLL();
    giSingleConnection = 1;
    gRelayPolicy.iIdlePauseMsec = 0;
    gCtrlPolicy.iAccept = plan.bMute ? 0 : 10;
    const int iExit = ctrlc_lib_call(&request, {});
    if (plan.bFiles) {
        return {iExit, {}, {}};
    }
    return {iExit, taken_from(request.LL_Stdout), taken_from(request.LL_Stderr)};
}

// What the caller must have got of a daemon that ended its streams in order.
void check(const s_PLAN &plan, const s_OUTCOME &got) {
    const int iUrgent = plan.bUrgent ? static_cast<unsigned char>(plan.cUrgent) : kNone;
    if (plan.first[0] != '\0') {
        const bool bCode = plan.bUrgent && iUrgent != 0;
        require(got.iExit == (bCode ? iUrgent : VN_CTRL_FAILED), "code of a refusal");
        return;
    }
    if (plan.bDouble && plan.bMute) {
        require(got.iExit == VN_CTRL_FAILED, "code of a call without second connection");
        return;
    }
    require(got.iExit == iUrgent, "exit code");
    if (!plan.bFiles) {
        require(got.out == lines_of(std::string_view(plan.first).substr(1)), "standard output");
        require(got.err == lines_of(plan.second) || !plan.bDouble, "standard error");
    }
}

int listen_on_loopback(int *iPort) {
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    require(::bind(listener, reinterpret_cast<sockaddr *>(&address), length) == 0 &&
                ::listen(listener, 16) == 0 &&
                ::getsockname(listener, reinterpret_cast<sockaddr *>(&address), &length) == 0,
            "listener");
    *iPort = ntohs(address.sin_port);
    return listener;
}

int next_descriptor() {
    const int fd = ::dup(0);
    const int number = fd;
    ::close(fd);
    return number;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static int iPort;
    static const int listener = listen_on_loopback(&iPort);
    const s_PLAN plan = plan_of({reinterpret_cast<const char *>(data), size});
    if (plan.first.empty()) {
        return 0; // no verdict
    }
    const int iNext = next_descriptor();
    sigset_t urgent;
    ::sigemptyset(&urgent);
    ::sigaddset(&urgent, SIGURG); // the caller's
    ::pthread_sigmask(SIG_BLOCK, &urgent, nullptr);
    std::thread daemon(serve, listener, std::cref(plan));
    ::pthread_sigmask(SIG_UNBLOCK, &urgent, nullptr);
    const s_OUTCOME got = call(iPort, plan);
    daemon.join();
    require(next_descriptor() == iNext, "descriptors closed");
    vn_ctrl_geterror();
    if (!plan.bReset) {
        check(plan, got);
    }
    return 0;
}
