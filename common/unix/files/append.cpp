// Whole-buffer writes, see append.h. One write per line keeps the lines of concurrent writers
// whole without a lock.
#include "common/unix/files/append.h"

#include "common/common/text.h"
#include "common/unix/files/descriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

bool write_all(int fd, std::string_view data) {
    while (!data.empty()) {
        const ssize_t written = ::write(fd, data.data(), data.size());
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

int open_for_append(const char *path) {
    // O_NONBLOCK: a pipe without a reader loses the line, it does not hang the caller.
    return ::open(path, O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666);
}

bool append_to_file(const char *path, std::string_view data) {
    const unique_fd file(open_for_append(path));
    return file && write_all(file.get(), data);
}
