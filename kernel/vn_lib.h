// Running a command for a backup client: on this host, or on the client by the access method that
// the catalogue prescribes for it.
#pragma once

#include "kernel/vn_rcmd.h"

// Runs pRCmd->szCmd for the client szClient. Returns the command's exit state, 0 for success, with
// status and message in szSts and szMsg; -1, with the reason in szMsg, when no method could be run.
int i_RCMD(RCMD *pRCmd, str_log strLog);

// Runs a command for a client and waits. Returns what i_RCMD returns; cpMsg (256 bytes) gets the
// message.
int i_RCMD_EXEC(const char *cpClient, const char *cpCmd, char *cpMsg, str_log strLog);

// Runs a command for a client and searches its output with a regular expression. Returns 1 when a
// line matches, or when there is no line or the expression does not compile, 0 when none matches,
// or the command does not fit; below 0 what i_RCMD returned. cpSearch (512 bytes) may end in "^":
// the matching line then replaces it. cpMsg (256 bytes) gets the message.
int i_RCMD_SEARCH(const char *cpClient, const char *cpCmd, char *cpSearch, char *cpMsg,
                  str_log strLog);

// Runs i_RCMD in the background. Returns 0, -1 with the reason in szMsg when no process could be
// made; at trace level 2 or more it waits for the background process and returns its exit state.
int i_ASYNC_RCMD(RCMD *psctRcmd, str_log strLog);

// Searches the lines of a list with the regular expression cpSearch (512 bytes; a "^" at its end
// asks for the matching line in its place). Returns 1 for a match, below 0 for none, 0 for an empty
// list or an expression that does not compile.
int i_LL_search(t_LL LL_Lines, char *cpSearch, str_log strLog);

// Runs a local command line through pipes and collects its output into the request's lists or
// files, its status and message into szSts and szMsg. Returns the command's exit state, -1 with the
// reason in szMsg when it could not be run. bAliveCheck shows in the trace only.
int i_PIPE_OPEN_RCMD(const char *cpCmd, BOOL bAliveCheck, RCMD *psctRcmd, str_log strLog);
