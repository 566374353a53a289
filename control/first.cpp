// The first connection of a call, see first.h.
#include "control/first.h"

#include "common/common/cm_message.h"
#include "common/common/text.h"
#include "common/unix/processes/process.h"
#include "common/unix/processes/socket.h"
#include "common/unix/trace/system_error.h"
#include "control/error_text.h"
#include "control/limited_io.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netdb.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

s_CTRL_POLICY gCtrlPolicy = {500, 100, 10, 1000};

namespace {

constexpr int kHostSize = 1024;
constexpr int kLingerSeconds = 60;

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

void report_connect(const char *cpHost) {
    vn_processerror(
        syserrtxt(SYSERR_SOCKET, vn_sockerror(), "connect() call failed for host: [%s].", cpHost));
}

// A connect that has failed with errno: a host on which nobody listens is told from other failures.
void report_refused(const sockaddr_in &remote, const char *cpHost) {
    if (errno != ECONNREFUSED) {
        report_connect(cpHost);
        return;
    }
    vn_processerror(syserrtxt(SYSERR_SOCKET, vn_sockerror(),
                              "connect() call failed. No one listening on the remote host address "
                              "[%s] port [%d].",
                              ::inet_ntoa(remote.sin_addr), ntohs(remote.sin_port)));
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

void pause_before_next_try(int fd) {
    if (errno == EINPROGRESS || errno == EALREADY) {
        wait_ready(fd, POLLOUT, limit_in(gCtrlPolicy.iConnect));
    } else {
        wait_msec(gCtrlPolicy.iConnect);
    }
}

// Connects within iTimeout seconds, in ten looks a second. Returns 0; -1 with the text kept.
int connect_timed(int fd, const sockaddr_in &remote, const char *cpHost, int iTimeout) {
    trace_at(TRACE_DETAILS,
             "vn_ctrl: try connect() with non-blocking socket bcs. timeout set to %d", iTimeout);
    iSetNonBlockmode(fd, 1);
    const long long lMost = iTimeout * 10LL;
    long long lAttempts = 0;
    int iResult = -1;
    while (lAttempts < lMost) {
        ++lAttempts;
        iResult = try_connect(fd, remote, lAttempts > 1);
        if (iResult == 0) {
            break;
        }
        if (!connect_under_way()) {
            report_refused(remote, cpHost);
            break;
        }
        pause_before_next_try(fd);
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

int set_properties(int hSD) {
    const int iOn = 1;
    if (const protoent *tcp = ::getprotobyname("TCP")) {
        if (::setsockopt(hSD, tcp->p_proto, TCP_NODELAY, &iOn, sizeof iOn) != 0) {
            return 0;
        }
    } else {
        trace_at(TRACE_DETAILS, "getprotobyname(\"TCP\") call failed.");
    }
    const linger unsent = {1, kLingerSeconds};
    return ::setsockopt(hSD, SOL_SOCKET, SO_KEEPALIVE, &iOn, sizeof iOn) == 0 &&
                   ::setsockopt(hSD, SOL_SOCKET, SO_LINGER, &unsent, sizeof unsent) == 0
               ? 1
               : 0;
}

} // namespace

bool resolve_host(char *cpRemoteHost, in_addr *address) {
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
    text_copy(cpRemoteHost, kHostSize, entry->h_name);
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

bool connect_to(int fd, const sockaddr_in &remote, const char *cpHost, int iTimeout) {
    int iResult = 0;
    if (iTimeout >= 1) {
        iResult = connect_timed(fd, remote, cpHost, iTimeout);
    } else if ((iResult = try_connect(fd, remote, false)) < 0 && errno == EINTR) {
        wait_ready(fd, POLLOUT, {}); // an interrupted connect goes on
        iResult = pending_result(fd);
    }
    if (iResult < 0) {
        report_connect(cpHost);
    }
    return iResult == 0;
}

int Set1stSocketProperties(int hSD1) {
    return set_properties(hSD1);
}

int Set2ndSocketProperties(int hSD2) {
    return set_properties(hSD2);
}

void limit_linger(int hSD, int iSeconds) {
    const linger unsent = {iSeconds > 0 ? 1 : 0, iSeconds};
    ::setsockopt(hSD, SOL_SOCKET, SO_LINGER, &unsent, sizeof unsent);
}
