// The second connection of a call, see second.h.
#include "control/second.h"

#include "common/common/cm_message.h"
#include "common/unix/processes/socket.h"
#include "common/unix/system/descriptor_calls.h"
#include "control/error_text.h"
#include "control/first.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>

namespace {

// Binds the listener to a port of the range. False when there is none to be had.
bool bind_listener(int fd, int iStart, int iEnd) {
    if (iStart < 0 || iStart > kHighestPort) {
        return false;
    }
    iEnd = std::min(iEnd, kHighestPort);
    for (int iPort = iStart;; ++iPort) {
        const sockaddr_in local = address_of({INADDR_ANY}, iPort);
        const int iResult = ::bind(fd, generic(&local), sizeof local);
        const int iErrno = errno;
        trace_at(TRACE_DETAILS, "vn_ctrl: i2ndPortStart %d", iPort);
        trace_at(TRACE_DETAILS, "vn_ctrl: bind() returned %d", iResult);
        if (iResult == 0) {
            return true;
        }
        if (iPort == 0 || (iPort < iEnd && iErrno != EADDRINUSE)) {
            return false;
        }
        if (iPort >= iEnd) {
            trace_at(TRACE_DETAILS, "vn_ctrl: i2ndPortStart %d > i2ndPortEnd >> break", iPort + 1);
            return false;
        }
    }
}

// Waits for the daemon to connect back. An empty owner when it does not, with errno.
unique_fd wait_for_second(int listener, int iTimeout, const s_LIMIT &limit) {
    iSetNonBlockmode(listener, 1);
    for (long long lRetry = iTimeout > 0 ? iTimeout * 100LL : 1000;; --lRetry) {
        wait_ready(listener, POLLIN, limit_in(gCtrlPolicy.iAccept));
        if (lRetry % 100 == 0) {
            trace_at(TRACE_DETAILS, "vn_ctrl: recv() try accept(%d)",
                     static_cast<int>(lRetry / 100));
        }
        unique_fd second = accept_connection(listener);
        if (lift_descriptor(&second)) {
            return second;
        }
        const int iErrno = errno;
        const bool bAgain = iErrno == EAGAIN || iErrno == EWOULDBLOCK || iErrno == EINTR;
        if (lRetry < 1 || limit_reached(limit) || !bAgain) {
            trace_at(TRACE_DETAILS, "vn_ctrl: accept() failed with %d (iRetry %d)", iErrno,
                     static_cast<int>(lRetry));
            errno = iErrno;
            return second;
        }
    }
}

} // namespace

bool open_listener(int iStart, int iEnd, unique_fd *listener, std::string *port) {
    *listener = new_socket();
    if (!*listener) {
        socket_failure("socket() call failed for listener socket.");
        return false;
    }
    if (!bind_listener(listener->get(), iStart, iEnd)) {
        listener->reset();
        return true;
    }
    const int iResult = ::listen(listener->get(), 1);
    const int iErrno = errno;
    trace_at(TRACE_DETAILS, "vn_ctrl: listen() returned %d", iResult);
    if (iResult != 0) {
        errno = iErrno;
        socket_failure("listen() call failed.");
        return false;
    }
    sockaddr_in bound = {};
    socklen_t length = sizeof bound;
    ::getsockname(listener->get(), reinterpret_cast<sockaddr *>(&bound), &length);
    *port = std::to_string(ntohs(bound.sin_port));
    return true;
}

bool accept_second(int listener, int iTimeout, const s_LIMIT &limit, int *hpSD2) {
    *hpSD2 = -1;
    unique_fd second = wait_for_second(listener, iTimeout, limit);
    if (!second) {
        socket_failure(errno == EAGAIN || errno == EWOULDBLOCK
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
