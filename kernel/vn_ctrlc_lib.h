// A remote call: runs a command on another host through its control daemon and relays its streams
// into files or lists. One call at a time per process.
#pragma once

#include "kernel/vn_rcmd.h"

#include <cstdio>

// Runs psctRcmd->szCmd on the host szClient. Returns the remote exit code, 255 when none came; what
// vn_ctrl returned when the connection could not be made, its text then stands in the error file,
// or else in the output file; 1 when a file cannot be opened or not take the output.
int ctrlc_lib_call(RCMD *psctRcmd, str_log strLog);

// Converts a command line into the daemon's form: the arguments without their quotes, separated by
// one double quote each. cpResult has iSize bytes.
void vConvertCommand(const char *cpCommand, char *cpResult, int iSize, str_log *strLog);

// The data phase on the connected sockets (hSocket2 is 0 without a second one): feeds fd_stdin
// (null: nothing) and relays both streams.
void start_transfer(std::FILE *fd_stdin, std::FILE *fd_stdout, std::FILE *fd_stderr, RCMD *psctRcmd,
                    int hSocket1, int hSocket2, str_log strLog);

// The receive loop: until both streams are closed, or nothing has come for 120 passes.
void STDOUT_STDERR_transfer(std::FILE *fd_stdout, std::FILE *fd_stderr, RCMD *pRCmd, int hSocket1,
                            int hSocket2, str_log strLog);

// The input pump: sends the file's content and the end marker, the 13 bytes "END OF STDIN".
void STDIN_transfer(std::FILE *fd_stdin, int hWriteSocket);

// Cuts the first complete line, without its end, out of a stream's buffer of *piBufferSize bytes (a
// terminator behind them) into cpLine (iSize bytes), trimmed if bTrim is not 0, and takes the
// result out of it into pRCmd. A buffer of iSize - 1 bytes without a line feed is one line. Returns
// cpLine; null when there is no complete line.
char *szGetLine(char *pszBuffer, int *piBufferSize, RCMD *pRCmd, short bTrim, char *cpLine,
                int iSize, str_log strLog);

// Takes status and message out of a line "STATUS=... MSG=..." or "MSG=..."; other lines change
// nothing.
void vSetMsgAndSts(const char *cpLine, RCMD *pRCmd);

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
