// Standard output of started programs, see output_relay.h.
#include "common/unix/listing/programs/output_relay.h"

#include "common/unix/files/append.h"
#include "common/unix/processes/child.h"
#include "common/unix/system/descriptor_calls.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Waits for something to read. When the other end of iStop is closed, what is there is all: reading
// no longer waits then, whoever may still hold the output open.
void await_output(int iFrom, int iStop) {
    pollfd ends[] = {{iFrom, POLLIN, 0}, {iStop, POLLIN, 0}};
    while (::poll(ends, 2, -1) < 0 && errno == EINTR) {
    }
    if (ends[1].revents != 0) {
        ::fcntl(iFrom, F_SETFL, O_NONBLOCK);
    }
}

// Reads to the end even when it cannot write, so that the program that prints is not ended by that.
// Returns the error number of what failed first.
int hand_on(int iFrom, int iStop, int iTo) {
    char block[65536];
    int iErrno = 0;
    for (;;) {
        await_output(iFrom, iStop);
        const ssize_t got = ::read(iFrom, block, sizeof block);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return got == 0 || errno == EAGAIN || iErrno != 0 ? iErrno : errno;
        }
        if (iErrno == 0 && !write_all(iTo, {block, static_cast<std::size_t>(got)})) {
            iErrno = errno;
        }
    }
}

} // namespace

int output_relay::start() {
    unique_fd from;
    unique_fd to;
    unique_fd stop;
    std::fflush(stdout);
    output_.reset(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (!output_ || !open_pipe(&from, &to) || !open_pipe(&stop, &running_)) {
        return errno;
    }
    relay_ = ::fork();
    if (relay_ == 0) {
        to.reset();
        running_.reset();
        ::_exit(hand_on(from.get(), stop.get(), output_.get()));
    }
    return relay_ < 0 || ::dup2(to.get(), STDOUT_FILENO) < 0 ? errno : 0;
}

int output_relay::finish() {
    int iStatus = 0;
    ::dup2(output_.get(), STDOUT_FILENO);
    running_.reset();
    if (!wait_for_child(relay_, &iStatus)) {
        return errno;
    }
    return ended_well(iStatus) ? 0 : WIFEXITED(iStatus) ? exit_code(iStatus) : EIO;
}
