// File and host helpers that the functions share. Names may hold references ("gv_rw_work:name"),
// which are resolved; a name too long for its buffer is refused, because a cut one would name
// another file.
#pragma once

#include "common/unix/cm_trace.h"

// 1 when the file can be opened for reading, 0 when not or without a name.
int file_exist(const char *source);

// Copies a file with the system's copy program, permissions unmasked; names of up to 255 bytes.
// Returns the copy's exit status, 0 for success; a failure is written to the protocol.
int file_copy(const char *cpSource, const char *cpTarget);

// Removes the file or the empty directory `source` (up to 1023 bytes); with a "*" behind its last
// "/" all files that match it. Returns 1 when the (last) removal succeeded, 0 when it failed or
// nothing matched.
int i_FILE_DELETE(const char *source, str_log strLog);

// What i_FILE_FIND_EXEC_BEFORE does with a file; its result does not count.
using t_FILE_ACTION = int (*)(const char *cpFile, str_log strLog);

// Carries out fn on every file that matches the pattern and was last modified more than iDays days
// ago; with iDays below 1, before cpDate ("YYYY-MM-DD hh:mm:ss", local time; no file is before a
// text that is no date). Returns 1 when a name matched, however old, else 0.
int i_FILE_FIND_EXEC_BEFORE(const char *cpFilePattern, const char *cpDate, int iDays,
                            t_FILE_ACTION fn, str_log strLog);

// Creates a directory (up to 1023 bytes) with the directories above it. Returns 1 when it is there
// or was created, 0 when not; cpMsg (256 bytes) tells which.
int i_CREATE_DIR_LOCAL(const char *cpPath, char *cpMsg, str_log strLog);

// Creates one directory, open to owner and group. 1 when it was created, else 0.
int i_MKDIR(const char *cpPath);

// Looks for a text in a file, line by line; "a|AND|b" asks for both in a line, "a|OR|b" for either.
// A "^" at the end of the search text asks for the line: it then replaces the search text, a buffer
// of iLength bytes. Returns 1 when found, 0 when not or when the file cannot be read; the search
// text is then as it was.
int file_search(const char *cpFile, char *cpSearchString, int iLength);

// How often and after which pauses a performance file that is being rewritten is read again.
struct s_RETRY {
    int iRetries;
    int iPauseMsec;
};
extern s_RETRY gPerformanceRetry;

// Fills cpReturn (10240 bytes) with the figures that media server cpVnsNr has written for the
// device. Returns 1; 0 with cpReturn untouched when there are none.
int READ_PERFORMANCE_FILE(const char *cpDevice, const char *cpVnsNr, char *cpReturn,
                          str_log strLog);

// Reports a file that could not be closed, with the system's text for iErrno, on standard error.
// When errno says that the file system itself fails (no space, no more files, a deadlock), raises
// the alarm and stops the backup server's services, since nothing it writes can be trusted then.
// Returns 0.
int i_FILE_CLOSE(int iErrno);

// Turns backslashes into slashes in place, but for the first character. Returns cpFileName.
char *GIVE_ME_FILE_NAME(char *cpFileName);

// Changes a file's mode (octal text or what the system's chmod takes). Returns the raw status of
// the shell that ran it, 0 for success; -1 with errno when there was none.
int cm_chmod(const char *szMode, const char *szFile);

// Fills cpName (160 bytes) with the backup server's name from the configuration, "??2" if it has
// none. iLengthMsg is not used.
void get_my_hostname(int iLengthMsg, char *cpName);

// Fills cpOs (32 bytes) with the operating system that the catalogue has for the backup server's
// own host. Returns 1, or 0 when the catalogue does not tell.
int i_GET_MY_OS(char *cpOs, str_log strLog);

// Fills cpPlatform (5 bytes or more) with the platform's name, "UNIX". Returns it.
char *get_my_platform(char *cpPlatform);
