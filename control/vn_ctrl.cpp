// The control-daemon client, see vn_ctrl.h. Every failure keeps its text and returns through
// vn_ctrl_cleanup; the sockets have owners until the call has succeeded.
#include "control/vn_ctrl.h"

#include "common/common/cm_message.h"
#include "common/common/text.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/processes/process.h"
#include "common/unix/processes/socket.h"
#include "common/unix/trace/system_error.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>

s_CTRL_POLICY gCtrlPolicy = {500, 100, 10, 1000};

namespace {

constexpr int kHostSize = 1024;

char g_szErrorMsg[260];
int g_iErrorSet = 0;

// Keeps the text of a socket failure. Returns the call's result.
int fail(const char *cpText) {
    vn_processerror(syserrtxt(SYSERR_SOCKET, vn_sockerror(), "%s", cpText));
    return vn_ctrl_cleanup(VN_CTRL_FAILED);
}

const hostent *look_up(const char *cpHost) {
    const hostent *entry = ::gethostbyname(cpHost);
    if (entry != nullptr) {
        return entry;
    }
    trace_at(TRACE_DETAILS, "vn_ctrl: got error so we try gethostbyname() again");
    trace_at(TRACE_ALWAYS, "gethostbyname() failed. Try again.");
    wait_msec(gCtrlPolicy.iResolve);
    return ::gethostbyname(cpHost);
}

// Finds the host's address and puts its canonical name into the caller's buffer. False, with the
// text kept, when there is none.
bool resolve(char *cpRemoteHost, in_addr *address) {
    const hostent *entry = look_up(cpRemoteHost);
    if (entry == nullptr) {
        if (::inet_pton(AF_INET, cpRemoteHost, address) == 1) {
            return true;
        }
        vn_processerror(syserrtxt(SYSERR_RESOLVER, vn_hsockerror(),
                                  "gethostbyname() call failed for host: [%s]", cpRemoteHost));
        return false;
    }
    std::memcpy(address, entry->h_addr_list[0], sizeof *address);
    const std::string name = entry->h_name;
    text_copy(cpRemoteHost, kHostSize, name);
    return true;
}

unique_fd new_socket() {
    unique_fd fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    lift_descriptor(&fd);
    return fd;
}

sockaddr_in address_of(in_addr host, int iPort) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr = host;
    address.sin_port = htons(static_cast<in_port_t>(iPort));
    return address;
}

const sockaddr *generic(const sockaddr_in *address) {
    return reinterpret_cast<const sockaddr *>(address);
}

// Waits until the descriptor is ready for an event, or iMsec milliseconds.
void wait_ready(int fd, short iEvents, int iMsec) {
    pollfd wanted = {fd, iEvents, 0};
    ::poll(&wanted, 1, iMsec);
}

void report_connect(const char *cpHost) {
    vn_processerror(
        syserrtxt(SYSERR_SOCKET, vn_sockerror(), "connect() call failed for host: [%s].", cpHost));
}

// What has become of a connect that was under way: 0, or -1 with errno.
int pending_result(int fd) {
    int iError = 0;
    socklen_t length = sizeof iError;
    if (::getsockopt(fd, SOL_SOCKET, SO_ERROR, &iError, &length) != 0) {
        return -1;
    }
    errno = iError;
    return iError == 0 ? 0 : -1;
}

// Tries once. bPending: an earlier try was under way, some systems tell its failure only so.
int try_connect(int fd, const sockaddr_in &remote, bool bPending) {
    errno = 0;
    trace_at(TRACE_DETAILS, "vn_ctrl: call connect()...");
    int iResult = bPending ? pending_result(fd) : 0;
    if (iResult == 0) {
        iResult = ::connect(fd, generic(&remote), sizeof remote);
    }
    const int iErrno = errno;
    trace_at(TRACE_DETAILS, "vn_ctrl: connect() returned %d with errno %d", iResult, iErrno);
    errno = iErrno;
    return iResult == 0 || iErrno == EISCONN ? 0 : -1;
}

bool connect_under_way() {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINPROGRESS || errno == EALREADY;
}

