// Deleting files, by name or by pattern, and acting on old ones. Names may hold references
// ("gv_rw_work:name"), which are resolved; a name too long for its buffer is refused, because a cut
// one would name another file.
#pragma once

#include "common/unix/trace/trace.h"

// Removes the file or the empty directory `source` (up to 1023 bytes); with a "*" behind its last
// "/" all files that match it. Returns 1 when the (last) removal succeeded, 0 when it failed or
// nothing matched.
int i_FILE_DELETE(const char *source, str_log strLog);

// The same; adds to *piFailed how many of the files that match could not be
// removed, and one when the directory could not be read to its end.
int i_FILE_DELETE_ALL(const char *source, int *piFailed, str_log strLog);

// What i_FILE_FIND_EXEC_BEFORE does with a file; its result does not count.
using t_FILE_ACTION = int (*)(const char *cpFile, str_log strLog);

// Carries out fn on every file that matches the pattern and was last modified more than iDays days
// ago; with iDays below 1, before cpDate ("YYYY-MM-DD hh:mm:ss", local time; no file is before a
// text that is no date). Returns 1 when a name matched, however old, else 0.
int i_FILE_FIND_EXEC_BEFORE(const char *cpFilePattern, const char *cpDate, int iDays,
                            t_FILE_ACTION fn, str_log strLog);
