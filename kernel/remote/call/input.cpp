// The input of a remote command, see input.h.
#include "kernel/remote/call/input.h"

#include "common/common/cm_message.h"
#include "common/common/text.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/processes/child.h"
#include "common/unix/processes/socket.h"
#include "common/unix/system/descriptor_calls.h"
#include "common/unix/trace/trace.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kInputBlock = 8192;
constexpr char kEndOfInput[] = "END OF STDIN"; // sent with its terminator

// Waits until the descriptor is ready. False when the life line, whose other end the parent holds,
// has ended: nobody waits for the command any more, and this copy of the connection would keep the
// daemon from seeing it.
bool await(int fd, short iEvents, int hLifeLine) {
    pollfd wanted[] = {{fd, iEvents, 0}, {hLifeLine, POLLIN, 0}};
    while (::poll(wanted, 2, -1) < 0 && errno == EINTR) {
    }
    return wanted[1].revents == 0;
}

// Sends the input and its end; stops without one when the life line (-1: none) ends.
void pump(int fdInput, int hSocket, int hLifeLine) {
    char block[kInputBlock];
    for (;;) {
        if (!await(fdInput, POLLIN, hLifeLine) || !await(hSocket, POLLOUT, hLifeLine)) {
            return;
        }
        const ssize_t got = ::read(fdInput, block, sizeof block);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            break;
        }
        if (iSendBuffer(hSocket, block, static_cast<int>(got), MSG_NOSIGNAL) < 0) {
            trace_at(TRACE_DETAILS, "STDIN_transfer: send failed: %s", error_text(errno).c_str());
        }
    }
    iSendBuffer(hSocket, kEndOfInput, sizeof kEndOfInput, MSG_NOSIGNAL);
}

// In the child: the input pump, with nothing of the parent's output.
[[noreturn]] void run_input(std::FILE *fd_stdin, int hSocket1, int hSocket2, int hLifeLine) {
    if (hSocket2 != 0) {
        ::close(hSocket2);
    }
    ::close(STDOUT_FILENO);
    ::close(STDERR_FILENO);
    pump(::fileno(fd_stdin), hSocket1, hLifeLine);
    ::_exit(0);
}

// While a pump runs: the end that it watches the other one of.
unique_fd &life_line() {
    static unique_fd theEnd;
    return theEnd;
}

} // namespace

void STDIN_transfer(std::FILE *fd_stdin, int hWriteSocket) {
    pump(::fileno(fd_stdin), hWriteSocket, -1);
}

pid_t start_input(std::FILE *fd_stdin, int hSocket1, int hSocket2, str_log *strLog) {
    if (fd_stdin == nullptr) {
        trace_log(strLog, TRACE_DETAILS, "start_transfer: Didn't got a stdin file handle");
        return 0;
    }
    trace_log(strLog, TRACE_DETAILS, "start_transfer: got a stdin file handle");
    unique_fd watched;
    const pid_t child = open_pipe(&watched, &life_line()) ? ::fork() : -1;
    if (child < 0) {
        trace_log(strLog, TRACE_EVENTS, "fork() call failed: %s", error_text(errno).c_str());
        return 0;
    }
    if (child == 0) {
        life_line().reset();
        run_input(fd_stdin, hSocket1, hSocket2, watched.get());
    }
    return child;
}

void stop_input(pid_t child) {
    if (child > 0) {
        int iStatus = 0;
        ::kill(child, SIGKILL);
        wait_for_child(child, &iStatus);
        life_line().reset();
    }
}