// Connects within iTimeout seconds, in ten looks a second. Returns 0; -1 with the text kept.
int connect_timed(int fd, const sockaddr_in &remote, const char *cpHost, int iTimeout) {
    trace_at(TRACE_DETAILS,
             "vn_ctrl: try connect() with non-blocking socket bcs. timeout set to %d", iTimeout);
    iSetNonBlockmode(fd, 1);
    const long lMost = iTimeout * 10L;
    long lAttempts = 0;
    int iResult = -1;
    while (lAttempts < lMost) {
        ++lAttempts;
        iResult = try_connect(fd, remote, lAttempts > 1);
        if (iResult == 0) {
            break;
        }
        if (!connect_under_way()) {
            if (errno == ECONNREFUSED) {
                vn_processerror(syserrtxt(SYSERR_SOCKET, vn_sockerror(),
                                          "connect() call failed. No one listening on the remote "
                                          "host address [%s] port [%d].",
                                          ::inet_ntoa(remote.sin_addr), ntohs(remote.sin_port)));
            } else {
                report_connect(cpHost);
            }
            break;
        }
        if (errno == EINPROGRESS || errno == EALREADY) {
            wait_ready(fd, POLLOUT, gCtrlPolicy.iConnect);
        } else {
            wait_msec(gCtrlPolicy.iConnect);
        }
    }
    if (lAttempts >= lMost) { // also when the last attempt has succeeded
        vn_processerror(syserrtxt(SYSERR_SOCKET, ETIMEDOUT,
                                  "connect() call timed out for host: [%s]. Probably due to a "
                                  "Firewall.",
                                  cpHost));
        return -1;
    }
    iSetNonBlockmode(fd, 0);
    return iResult;
}

// Connects to the daemon. False, with the text kept, on failure.
bool connect_to(int fd, const sockaddr_in &remote, const char *cpHost, int iTimeout) {
    int iResult = 0;
    if (iTimeout >= 1) {
        iResult = connect_timed(fd, remote, cpHost, iTimeout);
    } else if ((iResult = try_connect(fd, remote, false)) < 0 && errno == EINTR) {
        wait_ready(fd, POLLOUT, -1); // an interrupted connect goes on
        iResult = pending_result(fd);
    }
    if (iResult < 0) {
        report_connect(cpHost);
    }
    return iResult == 0;
}

// Binds the listener to a port of the range. False when there is none to be had.
bool bind_listener(int fd, int iStart, int iEnd) {
    constexpr int kHighestPort = 65535;
    if (iStart < 0 || iStart > kHighestPort) {
        return false;
    }
    iEnd = std::min(iEnd, kHighestPort);
    for (int iPort = iStart;; ++iPort) {
        const sockaddr_in local = address_of({INADDR_ANY}, iPort);
        const int iResult = ::bind(fd, generic(&local), sizeof local);
        trace_at(TRACE_DETAILS, "vn_ctrl: i2ndPortStart %d", iPort);
        trace_at(TRACE_DETAILS, "vn_ctrl: bind() returned %d", iResult);
        if (iResult == 0) {
            return true;
        }
        if (iPort == 0 || (iPort < iEnd && errno != EADDRINUSE)) {
            return false;
        }
        if (iPort >= iEnd) {
            trace_at(TRACE_DETAILS, "vn_ctrl: i2ndPortStart %d > i2ndPortEnd >> break", iPort + 1);
            return false;
        }
    }
}

void send_text(int fd, const char *cpText) {
    // What cannot be sent shows in the answer that does not come.
    iSendBuffer(fd, cpText, static_cast<int>(std::strlen(cpText)) + 1, MSG_NOSIGNAL);
}

// Prepares the socket on which the daemon connects back, and offers its port. An empty owner in
// *listener when no port is free. False, with the text kept, on failure.
bool offer_second(int fd, int iStart, int iEnd, unique_fd *listener) {
    *listener = new_socket();
    if (!*listener) {
        fail("socket() call failed for listener socket.");
        return false;
    }
    if (!bind_listener(listener->get(), iStart, iEnd)) {
        listener->reset();
        return true;
    }
    const int iResult = ::listen(listener->get(), 1);
    trace_at(TRACE_DETAILS, "vn_ctrl: listen() returned %d", iResult);
    if (iResult != 0) {
        fail("listen() call failed.");
        return false;
    }
    sockaddr_in bound = {};
    socklen_t length = sizeof bound;
    ::getsockname(listener->get(), reinterpret_cast<sockaddr *>(&bound), &length);
    const std::string port = std::to_string(ntohs(bound.sin_port));
    trace_at(TRACE_DETAILS, "vn_ctrl: send() portnumber %s", port.c_str());
    send_text(fd, port.c_str());
    return true;
}

