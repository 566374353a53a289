// Searching output lines with a regular expression.
#pragma once

#include "common/common/LL.h"
#include "common/unix/trace/trace.h"

// Searches the lines of a list with the regular expression cpSearch (512 bytes; a "^" at its end
// asks for the matching line in its place). Returns 1 for a match, below 0 for none, 0 for an empty
// list or an expression that does not compile.
int i_LL_search(t_LL LL_Lines, char *cpSearch, str_log strLog);
