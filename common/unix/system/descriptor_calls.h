// Calls on descriptors that POSIX does not have in this form.
#pragma once

#include "common/unix/files/descriptor.h"
#include "common/unix/system/system.h"

#include <csignal>
#include <ctime>
#include <poll.h>

// Opens a pipe; started programs inherit neither end. False with errno.
bool open_pipe(unique_fd *read, unique_fd *write, e_SYSTEM eSystem = kThisSystem);

// Takes the next connection of a listening socket: one that waits, whatever the listener does, and
// that started programs do not inherit. Owns nothing, with errno, when there is none.
unique_fd accept_connection(int listener, e_SYSTEM eSystem = kThisSystem);

// Waits as poll does, with these signals blocked in place of the process's own (null: with those),
// and no longer than the limit (null: without one). Only POLLIN and POLLPRI may be asked for.
int poll_with_signals(pollfd *wanted, nfds_t iCount, const timespec *limit, const sigset_t *signals,
                      e_SYSTEM eSystem = kThisSystem);

// The event of a connection whose other side sends nothing more; 0 where poll does not tell it.
#if defined(POLLRDHUP)
constexpr short kPollPeerDone = POLLRDHUP;
#else
constexpr short kPollPeerDone = 0;
#endif
