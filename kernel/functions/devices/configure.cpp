// The media server's device configuration, see configure.h.
#include "kernel/functions/devices/configure.h"

#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/files/file_find.h"
#include "common/unix/processes/semaphore.h"
#include "common/unix/trace/trace.h"
#include "kernel/functions/devices/disk_file.h"
#include "kernel/functions/devices/drive.h"
#include "kernel/functions/devices/vns_file.h"
#include "kernel/functions/devices/vns_sections.h"
#include "kernel/request/call.h"
#include "kernel/request/finish.h"
#include "kernel/request/options.h"
#include "kernel/unix_hal/media_server.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fnmatch.h>
#include <set>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

constexpr long kMostDrives = 200;

int warn(char *cpMsg) {
    trace_log(&strLog, TRACE_EVENTS, "--- CONFIGURE_VNS_INI   %s ", cpMsg);
    return 1;
}

// Reads the descriptions. False with the message.
bool read_drives(int iDrives, std::vector<s_DRIVE> *drives, char *cpMsg) {
    trace_log(&strLog, TRACE_EVENTS, "Device section");
    for (int i = 0; i < iDrives; ++i) {
        s_DRIVE drive = {};
        if (!read_drive(i, &drive, cpMsg)) {
            return false;
        }
        drives->push_back(drive);
    }
    return true;
}

bool disk_file_failure(const char *cpAction, const std::string &name, char *cpMsg) {
    text_print(cpMsg, kMessageSize, "Cannot %s file %s%s: %s", cpAction, gszRwIni, name.c_str(),
               error_text(errno).c_str());
    return false;
}

std::string disk_name(const s_DRIVE &drive) {
    return "disk" + drive.number;
}

// Writes the new disk device files beside their places, one for each name. False with the message.
bool prepare_disk_files(const std::vector<s_DRIVE> &drives, std::set<std::string> *names,
                        char *cpMsg) {
    for (const s_DRIVE &drive : drives) {
        const std::string name = disk_name(drive);
        if (!is_disk(drive) || !names->insert(name).second) {
            continue;
        }
        if (!prepare_disk_device_file(name.c_str(), drive.content.c_str(), gszRwIni, "0")) {
            disk_file_failure("write", name, cpMsg);
            for (const std::string &written : *names) {
                drop_disk_device_file(written.c_str(), gszRwIni);
            }
            return false;
        }
    }
    return true;
}

// Removes once more what is left of the disk device files; a directory of such a name may stay.
// False with the message.
bool check_deleted(char *cpMsg) {
    const unique_directory directory(::opendir(gszRwIni));
    errno = directory ? 0 : errno;
    while (const dirent *entry = directory ? ::readdir(directory.get()) : nullptr) {
        const std::string path = std::string(gszRwIni) + entry->d_name;
        struct stat status = {};
        const bool bDisk = ::fnmatch("disk*", entry->d_name, 0) == 0;
        if (bDisk && ::lstat(path.c_str(), &status) == 0 && !S_ISDIR(status.st_mode) &&
            std::remove(path.c_str()) != 0) {
            return disk_file_failure("delete", entry->d_name, cpMsg);
        }
        errno = 0;
    }
    return errno == 0 || disk_file_failure("delete", "disk*", cpMsg);
}

// Replaces the disk device files: the old ones are deleted when the new ones are written and only
// have to take their places. False with the message.
bool replace_disk_files(const std::vector<s_DRIVE> &drives, char *cpMsg) {
    std::set<std::string> prepared;
    if (!prepare_disk_files(drives, &prepared, cpMsg)) {
        return false;
    }
    i_FILE_DELETE((std::string(gszRwIni) + "disk*").c_str(), strLog);
    bool bDone = check_deleted(cpMsg);
    for (const s_DRIVE &drive : drives) {
        const std::string name = disk_name(drive);
        if (!is_disk(drive)) {
            continue;
        }
        const int iMade =
            prepared.erase(name) != 0
                ? place_disk_device_file(name.c_str(), drive.content.c_str(), gszRwIni, "0")
                : CREATE_DISK_DEVICE_FILE(name.c_str(), drive.content.c_str(), gszRwIni, "0");
        if (iMade != 1 && bDone) {
            bDone = disk_file_failure("write", name, cpMsg);
        }
    }
    return bDone;
}

// The rewrite, under the lock. All that can be checked is checked, and the new file written, before
// anything that is in use is touched. False with the message.
bool rewrite(int iDrives, char *cpMsg) {
    const s_VNS_FILES files = vns_files();
    std::string text;
    if (!read_vns_ini(files, &text, cpMsg)) {
        return false;
    }
    s_OLD_SECTIONS old = {};
    if (!find_tape_section(text, &old)) {
        text_print(cpMsg, kMessageSize, "no tape section in %s", files.ini.c_str());
        return false;
    }
    unique_fd file;
    std::vector<s_DRIVE> drives;
    return open_vns_tmp(files, &file, cpMsg) && read_drives(iDrives, &drives, cpMsg) &&
           write_vns_tmp(files, &file, new_sections(old, drives), cpMsg) &&
           replace_disk_files(drives, cpMsg) && replace_vns_ini(files, cpMsg);
}

// Has the media server take up the new file. The message tells, too, when it does not.
void restart(int iDrives, char *cpMsg) {
    trace_log(&strLog, TRACE_EVENTS, "restart VNS");
    text_print(cpMsg, kMessageSize, "Configured %d VNS-drives", iDrives);
    if (i_CHECK_VNS(2, strLog) != 1) {
        text_append(cpMsg, kMessageSize, ", restart of data-server failed - VNS not available");
        trace_log(&strLog, TRACE_EVENTS, "%s", cpMsg);
    }
}

} // namespace

void v_CONFIGURE(s_CALL *) {
    char szMsg[kMessageSize] = "";
    const int iSts = i_CONFIGURE_VNS_INI(gszOpt_d, szMsg);
    FINISH(iSts, szMsg);
}

int i_CONFIGURE_VNS_INI(const char *cpDrives, char *cpMsg) {
    trace_log(&strLog, TRACE_EVENTS, "+++ CONFIGURE_VNS_INI   %s ", cpDrives);
    const long lDrives = std::strtol(cpDrives, nullptr, 10);
    if (lDrives == 0) {
        text_copy(cpMsg, kMessageSize, "there no drives to configure");
        trace_log(&strLog, TRACE_EVENTS, "--- CONFIGURE_VNS_INI  ");
        return 0;
    }
    if (lDrives < 0 || lDrives > kMostDrives) {
        text_print(cpMsg, kMessageSize, "invalid number of drives: %s", cpDrives);
        return warn(cpMsg);
    }
    SCT_SEMA lock = {}; // a failure leaves it to the end of the process
    text_copy(lock.szSema, "ctrl_conf_vns");
    text_copy(lock.szCaller, "CONFIGURE_VNS_INI");
    if (i_SEMA('+', &lock, strLog) != SEMA_SUCCESS) {
        text_copy(cpMsg, kMessageSize, lock.szMsg);
        return warn(cpMsg);
    }
    const int iDrives = static_cast<int>(lDrives);
    if (!rewrite(iDrives, cpMsg)) {
        return warn(cpMsg);
    }
    restart(iDrives, cpMsg);
    trace_log(&strLog, TRACE_EVENTS, "--- CONFIGURE_VNS_INI  ");
    i_SEMA('-', &lock, strLog);
    return 0;
}
