// The text of an INI file, see ini_file.h.
#include "common/unix/configuration/ini_file.h"

#include "common/unix/files/regular_file.h"

#include <cerrno>
#include <chrono>
#include <ctime>
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

} // namespace

void lock_ini_for_reading(int fd) {
    static bool bInVain = false; // a call reads dozens of values: it waits for such a holder once
    if (!lock_within(fd, LOCK_SH, bInVain ? 0 : gIniLockPolicy.iReadMsec) && errno == EWOULDBLOCK) {
        bInVain = true;
    }
}

unique_fd open_ini_for_change(const char *cpFile) {
    unique_fd file = open_regular_for_change(cpFile);
    return file && lock_for_change(file.get(), gIniLockPolicy.iChangeMsec) ? std::move(file)
                                                                           : unique_fd();
}

bool lock_for_change(int fd, int iMsec) {
    return lock_within(fd, LOCK_EX, iMsec) || errno != EWOULDBLOCK;
}
