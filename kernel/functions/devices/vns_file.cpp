// The files of the media server's configuration, see vns_file.h.
#include "kernel/functions/devices/vns_file.h"

#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/files/append.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/files/regular_file.h"
#include "common/unix/host/alarm.h"
#include "common/unix/trace/trace.h"
#include "kernel/request/options.h"

#include <cerrno>
#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// False with errno.
bool keep_mode(const char *cpOld, int fd) {
    struct stat status = {};
    if (::stat(cpOld, &status) != 0) {
        return false;
    }
    [[maybe_unused]] const int iOwner = ::fchown(fd, status.st_uid, status.st_gid);
    return ::fchmod(fd, status.st_mode & 07777) == 0;
}

} // namespace

s_VNS_FILES vns_files() {
    const std::string directory = gszRwIni;
    return {directory + "vns.ini", directory + "vns.tmp"};
}

bool read_vns_ini(const s_VNS_FILES &files, std::string *text, char *cpMsg) {
    const bool bRead = read_regular(files.ini.c_str(), text);
    if (!bRead) { // half a file must not become the new one
        text_print(cpMsg, kMessageSize, "Cannot open file %s to read", files.ini.c_str());
    }
    return bRead;
}

bool open_vns_tmp(const s_VNS_FILES &files, unique_fd *file, char *cpMsg) {
    *file = create_regular(files.tmp.c_str());
    if (!*file) {
        text_print(cpMsg, kMessageSize, "Cannot open file %s to write", files.tmp.c_str());
    }
    return static_cast<bool>(*file);
}

bool write_vns_tmp(const s_VNS_FILES &files, unique_fd *file, std::string_view text, char *cpMsg) {
    if (write_all(file->get(), text) && keep_mode(files.ini.c_str(), file->get()) &&
        ::fsync(file->get()) == 0 && file->reset() == 0) {
        return true;
    }
    const int iErrno = errno;
    i_FILE_CLOSE(iErrno);
    text_print(cpMsg, kMessageSize, "Cannot write file %s: %s", files.tmp.c_str(),
               error_text(iErrno).c_str());
    return false;
}

bool replace_vns_ini(const s_VNS_FILES &files, char *cpMsg) {
    trace_log(&strLog, TRACE_EVENTS, "update file  %s  ->  %s ", files.tmp.c_str(),
              files.ini.c_str());
    const bool bReplaced = std::rename(files.tmp.c_str(), files.ini.c_str()) == 0;
    if (!bReplaced) {
        text_print(cpMsg, kMessageSize, "Error during copy %s to %s (%d)", files.tmp.c_str(),
                   files.ini.c_str(), errno);
    }
    return bReplaced;
}
