// A remote call: runs a command on another host through its control daemon and relays its streams
// into files or lists. One call at a time per process.
#pragma once

#include "common/unix/trace/trace.h"
#include "kernel/remote/call/rcmd.h"

#include <cstdio>

// Runs psctRcmd->szCmd on the host szClient. Returns the remote exit code, 255 when none came; what
// vn_ctrl returned when the connection could not be made, its text then stands in the error file,
// or else in the output file; 1 when a file cannot be opened or not take the output.
int ctrlc_lib_call(RCMD *psctRcmd, str_log strLog);
