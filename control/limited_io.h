// Waiting, sending and receiving on a socket up to a point in time: a peer that says and takes
// nothing holds nobody longer.
#pragma once

#include <chrono>
#include <cstddef>
#include <string_view>
#include <sys/types.h>

// When to give up; without a limit, never.
struct s_LIMIT {
    bool bSet = false;
    std::chrono::steady_clock::time_point end = {};
};

// The limit that lMsec milliseconds from now make.
s_LIMIT limit_in(long long lMsec);

// The one that is reached first.
s_LIMIT earlier_limit(const s_LIMIT &a, const s_LIMIT &b);

// True once the limit is reached.
bool limit_reached(const s_LIMIT &limit);

// Waits for one of the poll events, over interruptions. Returns what came of them and of POLLHUP
// and POLLERR; 0, with errno ETIMEDOUT, when the limit was reached before.
int wait_ready(int fd, short iEvents, const s_LIMIT &limit);

// Receives what there is, at most iSize bytes, once something is there. Returns what recv returned,
// with errno; -1 with ETIMEDOUT when nothing came.
ssize_t receive_within(int fd, char *buffer, std::size_t iSize, const s_LIMIT &limit);

// Sends everything. False, with errno, when the peer is gone or takes it too slowly.
bool send_within(int fd, std::string_view data, const s_LIMIT &limit);
