// Reading a configuration file, or its text, line by line: one pass, whole blocks, no allocation
// per line.
#pragma once

#include "common/unix/files/descriptor.h"

#include <cstddef>
#include <string_view>

class line_reader {
public:
    // Bytes of a line that are kept; the rest of a longer line is skipped.
    static constexpr std::size_t kLineLength = 1023;

    // Opens the file. Anything but a readable regular file counts as not openable: a directory
    // holds no lines, and a pipe could block.
    explicit line_reader(const char *path);

    // Reads the open file from where it is; one that owns nothing is a file that is not open.
    explicit line_reader(unique_fd file);

    // Reads a text, which must outlive the reader.
    explicit line_reader(std::string_view text);

    bool is_open() const { return file_ || data_ != buffer_; }

    line_reader(const line_reader &) = delete;
    line_reader &operator=(const line_reader &) = delete;

    // Reads the next line without its line feed, up to a NUL byte if it has one; false at the end
    // of the file. The line is valid until the next call.
    bool next(std::string_view *line);

private:
    bool fill();
    void skip_to_line_end();

    unique_fd file_;
    const char *data_; // the text, or the buffer
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    char buffer_[8192];
    char long_line_[kLineLength]; // the kept part of a line that is longer
};
