// New content for a file, see replacement.h.
#include "kernel/functions/replacement.h"

#include <cerrno>
#include <cstdio>
#include <sys/stat.h>

replacement::~replacement() {
    if (!beside_.empty()) {
        ::unlink(beside_.c_str());
    }
}

unique_fd replacement::open(const char *cpFile, int iOld) {
    struct stat old = {};
    struct stat named = {};
    if (::fstat(iOld, &old) != 0 || !S_ISREG(old.st_mode) || old.st_size == 0 ||
        old.st_nlink != 1 || ::lstat(cpFile, &named) != 0 || S_ISLNK(named.st_mode)) {
        return unique_fd();
    }
    const std::string beside = std::string(cpFile) + ".new" + std::to_string(::getpid());
    unique_fd file(::open(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file) {
        return unique_fd();
    }
    file_ = cpFile;
    beside_ = beside;
    if (::fchown(file.get(), old.st_uid, old.st_gid) != 0 ||
        ::fchmod(file.get(), old.st_mode & 07777) != 0) {
        ::unlink(beside_.c_str());
        beside_.clear();
        return unique_fd();
    }
    return file;
}

int replacement::finish() {
    if (beside_.empty() || std::rename(beside_.c_str(), file_.c_str()) == 0) {
        beside_.clear();
        return 0;
    }
    return errno;
}
