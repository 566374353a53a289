// How the figures of a media server reach the caller.
#pragma once

// Delivers performance data with the request identifier: on standard output for a call from remote,
// else in the file `path`, which it replaces. A file that cannot be opened, or would make the
// process wait, is skipped. Returns 1; when standard output cannot be written nobody will read the
// figures, and the process ends with status 2.
int iWRITE_PERF_FILE(const char *path, const char *text);
