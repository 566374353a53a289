// The owners of what the system hands out: descriptors and open directories.
#pragma once

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <unistd.h>
#include <utility>

// A file descriptor; -1 when nothing is owned.
class unique_fd {
public:
    explicit unique_fd(int fd = -1) : fd_(fd) {}
    unique_fd(unique_fd &&other) noexcept : fd_(other.release()) {}
    unique_fd &operator=(unique_fd &&other) noexcept {
        reset(other.release());
        return *this;
    }
    unique_fd(const unique_fd &) = delete;
    unique_fd &operator=(const unique_fd &) = delete;
    ~unique_fd() {
        const int iErrno = errno; // the failure that ends the scope counts, not the close's
        reset();
        errno = iErrno;
    }

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    int release() { return std::exchange(fd_, -1); }

    // Closes what is held and takes `fd`. Returns what close returned, 0 when nothing was held.
    int reset(int fd = -1) {
        const int old = std::exchange(fd_, fd);
        return old >= 0 && old != fd ? ::close(old) : 0;
    }

private:
    int fd_;
};

// Moves a descriptor away from those of the standard streams, where one that the caller has closed
// left room. False with errno when there is no other.
inline bool lift_descriptor(unique_fd *fd) {
    constexpr int kFirst = 3;
    if (*fd && fd->get() < kFirst) {
        fd->reset(::fcntl(fd->get(), F_DUPFD_CLOEXEC, kFirst));
    }
    return static_cast<bool>(*fd);
}

struct directory_closer {
    void operator()(DIR *directory) const { ::closedir(directory); }
};

using unique_directory = std::unique_ptr<DIR, directory_closer>;
