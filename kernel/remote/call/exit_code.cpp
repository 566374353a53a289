// The exit code of a remote command, see exit_code.h.
#include "kernel/remote/call/exit_code.h"

#include <cerrno>
#include <sys/socket.h>

volatile std::sig_atomic_t g_iEXITCODE = 255;
volatile std::sig_atomic_t g_hSocket1 = 0;
volatile std::sig_atomic_t g_hSocket2 = 0;

namespace {

volatile std::sig_atomic_t iExitSocket = 0;

void store_exit_code(int iNumber, int iCode) {
    g_iEXITCODE = iCode;
    iExitSocket = iNumber;
}

} // namespace

void reset_exit_code() {
    constexpr int kNone = 255;
    store_exit_code(0, kNone);
}

bool receive_exit_code(int hSocket, int iNumber) {
    char code = 0;
    if (::recv(hSocket, &code, 1, MSG_OOB) != 1) {
        return false;
    }
    store_exit_code(iNumber, static_cast<unsigned char>(code));
    return true;
}

int exit_code_socket() {
    return iExitSocket;
}

void signal_handler(int signo) {
    if (signo != SIGURG) {
        return;
    }
    const int iErrno = errno;
    const bool bSecond = g_hSocket2 != 0;
    receive_exit_code(bSecond ? g_hSocket2 : g_hSocket1, bSecond ? 2 : 1);
    errno = iErrno;
}
