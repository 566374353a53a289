// Whole-buffer writes for files that several processes append to.
#pragma once

#include <cstddef>
#include <string_view>

// Writes all of `data` to the descriptor, over interruptions and short writes. False when an error
// ended it before; errno tells which.
bool write_all(int fd, std::string_view data);

// The same at a place of the file, `offset` bytes behind its beginning.
bool write_all_at(int fd, std::string_view data, std::size_t offset);

// Appends `data` to the file in one write, creating the file if need be. False when it could not
// be opened or written; then errno tells why.
bool append_to_file(const char *path, std::string_view data);

// Opens a file for appending, creating it if need be; -1 with errno when that fails.
int open_for_append(const char *path);
