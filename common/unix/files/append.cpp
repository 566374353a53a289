// Whole-buffer writes, see append.h. One write per line keeps the lines of concurrent writers
// whole without a lock.
#include "common/unix/files/append.h"

#include "common/common/text.h"
#include "common/unix/files/descriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace {

// Writes all of the data with `put`, which writes what it can of a text. False with errno.
template <typename Put>
bool write_with(std::string_view data, Put put) {
    while (!data.empty()) {
        const ssize_t written = put(data);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            errno = written == 0 ? EIO : errno;
            return false;
        }
        data.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

} // namespace

bool write_all(int fd, std::string_view data) {
    return write_with(
        data, [fd](std::string_view rest) { return ::write(fd, rest.data(), rest.size()); });
}

bool write_all_at(int fd, std::string_view data, std::size_t offset) {
    const std::size_t end = offset + data.size();
    return write_with(data, [fd, end](std::string_view rest) {
        return ::pwrite(fd, rest.data(), rest.size(), static_cast<off_t>(end - rest.size()));
    });
}

int open_for_append(const char *path) {
    // O_NONBLOCK: a pipe without a reader loses the line, it does not hang the caller.
    return ::open(path, O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666);
}

bool append_to_file(const char *path, std::string_view data) {
    const unique_fd file(open_for_append(path));
    return file && write_all(file.get(), data);
}
