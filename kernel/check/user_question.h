// Would function x run it?
#pragma once

#include "kernel/check/report.h"

// Says whether function x would run the command (null: the first of the words with the others) for
// the user, by which rule, and what else would keep it from running.
void CHECK_USER_COMMAND(s_CHECK *check, const char *cpUser, const char *cpCommand, int iWords,
                        char **words);
