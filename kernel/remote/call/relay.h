// The data phase of a remote call.
#pragma once

#include "common/unix/trace/trace.h"
#include "kernel/remote/call/exit_code.h"
#include "kernel/remote/call/input.h"
#include "kernel/remote/call/output.h"
#include "kernel/remote/call/rcmd.h"

#include <cstdio>

// The data phase on the connected sockets (hSocket2 is 0 without a second one): feeds fd_stdin
// (null: nothing) and relays both streams. The exit code is in g_iEXITCODE afterwards.
void start_transfer(std::FILE *fd_stdin, std::FILE *fd_stdout, std::FILE *fd_stderr, RCMD *psctRcmd,
                    int hSocket1, int hSocket2, str_log strLog);

// The same into files that remember what they failed to take; both may be one.
void start_transfer(std::FILE *fd_stdin, output_file *out, output_file *err, RCMD *psctRcmd,
                    int hSocket1, int hSocket2, str_log strLog);

// The receive loop: until both streams are closed, or nothing has come for 120 passes.
void STDOUT_STDERR_transfer(std::FILE *fd_stdout, std::FILE *fd_stderr, RCMD *pRCmd, int hSocket1,
                            int hSocket2, str_log strLog);

// How long the receive loop bears silence.
struct s_RELAY_POLICY {
    int iIdleLimit;     // passes without data
    int iIdlePauseMsec; // after each
};
extern s_RELAY_POLICY gRelayPolicy;

extern int giSingleConnection; // 1: one connection carries everything; kept between calls
extern char send_sig;          // sent on after an interrupted wait, then -1, which is none
