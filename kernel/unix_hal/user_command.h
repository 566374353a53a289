// Running a command for a user.
#pragma once

#include "common/unix/trace/trace.h"

// Runs cpCmd, or without it the first argument of ArgList with the others, as cpUser, if the
// program is one of the installation's program directory or the allow list permits it. Returns 0,
// or 2 for every refusal and failure; cpMsg (256 bytes) tells.
int i_EXECUTE_USER_COMMAND(const char *cpUser, const char *cpCmd, char **ArgList, char *cpMsg,
                           str_log strLog);

// The allow list: lines of a user, a blank, and a program's path or "*".
extern const char *gcpAllowList;