ssize_t receive(int fd, char *buffer, std::size_t iSize, int iFlags) {
    ssize_t got = 0;
    do {
        got = ::recv(fd, buffer, iSize, iFlags);
    } while (got < 0 && errno == EINTR);
    return got;
}

#ifdef POLLRDHUP
constexpr short kUrgentEvents = POLLPRI | POLLRDHUP; // a daemon that has closed sends nothing more
#else
constexpr short kUrgentEvents = POLLPRI;
#endif

// The exit code behind a refusal; it may come a little later than its text.
int urgent_code(int fd) {
    using clock = std::chrono::steady_clock;
    const auto end = clock::now() + std::chrono::milliseconds(gCtrlPolicy.iUrgent);
    char code = 0;
    while (receive(fd, &code, 1, MSG_OOB) != 1) {
        const auto rest =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - clock::now()).count();
        pollfd wanted = {fd, kUrgentEvents, 0};
        const int iReady = rest <= 0 ? 0 : ::poll(&wanted, 1, static_cast<int>(rest));
        if (iReady == 0 || (iReady > 0 && (wanted.revents & POLLPRI) == 0)) {
            return 0;
        }
        wait_msec(1); // the mark may be there before the byte
    }
    return static_cast<unsigned char>(code);
}

// A refusal: its text, up to the line feed, is kept. Returns the daemon's exit code.
int take_refusal(int fd) {
    trace_at(TRACE_DETAILS, "vn_ctrl: recv() error message");
    std::string text = "CTRLD reply: ";
    char block[1024];
    std::size_t iFeed = std::string::npos;
    while (iFeed == std::string::npos) {
        const ssize_t got = receive(fd, block, sizeof block, 0);
        if (got <= 0) {
            break;
        }
        const std::string_view part(block, static_cast<std::size_t>(got));
        iFeed = part.find('\n');
        if (text.size() < sizeof g_szErrorMsg) {
            text += part.substr(0, iFeed);
        }
    }
    const int iCode = urgent_code(fd);
    vn_processerror(text.c_str());
    return vn_ctrl_cleanup(iCode == 0 ? VN_CTRL_FAILED : iCode);
}

// Reads the daemon's answer to the request. Returns 0 when it was accepted.
int take_verdict(int fd, int iMainPort) {
    char verdict = 0;
    errno = 0;
    const ssize_t got = receive(fd, &verdict, 1, 0);
    const int iErrno = errno;
    trace_at(TRACE_DETAILS, "vn_ctrl: recv() one byte returned %d: [%d]", static_cast<int>(got),
             verdict);
    if (got < 0) {
        trace_at(TRACE_DETAILS, "vn_ctrl: recv() one byte failed: errno = %d", iErrno);
        errno = iErrno;
        return fail("recv() call failed.");
    }
    if (got == 0) {
        trace_at(TRACE_DETAILS,
                 "vn_ctrl: ERROR: Remote server listening on port %d didn't send a byte",
                 iMainPort);
        errno = 0;
        return fail("ERROR: Server listening on remote port is not a CTRLD Server");
    }
    return verdict == 0 ? 0 : take_refusal(fd);
}

