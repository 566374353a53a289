// The exit code of a remote command: one urgent byte, taken by the signal handler or by the receive
// loop, whichever sees it first. Both store it through one procedure.
#pragma once

#include <csignal>

extern volatile std::sig_atomic_t g_iEXITCODE; // 255 until it has come
extern volatile std::sig_atomic_t g_hSocket1;  // the call's sockets, for the signal handler
extern volatile std::sig_atomic_t g_hSocket2;  // 0: there is none

// Begins a call: no exit code has come.
void reset_exit_code();

// Receives the urgent byte from a socket of the call, whose number is 1 or 2, and stores it as the
// exit code. False when there is none. Safe in a signal handler.
bool receive_exit_code(int hSocket, int iNumber);

// The number of the socket on which the exit code came; 0 when none has come.
int exit_code_socket();

// Handler of SIGURG: receives the exit code.
void signal_handler(int signo);
