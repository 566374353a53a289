// Named semaphores: mutual exclusion between the processes of the installation. A semaphore is a
// lock file below the work directory; holding it means holding an exclusive record lock on the
// file, whose content names the holder. The system drops the lock with its process, so a holder
// that dies blocks nobody. The lock belongs to the process: do not inquire about a semaphore that
// the process itself holds, closing the inquiry's descriptor would drop it.
#pragma once

#include "common/unix/trace/trace.h"

// A semaphore, filled by the caller.
struct SCT_SEMA {
    char szSema[32];     // its name
    char szCaller[1024]; // who asks; written into the lock file
    char szMsg[1032];    // message of the last operation
    int hSema;           // descriptor of the lock file while it is held, else 0
};

// Result codes.
enum e_SEMA { SEMA_SUCCESS = 0, SEMA_WARNING = 1, SEMA_ERROR = 2, SEMA_FATAL = 3 };

// Carries out an operation on the semaphore and returns its result code, with a message in szMsg:
//   '*'       takes it; SEMA_WARNING when another process holds it
//   '+', 'S'  takes it, waiting without limit as long as another process holds it
//             (both are a success for a record that holds it already)
//   '-', 'R'  releases it; SEMA_WARNING when another process holds it
//   '?'       tells whether it is held: SEMA_WARNING and the holder, or SEMA_SUCCESS
int i_SEMA(char cFunction, SCT_SEMA *pS, str_log strLog);

// The same on the lock file of the given path.
int x_Semaphore(char cFunction, const char *cpSemaFile, SCT_SEMA *pS);

// Reports a failed operation in the trace, a fatal one also as a status line on standard output.
void log_error(int eState, char cFunction, SCT_SEMA *pS, str_log strLog);
