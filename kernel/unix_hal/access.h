// The access methods: each runs the request's command on its client and returns the exit state,
// with the message in szMsg.
#pragma once

#include "common/unix/trace/trace.h"
#include "kernel/remote/call/rcmd.h"

// The port of the control daemons that the configuration gives; without one the usual port, and
// false with the reader's message.
bool standard_daemon_port(char (&szPort)[20], char *cpMsg, int iLength);

// Through the client's control daemon, or the external control client when the variable
// gv_ctrlc_old is set. An exit state of 240 or more is returned negated.
int iCtrldAccess(RCMD *psctRcmd, str_log strLog);

// Through rsh and ssh. -1 for a client or user whose name these would take for an option.
int iRshAccess(RCMD *psctRcmd, str_log strLog);
int iSshAccess(RCMD *psctRcmd, str_log strLog);
