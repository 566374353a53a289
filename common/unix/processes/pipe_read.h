// Reading lines from the pipes of a child process.
#pragma once

#include "common/unix/processes/pipe.h"

#include <cstddef>
#include <string>

// Reads one line of the child's standard output or standard error, without its line end, into
// cpReturn, a buffer of iMaxLen + 1 bytes; a longer line comes in pieces of iMaxLen bytes. Returns
//   1  a line, or a piece, is in cpReturn;
//   0  end of file, or a read error; what the last line had without a line end is in cpReturn;
//  -1  nothing more for now on this channel while data waits on the other one; the beginning of a
//      line that was read so far is in cpReturn and will not come again.
// Without the channel's letter at the opening there is nothing to be read from it.
int iPIPE_READ(DB_PROC_PIP *pPP, char *cpReturn, int iMaxLen);
int iPIPE_READ_STDERR(DB_PROC_PIP *pPP, char *cpReturn, int iMaxLen);

// The reader behind both, on descriptor iFd of the handle.
int iReadFromHandle(int iFd, DB_PROC_PIP *pPP, char *cpReturn, int iMaxLen);

// Reads one whole line of standard output, without its line end and what a carriage return or zero
// byte in it leads. Returns 1; 0 at the end of file; -1 for a line of more than iLimit bytes, which
// cannot be read on. For pipes opened with "r" alone.
int pipe_read_line(DB_PROC_PIP *pPP, std::size_t iLimit, std::string *line);

// What has been read from a pipe and not yet been handed out is kept per descriptor, apart from the
// handles, which callers copy.
// Forgets what is buffered of a descriptor; to be called when it is opened and when it is closed.
void pipe_buffer_reset(int fd);
