// Single files: is it there, copy it, change its mode. Names may hold references
// ("gv_rw_work:name"), which are resolved; a name too long for its buffer is refused, because a cut
// one would name another file.
#pragma once

// 1 when the file can be opened for reading, 0 when not or without a name.
int file_exist(const char *source);

// Copies a file with the system's copy program, permissions unmasked; names of up to 255 bytes.
// Returns the copy's exit status, 0 for success; a failure is written to the protocol.
int file_copy(const char *cpSource, const char *cpTarget);

// Turns backslashes into slashes in place, but for the first character. Returns cpFileName.
char *GIVE_ME_FILE_NAME(char *cpFileName);

// Changes a file's mode (octal text or what the system's chmod takes). Returns the raw status of
// the shell that ran it, 0 for success; -1 with errno when there was none.
int cm_chmod(const char *szMode, const char *szFile);
