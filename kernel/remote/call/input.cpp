// The input of a remote command, see input.h.
#include "kernel/remote/call/input.h"

#include "common/common/cm_message.h"
#include "common/common/text.h"
#include "common/unix/processes/child.h"
#include "common/unix/processes/socket.h"
#include "common/unix/trace/trace.h"

#include <cerrno>
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kInputBlock = 8192;
constexpr char kEndOfInput[] = "END OF STDIN"; // sent with its terminator

// In the child: the input pump, with nothing of the parent's output.
[[noreturn]] void run_input(std::FILE *fd_stdin, int hSocket1, int hSocket2) {
    if (hSocket2 != 0) {
        ::close(hSocket2);
    }
    ::close(STDOUT_FILENO);
    ::close(STDERR_FILENO);
    STDIN_transfer(fd_stdin, hSocket1);
    ::_exit(0);
}

} // namespace

void STDIN_transfer(std::FILE *fd_stdin, int hWriteSocket) {
    char block[kInputBlock];
    for (;;) {
        const ssize_t got = ::read(::fileno(fd_stdin), block, sizeof block);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            break;
        }
        if (iSendBuffer(hWriteSocket, block, static_cast<int>(got), MSG_NOSIGNAL) < 0) {
            trace_at(TRACE_DETAILS, "STDIN_transfer: send failed: %s", error_text(errno).c_str());
        }
    }
    iSendBuffer(hWriteSocket, kEndOfInput, sizeof kEndOfInput, MSG_NOSIGNAL);
}

pid_t start_input(std::FILE *fd_stdin, int hSocket1, int hSocket2, str_log *strLog) {
    if (fd_stdin == nullptr) {
        trace_log(strLog, TRACE_DETAILS, "start_transfer: Didn't got a stdin file handle");
        return 0;
    }
    trace_log(strLog, TRACE_DETAILS, "start_transfer: got a stdin file handle");
    const pid_t child = ::fork();
    if (child < 0) {
        trace_log(strLog, TRACE_EVENTS, "fork() call failed: %s", error_text(errno).c_str());
        return 0;
    }
    if (child == 0) {
        run_input(fd_stdin, hSocket1, hSocket2);
    }
    return child;
}

void stop_input(pid_t child) {
    if (child > 0) {
        int iStatus = 0;
        ::kill(child, SIGKILL);
        wait_for_child(child, &iStatus);
    }
}
