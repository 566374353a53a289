// Regular files: neither reading nor writing waits for the other end of a FIFO.
#pragma once

#include "common/common/owner.h"
#include "common/unix/files/descriptor.h"

#include <string>
#include <sys/stat.h>

// Opens a regular file for reading, with its status as it was then (null: not wanted). Owns
// nothing, with errno (EINVAL for anything but a regular file), when that fails.
unique_fd open_regular(const char *cpFile, struct stat *status = nullptr);

// The same for reading and writing.
unique_fd open_regular_for_change(const char *cpFile);

// The same as a stream, with plSize its size in bytes; null with errno when that fails.
unique_file open_regular_stream(const char *cpFile, long long *plSize = nullptr);

// Reads the next line of a stream into szLine (iSize bytes), without its line feed; what does not
// fit is skipped. False at the end of the stream.
bool read_stream_line(std::FILE *stream, char *szLine, int iSize);

// Opens a regular file for writing, empty; creates it if need be. A symbolic link is not followed.
// Owns nothing, with errno (EINVAL for anything but a regular file), when that fails.
unique_fd create_regular(const char *cpFile);

// Reads a descriptor to its end, behind what *text holds. False with errno when that fails.
bool read_to_end(int fd, std::string *text);

// Replaces the text `before` of the open file by `after`, in place, because other programs hold the
// file by its inode and its owner. Who reads it meanwhile, or finds it after a kill, sees the lines
// of the old text or of the new one, and blank lines behind them. 0, or the error number: then the
// file holds the old text.
int rewrite_text(int fd, const std::string &before, const std::string &after);

// Reads a regular file whole into *text. False with errno when it cannot be opened or read.
bool read_regular(const char *cpFile, std::string *text);
