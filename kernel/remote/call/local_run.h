// The local run of a command line.
#pragma once

#include "common/unix/trace/trace.h"
#include "kernel/remote/call/rcmd.h"

// Runs a local command line through pipes and collects its output into the request's lists or
// files, its status and message into szSts and szMsg. Returns the command's exit state, -1 with the
// reason in szMsg when it could not be run. bAliveCheck shows in the trace only.
int i_PIPE_OPEN_RCMD(const char *cpCmd, BOOL bAliveCheck, RCMD *psctRcmd, str_log strLog);
