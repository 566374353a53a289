// The text of an INI file, see ini_file.h.
#include "common/unix/configuration/ini_file.h"

#include "common/unix/files/regular_file.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <vector>

s_INI_LOCK_POLICY gIniLockPolicy = {1000, 10000};
s_INI_MEMORY_POLICY gIniMemoryPolicy = {3000, 1000};

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

// Waits until no change of the open file is under way, and keeps changes away until it is closed.
void lock_for_reading(int fd) {
    static bool bInVain = false; // a call reads dozens of values: it waits for such a holder once
    if (!lock_within(fd, LOCK_SH, bInVain ? 0 : gIniLockPolicy.iReadMsec) && errno == EWOULDBLOCK) {
        bInVain = true;
    }
}

// ---- what was read
// -------------------------------------------------------------------------------

using t_CLOCK = std::chrono::steady_clock;

struct s_KEPT {
    std::string path;
    struct stat status; // from before the file was read
    t_CLOCK::time_point read;
    unsigned iMoment; // when it was found unchanged
    t_INI_TEXT text;
};

// The moments so far; an odd number is of one that lasts.
unsigned iMoment = 0;

bool is_of_this_moment(const s_KEPT &file) {
    return iMoment % 2 != 0 && file.iMoment == iMoment;
}

constexpr std::size_t kKeptFiles = 8; // a call reads three or four
constexpr off_t kKeptSize = 65536;    // bytes of a file

std::vector<s_KEPT> &kept_files() {
    static std::vector<s_KEPT> theFiles;
    return theFiles;
}

bool is_same_time(const timespec &a, const timespec &b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

bool is_unchanged(const struct stat &a, const struct stat &b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
           is_same_time(a.st_ctim, b.st_ctim) && is_same_time(a.st_mtim, b.st_mtim);
}

// The text that was read of the file if it still is the file's.
t_INI_TEXT kept_text(const char *cpFile) {
    std::vector<s_KEPT> &files = kept_files();
    const auto file = std::find_if(files.begin(), files.end(),
                                   [cpFile](const s_KEPT &kept) { return kept.path == cpFile; });
    const auto trusted = std::chrono::milliseconds(gIniMemoryPolicy.iTrustMsec);
    if (file == files.end() || t_CLOCK::now() - file->read >= trusted) {
        return nullptr;
    }
    struct stat status = {};
    if (!is_of_this_moment(*file) &&
        (::stat(cpFile, &status) != 0 || !is_unchanged(file->status, status))) {
        return nullptr;
    }
    file->iMoment = iMoment;
    return file->text;
}

// Whether a change from now on gets another time than the one of this status. Not so within one
// step of the clock that gives the times, nor while that clock is ahead of ours.
bool has_rested(const struct stat &status) {
    timespec now = {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    const auto since = std::chrono::seconds(now.tv_sec - status.st_ctim.tv_sec) +
                       std::chrono::nanoseconds(now.tv_nsec - status.st_ctim.tv_nsec);
    return since > std::chrono::milliseconds(gIniMemoryPolicy.iRestedMsec);
}

// Reads all that the file has. True when that is as much as its status says.
bool read_whole(int fd, const struct stat &status, std::string *text) {
    const auto iSize = static_cast<std::size_t>(status.st_size);
    text->resize(iSize + 1); // one more shows whether there is more
    ssize_t got = 0;
    do {
        got = ::read(fd, text->data(), text->size());
    } while (got < 0 && errno == EINTR);
    text->resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    if (got >= 0 && text->size() != iSize) {
        read_to_end(fd, text);
    }
    return text->size() == iSize;
}

void keep(const char *cpFile, const struct stat &status, const t_INI_TEXT &text) {
    std::vector<s_KEPT> &files = kept_files();
    std::erase_if(files, [cpFile](const s_KEPT &file) { return file.path == cpFile; });
    if (files.size() == kKeptFiles) {
        files.erase(files.begin());
    }
    files.push_back({cpFile, status, t_CLOCK::now(), iMoment, text});
}

} // namespace

ini_moment::ini_moment() {
    ++iMoment;
}

ini_moment::~ini_moment() {
    ++iMoment;
}

line_reader ini_lines(const char *cpFile, t_INI_TEXT *text) {
    *text = kept_text(cpFile);
    if (*text) {
        return line_reader(std::string_view(**text));
    }
    struct stat status = {};
    unique_fd file = open_regular(cpFile, &status);
    if (file) {
        lock_for_reading(file.get());
    }
    if (!file || status.st_size > kKeptSize || !has_rested(status)) {
        return line_reader(std::move(file));
    }
    std::string read;
    const bool bWhole = read_whole(file.get(), status, &read);
    *text = std::make_shared<const std::string>(std::move(read));
    if (bWhole) {
        keep(cpFile, status, *text);
    }
    return line_reader(std::string_view(**text));
}

unique_fd open_ini_for_change(const char *cpFile) {
    unique_fd file = open_regular_for_change(cpFile);
    return file && lock_for_change(file.get(), gIniLockPolicy.iChangeMsec) ? std::move(file)
                                                                           : unique_fd();
}

bool lock_for_change(int fd, int iMsec) {
    return lock_within(fd, LOCK_EX, iMsec) || errno != EWOULDBLOCK;
}
