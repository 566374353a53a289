// The text of an INI file, see ini_file.h. It is written in place because other programs hold it by
// its inode and its owner; what comes first is the room for the new text, as blank lines, so that a
// full disk is met before the old text is touched.
#include "common/unix/configuration/ini_file.h"

#include "common/unix/files/append.h"
#include "common/unix/files/regular_file.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <string_view>
#include <sys/file.h>

s_INI_LOCK_POLICY gIniLockPolicy = {1000, 10000};

namespace {

// False with errno when the lock cannot be had in that time. A system that knows no such lock for
// the file gives EOPNOTSUPP or the like at once.
bool lock_within(int fd, int iOperation, int iMsec) {
    constexpr timespec kMillisecond = {0, 1000000};
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(iMsec);
    while (::flock(fd, iOperation | LOCK_NB) != 0) {
        if ((errno != EWOULDBLOCK && errno != EINTR) || std::chrono::steady_clock::now() >= end) {
            return false;
        }
        ::nanosleep(&kMillisecond, nullptr);
    }
    return true;
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

void lock_ini_for_reading(int fd) {
    static bool bInVain = false; // a call reads dozens of values: it waits for such a holder once
    if (!lock_within(fd, LOCK_SH, bInVain ? 0 : gIniLockPolicy.iReadMsec) && errno == EWOULDBLOCK) {
        bInVain = true;
    }
}

unique_fd open_ini_for_change(const char *cpFile) {
    unique_fd file = open_regular_for_change(cpFile);
    if (file && !lock_within(file.get(), LOCK_EX, gIniLockPolicy.iChangeMsec) &&
        errno == EWOULDBLOCK) {
        return unique_fd();
    }
    return file;
}

int rewrite_ini(int fd, const std::string &before, const std::string &after) {
    const file_size_signal ignored;
    const std::size_t room = std::max(before.size(), after.size());
    if (!write_all_at(fd, std::string(room - before.size(), '\n'), before.size())) {
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
