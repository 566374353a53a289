// The files of the media server's configuration, see vns_file.h.
#include "kernel/functions/devices/vns_file.h"

#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/files/file.h"
#include "common/unix/host/alarm.h"
#include "common/unix/trace/trace.h"
#include "kernel/request/options.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

void sync_file(const char *cpFile) {
    const unique_fd file(::open(cpFile, O_RDONLY | O_NOCTTY | O_CLOEXEC));
    if (file) {
        ::fsync(file.get());
    }
}

void keep_owner(const char *cpOld, const char *cpNew) {
    struct stat status = {};
    if (::stat(cpOld, &status) == 0) {
        [[maybe_unused]] const int iOwner = ::chown(cpNew, status.st_uid, status.st_gid);
        ::chmod(cpNew, status.st_mode & 07777);
    }
}

} // namespace

s_VNS_FILES vns_files() {
    const std::string directory = gszRwIni;
    return {directory + "vns.ini", directory + "vns.tmp"};
}

bool read_vns_ini(const s_VNS_FILES &files, std::string *text, char *cpMsg) {
    const unique_file file(std::fopen(files.ini.c_str(), "re"));
    char block[65536];
    for (std::size_t got = 0; file && (got = std::fread(block, 1, sizeof block, file.get())) > 0;) {
        text->append(block, got);
    }
    if (!file || std::ferror(file.get()) != 0) { // half a file must not become the new one
        text_print(cpMsg, kMessageSize, "Cannot open file %s to read", files.ini.c_str());
        return false;
    }
    return true;
}

bool open_vns_tmp(const s_VNS_FILES &files, unique_file *file, char *cpMsg) {
    file->reset(std::fopen(files.tmp.c_str(), "we"));
    if (!*file) {
        text_print(cpMsg, kMessageSize, "Cannot open file %s to write", files.tmp.c_str());
    }
    return static_cast<bool>(*file);
}

bool write_vns_tmp(const s_VNS_FILES &files, unique_file *file, std::string_view text,
                   char *cpMsg) {
    const bool bWritten = std::fwrite(text.data(), 1, text.size(), file->get()) == text.size() &&
                          std::fflush(file->get()) == 0;
    int iErrno = bWritten ? 0 : errno;
    if (std::fclose(file->release()) != 0 && iErrno == 0) {
        iErrno = errno;
    }
    if (iErrno == 0) {
        return true;
    }
    errno = iErrno;
    i_FILE_CLOSE(iErrno);
    text_print(cpMsg, kMessageSize, "Cannot write file %s: %s", files.tmp.c_str(),
               error_text(iErrno).c_str());
    return false;
}

bool replace_vns_ini(const s_VNS_FILES &files, char *cpMsg) {
    trace_log(&strLog, TRACE_EVENTS, "update file  %s  ->  %s ", files.tmp.c_str(),
              files.ini.c_str());
    const std::string fresh = files.ini + ".new";
    int iResult = file_copy(files.tmp.c_str(), fresh.c_str());
    keep_owner(files.ini.c_str(), fresh.c_str());
    sync_file(fresh.c_str()); // the name must not reach the disk before the content
    if (iResult == 0 && std::rename(fresh.c_str(), files.ini.c_str()) != 0) {
        iResult = errno;
    }
    if (iResult != 0) {
        std::remove(fresh.c_str());
        text_print(cpMsg, kMessageSize, "Error during copy %s to %s (%d)", files.tmp.c_str(),
                   files.ini.c_str(), iResult);
        return false;
    }
    std::remove(files.tmp.c_str());
    return true;
}
