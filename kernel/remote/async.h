// Commands in the background.
#pragma once

#include "common/unix/trace/trace.h"
#include "kernel/remote/call/rcmd.h"

// Runs i_RCMD in the background. Returns 0, -1 with the reason in szMsg when no process could be
// made; at trace level 2 or more it waits for the background process and returns its exit state.
int i_ASYNC_RCMD(RCMD *psctRcmd, str_log strLog);
