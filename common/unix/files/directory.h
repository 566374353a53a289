// Making directories. Names may hold references ("gv_rw_work:name"), which are resolved; a name too
// long for its buffer is refused, because a cut one would name another file.
#pragma once

#include "common/unix/trace/trace.h"

// Creates a directory (up to 1023 bytes) with the directories above it. Returns 1 when it is there
// or was created, 0 when not; cpMsg (256 bytes) tells which.
int i_CREATE_DIR_LOCAL(const char *cpPath, char *cpMsg, str_log strLog);

// Creates one directory, open to owner and group. 1 when it was created, else 0.
int i_MKDIR(const char *cpPath);
