// File helpers that the front end's functions share.
#pragma once

// 1 when the file can be opened for reading, 0 when not or without a name.
int file_exist(const char *source);

// Reports a file that could not be closed, with the system's text for iErrno, on standard error.
// When errno says that the file system itself fails (no space, no more files, a deadlock), raises
// the alarm and stops the backup server's services, since nothing it writes can be trusted then.
// Returns 0.
int i_FILE_CLOSE(int iErrno);
