// Running a command for a backup client: on this host, or on the client by the access method that
// the catalogue prescribes for it.
#pragma once

#include "common/unix/trace/trace.h"
#include "kernel/remote/call/rcmd.h"

// Runs pRCmd->szCmd for the client szClient. Returns the command's exit state, 0 for success, with
// status and message in szSts and szMsg; -1, with the reason in szMsg, when no method could be run.
int i_RCMD(RCMD *pRCmd, str_log strLog);

// Runs a command for a client and waits. Returns what i_RCMD returns; cpMsg (256 bytes) gets the
// message.
int i_RCMD_EXEC(const char *cpClient, const char *cpCmd, char *cpMsg, str_log strLog);

// Runs a command for a client and searches its output with a regular expression. Returns 1 when a
// line matches, or when there is no line or the expression does not compile, 0 when none matches,
// or command or client do not fit; below 0 what i_RCMD returned. cpSearch (512 bytes) may end in
// "^": the matching line then replaces it. cpMsg (256 bytes) gets the message.
int i_RCMD_SEARCH(const char *cpClient, const char *cpCmd, char *cpSearch, char *cpMsg,
                  str_log strLog);

// Who runs commands on a client of the platform; null where none are run.
const char *rcmd_user(const char *cpPlatform);

// The method that an access mode of the catalogue stands for, as "ctrld", "rsh" or "ssh"; null for
// one that stands for none.
const char *rcmd_method(const char *cpMode);
