// Socket services, see socket.h.
#include "common/unix/processes/socket.h"

#include "common/common/cm_message.h"
#include "common/common/text.h"
#include "common/unix/processes/process.h"

#include <cerrno>
#include <cstdarg>
#include <fcntl.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kMostRetries = 29;
constexpr int kRetryPauseMsec = 10;

bool may_retry() {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

// A send that took nothing. True when it is worth another try.
bool check_retry(ssize_t got, int *piRetries) {
    ++*piRetries;
    if (got == 0) {
        trace_at(TRACE_DETAILS, "iSendBuffer: retry (%d) bcs. send() returned 0", *piRetries);
    } else if (may_retry()) {
        trace_at(TRACE_DETAILS,
                 "iSendBuffer: retry (%d) send() - got EAGAIN/EINTR/EWOULDBLOCK (errno=%d) > break "
                 "send() loop",
                 *piRetries, errno);
    } else {
        trace_at(TRACE_DETAILS, "iSendBuffer: got socket error %d > break send() loop", errno);
        return false;
    }
    if (*piRetries > kMostRetries) {
        trace_at(TRACE_DETAILS, "iSendBuffer: Error: Breaking send() after 30 retries.");
        return false;
    }
    if (*piRetries >= 2) {
        wait_msec(kRetryPauseMsec);
    }
    return true;
}

} // namespace

int iSetNonBlockmode(int fdSocket, int bNonBlockMode) {
    const int iOld = ::fcntl(fdSocket, F_GETFL);
    const int iFlags = bNonBlockMode == 1 ? iOld | O_NONBLOCK : iOld & ~O_NONBLOCK;
    trace_at(TRACE_DETAILS, "SetNonBlockmode: fcntl with %d", iFlags);
    return iOld < 0 ? iOld : ::fcntl(fdSocket, F_SETFL, iFlags);
}

int iSendBuffer(int iSocket, const char *szBuf, int iBuflen, int iFlags) {
    int iSent = 0;
    int iRetries = 0;
    ssize_t got = 0;
    for (;;) {
        got = ::send(iSocket, szBuf + iSent, static_cast<std::size_t>(iBuflen - iSent), iFlags);
        if (got >= iBuflen - iSent) {
            return iBuflen;
        }
        if (got > 0) {
            iSent += static_cast<int>(got);
            iRetries = 0;
        } else if (!check_retry(got, &iRetries)) {
            break;
        }
    }
    if (got < 0) {
        trace_at(TRACE_DETAILS, "iSendBuffer: send() failed after %d bytes from %d sent", iSent,
                 iBuflen);
        return static_cast<int>(got);
    }
    return iSent;
}

void cm_CloseSocketsAndCleanup(int iFHandles, ...) {
    trace_at(TRACE_DETAILS, "CloseSocketsAndCleanup: closing %d sockets", iFHandles);
    va_list sockets;
    va_start(sockets, iFHandles);
    for (int i = 1; i <= iFHandles; ++i) {
        const int iSocket = va_arg(sockets, int);
        if (iSocket == 0 || iSocket == -1) {
            continue;
        }
        if (::shutdown(iSocket, SHUT_WR) != 0) {
            trace_at(TRACE_DETAILS, "CloseSocketsAndCleanup: %d shutdown(%d, 1) returned [%s]", i,
                     iSocket, error_text(errno).c_str());
        }
        ::close(iSocket);
        trace_at(TRACE_DETAILS, "CloseSocketsAndCleanup: %d (%d) closed", i, iSocket);
    }
    va_end(sockets);
    trace_at(TRACE_DETAILS, "CloseSocketsAndCleanup: cleaned up");
}

int vn_sockerror() {
    return errno;
}

int vn_hsockerror() {
    return h_errno;
}
