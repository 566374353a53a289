// Commands in the background.
#pragma once

#include "common/unix/trace/trace.h"
#include "kernel/remote/call/rcmd.h"

// How the background process is watched.
struct s_ASYNC_POLICY {
    int iLookMsec; // between two looks, ten to a second
};
extern s_ASYNC_POLICY gAsyncPolicy;

// Runs i_RCMD in the background. Returns 0, whatever becomes of the command; -1 with the reason in
// szMsg when no process could be made. At trace level 2 or more it waits for the background process
// and traces its end.
int i_ASYNC_RCMD(RCMD *psctRcmd, str_log strLog);
