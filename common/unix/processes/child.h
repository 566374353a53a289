// Child processes: waiting for one, and what its wait status says.
#pragma once

#include <string>
#include <sys/types.h>

// Waits until the child has ended, over interruptions; with WUNTRACED in iOptions also until it has
// been stopped. Returns true with its wait status; false with errno when there is no such child,
// *piStatus is 0 then.
bool wait_for_child(pid_t child, int *piStatus, int iOptions = 0);

// The exit state as a shell tells it: the exit code, or 128 and the signal that ended the child;
// 127 for one that has not come to its end.
int exit_state(int iStatus);

// The exit code alone (0-255); 0 for a child that a signal ended, the signal for one that is only
// stopped.
int exit_code(int iStatus);

// The signal that ended the child; 0 when it came to its end by itself.
int ending_signal(int iStatus);

// True when the child came to its end by itself with exit code 0.
bool ended_well(int iStatus);

// The signal that ended the child, or the program that it ran when it is a shell, which tells that
// with an exit code of 128 and the signal; 0 when none did.
int end_signal(int iStatus);

// "exit status 3" or "killed by signal 9".
std::string exit_text(int iStatus);
