// Standard output of started programs, see output_relay.h.
#include "common/unix/listing/output_relay.h"

#include "common/unix/files/append.h"
#include "common/unix/processes/child.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace {

// Reads to the end even when it cannot write, so that the program that prints is not ended by that.
// Returns the error number of what failed first.
int hand_on(int iFrom, int iTo) {
    char block[65536];
    int iErrno = 0;
    for (;;) {
        const ssize_t got = ::read(iFrom, block, sizeof block);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return got < 0 && iErrno == 0 ? errno : iErrno;
        }
        if (iErrno == 0 && !write_all(iTo, {block, static_cast<std::size_t>(got)})) {
            iErrno = errno;
        }
    }
}

} // namespace

int output_relay::start() {
    int ends[2];
    std::fflush(stdout);
    output_.reset(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (!output_ || ::pipe2(ends, O_CLOEXEC) != 0) {
        return errno;
    }
    const unique_fd from(ends[0]);
    unique_fd to(ends[1]);
    relay_ = ::fork();
    if (relay_ == 0) {
        to.reset();
        ::_exit(hand_on(from.get(), output_.get()));
    }
    return relay_ < 0 || ::dup2(to.get(), STDOUT_FILENO) < 0 ? errno : 0;
}

int output_relay::finish() {
    int iStatus = 0;
    ::dup2(output_.get(), STDOUT_FILENO); // closes the pipe: the relay comes to its end
    if (!wait_for_child(relay_, &iStatus)) {
        return errno;
    }
    return ended_well(iStatus) ? 0 : WIFEXITED(iStatus) ? exit_code(iStatus) : EIO;
}
