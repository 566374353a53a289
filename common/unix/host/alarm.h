// What the agent does when a file system fails under it.
#pragma once

// Reports a file that could not be closed, with the system's text for iErrno, on standard error.
// When errno says that the file system itself fails (no space, no more files, a deadlock), raises
// the alarm and stops the backup server's services, since nothing it writes can be trusted then.
// Returns 0.
int i_FILE_CLOSE(int iErrno);