// Waits for the daemon to connect back. An empty owner when it does not, with errno.
unique_fd wait_for_second(int listener, int iTimeout) {
    iSetNonBlockmode(listener, 1);
    for (long lRetry = iTimeout > 0 ? iTimeout * 100L : 1000;; --lRetry) {
        wait_ready(listener, POLLIN, gCtrlPolicy.iAccept);
        if (lRetry % 100 == 0) {
            trace_at(TRACE_DETAILS, "vn_ctrl: recv() try accept(%d)",
                     static_cast<int>(lRetry / 100));
        }
        unique_fd second(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
        if (lift_descriptor(&second)) {
            return second;
        }
        const int iErrno = errno;
        if (lRetry < 1 || (iErrno != EAGAIN && iErrno != EWOULDBLOCK && iErrno != EINTR)) {
            trace_at(TRACE_DETAILS, "vn_ctrl: accept() failed with %d (iRetry %d)", iErrno,
                     static_cast<int>(lRetry));
            errno = iErrno;
            return second;
        }
    }
}

// Takes the daemon's second connection. False, with the text kept, when it does not come; -1 in
// *hpSD2 when it came but cannot be used.
bool accept_second(int listener, int iTimeout, int *hpSD2) {
    unique_fd second = wait_for_second(listener, iTimeout);
    if (!second) {
        fail(errno == EAGAIN || errno == EWOULDBLOCK
                 ? "accept() call timed out probably due to a Firewall."
                 : "accept() call failed.");
        return false;
    }
    iSetNonBlockmode(listener, 0);
    if (Set2ndSocketProperties(second.get()) != 1) {
        trace_at(TRACE_DETAILS, "vn_ctrl: Warning: %s", "Setting socket options failed.");
        trace_at(TRACE_DETAILS, "vn_ctrl: Try to go on with closed second socket");
        return true;
    }
    *hpSD2 = second.release();
    return true;
}

int set_properties(int hSD) {
    const int iOn = 1;
    if (const protoent *tcp = ::getprotobyname("TCP")) {
        if (::setsockopt(hSD, tcp->p_proto, TCP_NODELAY, &iOn, sizeof iOn) != 0) {
            return 0;
        }
    } else {
        trace_at(TRACE_DETAILS, "getprotobyname(\"TCP\") call failed.");
    }
    const linger unsent = {1, 60};
    return ::setsockopt(hSD, SOL_SOCKET, SO_LINGER, &unsent, sizeof unsent) == 0 ? 1 : 0;
}

} // namespace

int vn_ctrl(char *cpRemoteHost, int iMainPort, int i2ndPortStart, int i2ndPortEnd,
            const char *cpUser, const char *cpCMD, int *hpSD1, int *hpSD2, int iTimeout) {
    *hpSD1 = -1;
    if (hpSD2 != nullptr) {
        *hpSD2 = -1;
    }
    in_addr host = {};
    if (!resolve(cpRemoteHost, &host)) {
        return vn_ctrl_cleanup(VN_CTRL_FAILED);
    }
    unique_fd first = new_socket();
    if (!first) {
        return fail("socket() call failed for first socket.");
    }
    if (Set1stSocketProperties(first.get()) != 1) {
        return fail("Setting socket options failed.");
    }
    if (!connect_to(first.get(), address_of(host, iMainPort), cpRemoteHost, iTimeout)) {
        return vn_ctrl_cleanup(VN_CTRL_FAILED);
    }
    unique_fd listener;
    if (hpSD2 != nullptr && !offer_second(first.get(), i2ndPortStart, i2ndPortEnd, &listener)) {
        return vn_ctrl_cleanup(VN_CTRL_FAILED);
    }
    if (!listener) {
        send_text(first.get(), "");
    }
    trace_at(TRACE_DETAILS, "vn_ctrl: send() user %s", cpUser);
    send_text(first.get(), cpUser);
    trace_at(TRACE_DETAILS, "vn_ctrl: send() cmd %s", cpCMD);
    send_text(first.get(), cpCMD);
    const int iVerdict = take_verdict(first.get(), iMainPort);
    if (iVerdict != 0) {
        return iVerdict;
    }
    if (listener && !accept_second(listener.get(), iTimeout, hpSD2)) {
        return vn_ctrl_cleanup(VN_CTRL_FAILED);
    }
    *hpSD1 = first.release();
    return 0;
}

char *vn_ctrl_geterror() {
    g_iErrorSet = 0;
    return g_szErrorMsg;
}

void vn_processerror(const char *cpErrorMsg) {
    if (g_iErrorSet != 0) {
        return;
    }
    text_copy(g_szErrorMsg, cpErrorMsg);
    g_iErrorSet = 1;
    std::size_t length = std::strlen(g_szErrorMsg);
    while (length > 0 && std::strchr(" \n\r", g_szErrorMsg[length - 1]) != nullptr) {
        g_szErrorMsg[--length] = '\0';
    }
}

int vn_ctrl_cleanup(int iExit) {
    return iExit;
}

int Set1stSocketProperties(int hSD1) {
    return set_properties(hSD1);
}

int Set2ndSocketProperties(int hSD2) {
    return set_properties(hSD2);
}
