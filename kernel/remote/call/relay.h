// The data phase of a remote call.
#pragma once

#include "common/unix/trace/trace.h"
#include "kernel/remote/call/rcmd.h"

#include <cstdio>

// The data phase on the connected sockets (hSocket2 is 0 without a second one): feeds fd_stdin
// (null: nothing) and relays both streams.
void start_transfer(std::FILE *fd_stdin, std::FILE *fd_stdout, std::FILE *fd_stderr, RCMD *psctRcmd,
                    int hSocket1, int hSocket2, str_log strLog);

// The receive loop: until both streams are closed, or nothing has come for 120 passes.
void STDOUT_STDERR_transfer(std::FILE *fd_stdout, std::FILE *fd_stderr, RCMD *pRCmd, int hSocket1,
                            int hSocket2, str_log strLog);

// The input pump: sends the file's content and the end marker, the 13 bytes "END OF STDIN".
void STDIN_transfer(std::FILE *fd_stdin, int hWriteSocket);

// Handler of SIGURG: receives the remote exit code.
void signal_handler(int signo);

// How long the receive loop bears silence.
struct s_RELAY_POLICY {
    int iIdleLimit;     // passes without data
    int iIdlePauseMsec; // after each
};
extern s_RELAY_POLICY gRelayPolicy;

extern int giSingleConnection; // 1: one connection carries everything; kept between calls
extern int g_iEXITCODE;        // the remote exit code, 255 until it has come
