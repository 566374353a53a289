// Calls on descriptors, see descriptor_calls.h. Where a system has no call that does it at once,
// there is a moment in which a program that another thread starts could inherit a descriptor: the
// agent starts none while it has threads.
#include "common/unix/system/descriptor_calls.h"

#include <algorithm>
#include <cerrno>
#include <sys/select.h>
#include <sys/socket.h>

namespace {

// Closed on exec and waiting. False with errno.
bool set_flags(const unique_fd &fd) {
    const int iFlags = ::fcntl(fd.get(), F_GETFL);
    return iFlags >= 0 && ::fcntl(fd.get(), F_SETFL, iFlags & ~O_NONBLOCK) == 0 &&
           ::fcntl(fd.get(), F_SETFD, FD_CLOEXEC) == 0;
}

// Waits by select, which is POSIX's own way to let signals in only while it waits.
int select_with_signals(pollfd *wanted, nfds_t iCount, const timespec *limit,
                        const sigset_t *signals) {
    fd_set readable;
    fd_set urgent;
    FD_ZERO(&readable);
    FD_ZERO(&urgent);
    int iEnd = 0;
    for (pollfd *one = wanted; one < wanted + iCount; ++one) {
        one->revents = 0;
        if (one->fd >= FD_SETSIZE) {
            errno = EINVAL;
            return -1;
        }
        if (one->fd >= 0 && (one->events & POLLIN) != 0) {
            FD_SET(one->fd, &readable);
        }
        if (one->fd >= 0 && (one->events & POLLPRI) != 0) {
            FD_SET(one->fd, &urgent);
        }
        iEnd = std::max(iEnd, one->fd + 1);
    }
    const int iReady = ::pselect(iEnd, &readable, nullptr, &urgent, limit, signals);
    if (iReady <= 0) {
        return iReady;
    }
    const auto set_events = [&](pollfd &one) {
        const bool bAsked = one.fd >= 0;
        one.revents = static_cast<short>((bAsked && FD_ISSET(one.fd, &readable) ? POLLIN : 0) |
                                         (bAsked && FD_ISSET(one.fd, &urgent) ? POLLPRI : 0));
        return one.revents != 0;
    };
    return static_cast<int>(std::count_if(wanted, wanted + iCount, set_events));
}

#if defined(__linux__) || defined(__OpenBSD__) || defined(__FreeBSD__) || defined(__NetBSD__)

int pipe_at_once(int (&ends)[2]) {
    return ::pipe2(ends, O_CLOEXEC);
}

// The new connection has the flags that are named here, none of the listener's.
int accept_at_once(int listener) {
    return ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
}

int poll_at_once(pollfd *wanted, nfds_t iCount, const timespec *limit, const sigset_t *signals) {
#if defined(__NetBSD__)
    return ::pollts(wanted, iCount, limit, signals); // ppoll came with NetBSD 10
#else
    return ::ppoll(wanted, iCount, limit, signals);
#endif
}

#else // SYSTEM_OTHER does not get here

int pipe_at_once(int (&ends)[2]) {
    return ::pipe(ends);
}

int accept_at_once(int listener) {
    return ::accept(listener, nullptr, nullptr);
}

int poll_at_once(pollfd *wanted, nfds_t iCount, const timespec *limit, const sigset_t *signals) {
    return select_with_signals(wanted, iCount, limit, signals);
}

#endif

} // namespace

bool open_pipe(unique_fd *read, unique_fd *write, e_SYSTEM eSystem) {
    const bool bAtOnce = eSystem != SYSTEM_OTHER;
    int ends[2];
    if ((bAtOnce ? pipe_at_once(ends) : ::pipe(ends)) != 0) {
        return false;
    }
    read->reset(ends[0]);
    write->reset(ends[1]);
    return bAtOnce || (set_flags(*read) && set_flags(*write));
}

unique_fd accept_connection(int listener, e_SYSTEM eSystem) {
    if (eSystem != SYSTEM_OTHER) {
        return unique_fd(accept_at_once(listener));
    }
    unique_fd connection(::accept(listener, nullptr, nullptr));
    return connection && set_flags(connection) ? std::move(connection) : unique_fd();
}

int poll_with_signals(pollfd *wanted, nfds_t iCount, const timespec *limit, const sigset_t *signals,
                      e_SYSTEM eSystem) {
    return (eSystem != SYSTEM_OTHER ? poll_at_once : select_with_signals)(wanted, iCount, limit,
                                                                          signals);
}
