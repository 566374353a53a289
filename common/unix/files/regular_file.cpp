// Opening regular files, see regular_file.h.
#include "common/unix/files/regular_file.h"

#include "common/unix/files/append.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

namespace {

// O_NONBLOCK: a FIFO is looked at and left, not waited for.
constexpr int kGuards = O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

// Opens the file. Owns nothing, with errno, when that fails or the file is no regular one.
unique_fd open_checked(const char *cpFile, int iFlags, struct stat *status) {
    unique_fd file(::open(cpFile, iFlags | kGuards, 0666));
    if (!file || ::fstat(file.get(), status) != 0) {
        return unique_fd();
    }
    if (!S_ISREG(status->st_mode)) {
        errno = EINVAL;
        return unique_fd();
    }
    return file;
}

// Cuts the file to `size` bytes. Returns the error number of the failure before, or of its own.
int cut_to(int fd, std::size_t size, int iErrno) {
    const bool bCut = ::ftruncate(fd, static_cast<off_t>(size)) == 0;
    return iErrno != 0 || bCut ? iErrno : errno;
}

// A limit on the size of files is met as an error, not as the signal that ends the process.
class file_size_signal {
public:
    file_size_signal() {
        struct sigaction ignore = {};
        ignore.sa_handler = SIG_IGN;
        ::sigaction(SIGXFSZ, &ignore, &before_);
    }
    file_size_signal(const file_size_signal &) = delete;
    file_size_signal &operator=(const file_size_signal &) = delete;
    ~file_size_signal() { ::sigaction(SIGXFSZ, &before_, nullptr); }

private:
    struct sigaction before_ = {};
};

} // namespace

unique_fd open_regular(const char *cpFile, struct stat *status) {
    struct stat unwanted = {};
    return open_checked(cpFile, O_RDONLY, status == nullptr ? &unwanted : status);
}

unique_fd open_regular_for_change(const char *cpFile) {
    struct stat status = {};
    return open_checked(cpFile, O_RDWR, &status);
}

unique_fd create_regular(const char *cpFile) {
    struct stat status = {};
    return open_checked(cpFile, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW, &status);
}

unique_file open_regular_stream(const char *cpFile, long long *plSize) {
    struct stat status = {};
    unique_fd file = open_regular(cpFile, &status);
    unique_file stream(file ? ::fdopen(file.get(), "r") : nullptr);
    if (stream) {
        file.release(); // the stream closes it
    }
    if (stream && plSize != nullptr) {
        *plSize = static_cast<long long>(status.st_size);
    }
    return stream;
}

bool read_stream_line(std::FILE *stream, char *szLine, int iSize) {
    if (std::fgets(szLine, iSize, stream) == nullptr) {
        return false;
    }
    char *end = szLine + std::strcspn(szLine, "\n");
    if (*end == '\0') {
        int iLetter = 0;
        while ((iLetter = std::fgetc(stream)) != EOF && iLetter != '\n') {
        }
    }
    *end = '\0';
    return true;
}

bool read_to_end(int fd, std::string *text) {
    char block[65536];
    for (;;) {
        const ssize_t got = ::read(fd, block, sizeof block);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return got == 0;
        }
        text->append(block, static_cast<std::size_t>(got));
    }
}

int rewrite_text(int fd, const std::string &before, const std::string &after) {
    const file_size_signal ignored;
    if (after.empty()) {
        return cut_to(fd, 0, 0);
    }
    const std::size_t room = std::max(before.size(), after.size());
    // First the room for the new text: a full disk is met before the old text is touched. A file
    // without a text needs none: it is empty until it has its text.
    if (!before.empty() &&
        !write_all_at(fd, std::string(room - before.size(), '\n'), before.size())) {
        return cut_to(fd, before.size(), errno);
    }
    // One write of all: until the cut, what the old text was longer is blank lines.
    if (!write_all_at(fd, after + std::string(room - after.size(), '\n'), 0)) {
        const int iErrno = errno;
        write_all_at(fd, before, 0);
        return cut_to(fd, before.size(), iErrno);
    }
    return cut_to(fd, after.size(), 0);
}

bool read_regular(const char *cpFile, std::string *text) {
    text->clear();
    const unique_fd file = open_regular(cpFile);
    return file && read_to_end(file.get(), text);
}
