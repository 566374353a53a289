// The control-daemon client, see vn_ctrl.h: the request and the daemon's answer to it. Every
// failure keeps its text; the sockets have owners until the call has succeeded.
#include "control/vn_ctrl.h"

#include "common/common/cm_message.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/processes/process.h"
#include "common/unix/processes/socket.h"
#include "common/unix/system/descriptor_calls.h"
#include "control/limited_io.h"
#include "control/second.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <string>
#include <sys/socket.h>

namespace {

// What a call may take beyond its time limit for the rest of an answer that has begun in time.
constexpr long kGraceMsec = 500;

// When to give up waiting for the daemon.
struct s_LIMITS {
    s_LIMIT answer; // for the whole of the set-up
    int iTimeout;   // seconds for each wait; below 1 none
};

s_LIMIT one_wait(const s_LIMITS &limits) {
    return limits.iTimeout < 1 ? limits.answer
                               : earlier_limit(limits.answer, limit_in(limits.iTimeout * 1000LL));
}

constexpr short kUrgentEvents = POLLPRI | kPollPeerDone; // a daemon that has closed sends none

// Takes the urgent byte, if it has come. It must be taken before what is behind it is read.
bool take_urgent(int fd, char *code) {
    return ::recv(fd, code, 1, MSG_OOB | MSG_DONTWAIT) == 1;
}

// The exit code behind a refusal; it may come a little later than its text. 0 when none comes.
char await_urgent(int fd, const s_LIMIT &answer) {
    const s_LIMIT limit = earlier_limit(answer, limit_in(gCtrlPolicy.iUrgent));
    char code = 0;
    while (!take_urgent(fd, &code)) {
        if ((wait_ready(fd, kUrgentEvents, limit) & POLLPRI) == 0 || limit_reached(limit)) {
            return 0;
        }
        wait_msec(1); // the mark may be there before the byte
    }
    return code;
}

// A refusal: its text, up to the line feed, is kept. Returns the daemon's exit code.
int read_refusal(int fd, const s_LIMIT &limit) {
    trace_at(TRACE_DETAILS, "vn_ctrl: recv() error message");
    std::string text = "CTRLD reply: ";
    char block[1024];
    char code = 0;
    bool bCode = false;
    std::size_t iFeed = std::string::npos;
    while (iFeed == std::string::npos && wait_ready(fd, POLLIN, limit) != 0) {
        bCode = bCode || take_urgent(fd, &code);
        const ssize_t got = receive_within(fd, block, sizeof block, limit);
        if (got <= 0) {
            break;
        }
        const std::string_view part(block, static_cast<std::size_t>(got));
        iFeed = part.find('\n');
        if (text.size() < sizeof g_szErrorMsg) {
            text += part.substr(0, iFeed);
        }
    }
    const int iCode = static_cast<unsigned char>(bCode ? code : await_urgent(fd, limit));
    vn_processerror(text.c_str());
    return vn_ctrl_cleanup(iCode == 0 ? VN_CTRL_FAILED : iCode);
}

// Reads the daemon's answer to the request. Returns 0 when it was accepted.
int read_verdict(int fd, int iMainPort, const s_LIMITS &limits) {
    char verdict = 0;
    errno = 0;
    const ssize_t got = receive_within(fd, &verdict, 1, one_wait(limits));
    const int iErrno = errno;
    trace_at(TRACE_DETAILS, "vn_ctrl: recv() one byte returned %d: [%d]", static_cast<int>(got),
             verdict);
    if (got < 0) {
        trace_at(TRACE_DETAILS, "vn_ctrl: recv() one byte failed: errno = %d", iErrno);
        errno = iErrno;
        return socket_failure("recv() call failed.");
    }
    if (got == 0) {
        trace_at(TRACE_DETAILS,
                 "vn_ctrl: ERROR: Remote server listening on port %d didn't send a byte",
                 iMainPort);
        errno = 0;
        return socket_failure("ERROR: Server listening on remote port is not a CTRLD Server");
    }
    return verdict == 0 ? 0 : read_refusal(fd, limits.answer);
}

// Sends the fields of the request. What cannot be sent shows in the answer that does not come.
void send_request(int fd, const std::string &port, const char *cpUser, const char *cpCMD,
                  const s_LIMITS &limits) {
    const auto send_field = [&](std::string_view field) {
        return send_within(fd, {field.data(), field.size() + 1}, one_wait(limits));
    };
    if (!port.empty()) {
        trace_at(TRACE_DETAILS, "vn_ctrl: send() portnumber %s", port.c_str());
    }
    const bool bPort = send_field(port);
    trace_at(TRACE_DETAILS, "vn_ctrl: send() user %s", cpUser);
    const bool bUser = bPort && send_field(cpUser);
    trace_at(TRACE_DETAILS, "vn_ctrl: send() cmd %s", cpCMD);
    if (bUser) {
        send_field(cpCMD);
    }
}

int refuse_port(int iMainPort) {
    const std::string text = "invalid port of the control daemon: " + std::to_string(iMainPort);
    vn_processerror(text.c_str());
    return vn_ctrl_cleanup(VN_CTRL_FAILED);
}

// Closes the first connection of a call that has failed: nobody reads what is still unsent.
int give_up(unique_fd *first, int iResult) {
    limit_linger(first->get(), 0);
    cm_CloseSocketsAndCleanup(1, first->release());
    return vn_ctrl_cleanup(iResult);
}

} // namespace

int vn_ctrl(char *cpRemoteHost, int iMainPort, int i2ndPortStart, int i2ndPortEnd,
            const char *cpUser, const char *cpCMD, int *hpSD1, int *hpSD2, int iTimeout) {
    *hpSD1 = -1;
    if (hpSD2 != nullptr) {
        *hpSD2 = -1;
    }
    if (iMainPort < 0 || iMainPort > kHighestPort) {
        return refuse_port(iMainPort);
    }
    in_addr host = {};
    if (!resolve_host(cpRemoteHost, &host)) {
        return vn_ctrl_cleanup(VN_CTRL_FAILED);
    }
    unique_fd first = new_socket();
    if (!first) {
        return socket_failure("socket() call failed for first socket.");
    }
    if (Set1stSocketProperties(first.get()) != 1) {
        socket_failure("Setting socket options failed.");
        return give_up(&first, VN_CTRL_FAILED);
    }
    s_LIMITS limits = {{}, iTimeout};
    if (iTimeout >= 1) {
        limits.answer = limit_in(iTimeout * 1000LL + kGraceMsec);
    }
    unique_fd listener;
    std::string port;
    if (!connect_to(first.get(), address_of(host, iMainPort), cpRemoteHost, iTimeout) ||
        (hpSD2 != nullptr && !open_listener(i2ndPortStart, i2ndPortEnd, &listener, &port))) {
        return give_up(&first, VN_CTRL_FAILED);
    }
    send_request(first.get(), port, cpUser, cpCMD, limits);
    const int iVerdict = read_verdict(first.get(), iMainPort, limits);
    if (iVerdict != 0) {
        return give_up(&first, iVerdict);
    }
    if (listener && !accept_second(listener.get(), iTimeout, limits.answer, hpSD2)) {
        return give_up(&first, VN_CTRL_FAILED);
    }
    *hpSD1 = first.release();
    return 0;
}
