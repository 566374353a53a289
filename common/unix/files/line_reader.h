// Reading a configuration file line by line: one pass, whole blocks, no allocation per line.
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

    bool is_open() const { return static_cast<bool>(file_); }

    // For locks; -1 when the file is not open.
    int descriptor() const { return file_.get(); }

    // Reads the next line without its line feed, up to a NUL byte if it has one; false at the end
    // of the file. The line is valid until the next call.
    bool next(std::string_view *line);

private:
    bool fill();
    void skip_to_line_end();

    unique_fd file_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    char buffer_[8192];
    char long_line_[kLineLength]; // the kept part of a line that is longer
};
