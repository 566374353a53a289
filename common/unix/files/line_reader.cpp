// Line by line through a configuration file, see line_reader.h.
#include "common/unix/files/line_reader.h"

#include "common/unix/files/regular_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

// cppcheck-suppress uninitMemberVar ; the buffers hold nothing before they are filled
line_reader::line_reader(const char *path) : line_reader(open_regular(path)) {}

// cppcheck-suppress uninitMemberVar ; the same
line_reader::line_reader(unique_fd file) : file_(std::move(file)), data_(buffer_) {}

// cppcheck-suppress uninitMemberVar ; the same
line_reader::line_reader(std::string_view text) : data_(text.data()), end_(text.size()) {}

// Reads behind what is buffered; false when nothing more comes or the buffer is full.
bool line_reader::fill() {
    if (!file_) {
        return false;
    }
    std::memmove(buffer_, buffer_ + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
    if (end_ == sizeof buffer_) {
        return false;
    }
    ssize_t got = 0;
    do {
        got = ::read(file_.get(), buffer_ + end_, sizeof buffer_ - end_);
    } while (got < 0 && errno == EINTR);
    if (got <= 0) {
        return false;
    }
    end_ += static_cast<std::size_t>(got);
    return true;
}

void line_reader::skip_to_line_end() {
    for (;;) {
        const void *feed = std::memchr(data_ + begin_, '\n', end_ - begin_);
        if (feed != nullptr) {
            begin_ = static_cast<std::size_t>(static_cast<const char *>(feed) - data_) + 1;
            return;
        }
        begin_ = end_;
        if (!fill()) {
            return;
        }
    }
}

bool line_reader::next(std::string_view *line) {
    const void *feed = nullptr;
    // A full buffer holds more than a line can have, so fill stops on its own.
    while ((feed = std::memchr(data_ + begin_, '\n', end_ - begin_)) == nullptr) {
        if (end_ - begin_ > kLineLength || !fill()) {
            break;
        }
    }
    if (begin_ == end_) {
        return false;
    }
    const char *start = data_ + begin_;
    if (feed != nullptr) {
        const std::size_t length =
            static_cast<std::size_t>(static_cast<const char *>(feed) - start);
        *line = {start, strnlen(start, std::min(length, kLineLength))};
        begin_ += length + 1;
        return true;
    }
    if (end_ - begin_ <= kLineLength) { // the last line, without a line feed
        *line = {start, strnlen(start, end_ - begin_)};
        begin_ = end_;
        return true;
    }
    std::memcpy(long_line_, start, kLineLength);
    *line = {long_line_, strnlen(long_line_, kLineLength)};
    skip_to_line_end();
    return true;
}
