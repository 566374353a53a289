// The media server's device configuration, see configure.h.
#include "kernel/functions/devices/configure.h"

#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/listing/wildcard.h"
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

// The names of the disk device files that are there and not of these. False with errno.
bool find_other_disk_files(const std::set<std::string> &names, std::vector<std::string> *others) {
    vn_dirent entry;
    const std::string pattern = std::string(gszRwIni) + "disk*";
    int iFound = i_GET_DIR(pattern.c_str(), &entry, strLog);
    for (; iFound == 1; iFound = i_GET_DIR("", &entry, strLog)) {
        if (names.count(entry.d_name) == 0) {
            others->push_back(entry.d_name);
        }
    }
    return errno == 0;
}

// Deletes the disk device files that are not of these; a directory of such a name may stay. False
// with the message.
bool delete_other_disk_files(const std::set<std::string> &names, char *cpMsg) {
    std::vector<std::string> others;
    if (!find_other_disk_files(names, &others)) {
        return disk_file_failure("delete", "disk*", cpMsg);
    }
    for (const std::string &name : others) {
        const std::string path = gszRwIni + name;
        struct stat status = {};
        trace_log(&strLog, TRACE_DETAILS, "remove %s", path.c_str());
        const bool bDirectory = ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
        if (std::remove(path.c_str()) != 0 && !bDirectory) {
            return disk_file_failure("delete", name, cpMsg);
        }
    }
    return true;
}

// Replaces the disk device files, one by one: each is at every moment the old or the new one. False
// with the message.
bool replace_disk_files(const std::vector<s_DRIVE> &drives, char *cpMsg) {
    std::set<std::string> names;
    for (const s_DRIVE &drive : drives) {
        const std::string name = "disk" + drive.number;
        if (!is_disk(drive)) {
            continue;
        }
        // What this call has made counts, what an earlier one has left does not.
        const auto make =
            names.count(name) == 0 ? replace_disk_device_file : CREATE_DISK_DEVICE_FILE;
        if (make(name.c_str(), drive.content.c_str(), gszRwIni, "0") != 1) {
            return disk_file_failure("write", name, cpMsg);
        }
        names.insert(name);
    }
    return delete_other_disk_files(names, cpMsg);
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
