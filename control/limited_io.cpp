// Sockets with a time limit, see limited_io.h.
#include "control/limited_io.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>

namespace {

using clock_type = std::chrono::steady_clock;

constexpr long kLongestWait = 1'000'000; // milliseconds; a longer limit takes several

bool try_again() {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

// For poll: never 0 before the limit is reached, -1 without one.
int rest_msec(const s_LIMIT &limit) {
    if (!limit.bSet) {
        return -1;
    }
    const auto rest =
        std::chrono::ceil<std::chrono::milliseconds>(limit.end - clock_type::now()).count();
    return static_cast<int>(std::clamp<long long>(rest, 0, kLongestWait));
}

} // namespace

s_LIMIT limit_in(long long lMsec) {
    return {true, clock_type::now() + std::chrono::milliseconds(lMsec)};
}

s_LIMIT earlier_limit(const s_LIMIT &a, const s_LIMIT &b) {
    return !a.bSet || (b.bSet && b.end < a.end) ? b : a;
}

bool limit_reached(const s_LIMIT &limit) {
    return limit.bSet && clock_type::now() >= limit.end;
}

int wait_ready(int fd, short iEvents, const s_LIMIT &limit) {
    for (;;) {
        pollfd wanted = {fd, iEvents, 0};
        const int iReady = ::poll(&wanted, 1, rest_msec(limit));
        if (iReady > 0) {
            return wanted.revents;
        }
        if (iReady == 0 && limit_reached(limit)) {
            errno = ETIMEDOUT;
            return 0;
        }
        if (iReady < 0 && errno != EINTR) {
            return POLLERR; // what is wrong the next call on the socket tells
        }
    }
}

ssize_t receive_within(int fd, char *buffer, std::size_t iSize, const s_LIMIT &limit) {
    for (;;) {
        if (wait_ready(fd, POLLIN, limit) == 0) {
            return -1;
        }
        const ssize_t got = ::recv(fd, buffer, iSize, MSG_DONTWAIT);
        if (got >= 0 || !try_again()) {
            return got;
        }
    }
}

bool send_within(int fd, std::string_view data, const s_LIMIT &limit) {
    while (!data.empty()) {
        if (wait_ready(fd, POLLOUT, limit) == 0) {
            return false;
        }
        const ssize_t sent = ::send(fd, data.data(), data.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && !try_again()) {
            return false;
        }
        data.remove_prefix(sent > 0 ? static_cast<std::size_t>(sent) : 0);
    }
    return true;
}
