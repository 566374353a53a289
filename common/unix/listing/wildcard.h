// The wildcard iterator of the file helpers.
#pragma once

#include "common/unix/trace/trace.h"

// A name that the wildcard iterator found.
struct vn_dirent {
    char d_name[1024];
};

// Wildcard iterator: with a file pattern (at most 511 characters, "*", "?" and classes behind the
// last "/", references are resolved) starts a search and finds the first match, with an empty text
// the next one. Returns 1 with the name, without its directory, in pDE; 0 with an empty name when
// there is none, and errno 0 or why the directory could not be read. One search at a time.
int i_GET_DIR(const char *cpFile, vn_dirent *pDE, str_log strLog);
