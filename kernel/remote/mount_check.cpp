// The mount check of disk devices, see mount_check.h.
#include "kernel/remote/mount_check.h"

#include "common/common/LL.h"
#include "common/common/shell_quote.h"
#include "common/common/strlib.h"
#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/configuration/directories.h"
#include "common/unix/files/directory.h"
#include "common/unix/system/device_node.h"
#include "common/unix/trace/trace.h"
#include "kernel/remote/call/rcmd.h"
#include "kernel/remote/dispatcher.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace {

constexpr int kPathSize = 512;
constexpr int kUuidSize = 256;
constexpr int kSearchSize = 512;

// A name as a regular expression that matches it. Ordinary names stay as they are.
std::string pattern_of(std::string_view name) {
    constexpr std::string_view kSpecial = "\\$.|()[]{}*+?";
    std::string pattern;
    for (const char letter : name) {
        if (letter == '^') {
            pattern += "\\x5e"; // at the end of a search a "^" asks for the line
            continue;
        }
        if (kSpecial.find(letter) != std::string_view::npos) {
            pattern += '\\';
        }
        pattern += letter;
    }
    return pattern;
}

// The mount point below the work directory, which is created. False when it does not fit or cannot
// be made.
bool place_in_work(const char *cpPath, char *cpMount, str_log *strLog) {
    trace_log(strLog, TRACE_EVENTS, "use mount point in WORK dir");
    const std::string mount = disk_mount_point(cpPath);
    if (mount.empty()) {
        trace_log(strLog, TRACE_EVENTS, "mount point does not fit: %s", cpPath);
        return false;
    }
    text_copy(cpMount, kPathSize, mount);
    char szMsg[256];
    i_CREATE_DIR_LOCAL(cpMount, szMsg, *strLog); // a load command may make its own
    return true;
}

// Reads one line of the device's description. True when it names the node.
bool read_device_line(const char *cpLine, char *cpRealPath, char *cpUUID, str_log *strLog) {
    constexpr std::string_view kNode = "N: ";
    constexpr std::string_view kUuid = "E: ID_FS_UUID=";
    const std::string_view line = cpLine;
    trace_log(strLog, TRACE_DETAILS, "read line: %s", cpLine);
    if (line.starts_with(kUuid)) {
        text_copy(cpUUID, kUuidSize, line.substr(kUuid.size()));
    }
    if (!line.starts_with(kNode)) {
        return false;
    }
    text_copy(cpRealPath, kPathSize, "/dev/" + std::string(line.substr(kNode.size())));
    trace_log(strLog, TRACE_DETAILS, "Real device name: [%s]", cpRealPath);
    return true;
}

// The regular expression that finds the mount in the client's list, false when it does not fit.
// Node and mount point stand alone there: /dev/sda1 is not found in the line of /dev/sda10.
bool search_of(const char *cpPlatform, const char *cpPath, const char *cpRealPath,
               const char *cpMount, char (&szSearch)[kSearchSize]) {
    if (std::strcmp(cpPlatform, "UNIX") == 0) {
        std::string_view mount = cpMount;
        while (mount.size() > 1 && mount.ends_with('/')) {
            mount.remove_suffix(1); // the list has none
        }
        return text_print(szSearch, "(^|\\s)%s(\\s.*)?\\s%s(\\s|$)^",
                          pattern_of(cpRealPath).c_str(), pattern_of(mount).c_str());
    }
    std::string path = cpPath;
    szPath2Dos(path.data());
    if (!path.empty()) {
        path[0] = text_upper(path[0]);
    }
    return text_copy(szSearch, pattern_of(path));
}

// Searches the client's list of mounts. A list without a line counts as found to the search, but
// tells of no mount: then the line that the search asks for has not come.
int search_mount(const char *cpClient, char (&szSearch)[kSearchSize], str_log *strLog) {
    trace_log(strLog, TRACE_EVENTS, "Search [%s]", szSearch);
    const std::string search = szSearch;
    char szMsg[kMessageSize] = "";
    const int iResult = i_RCMD_SEARCH(cpClient, "vn_client dir mount", szSearch, szMsg, *strLog);
    return iResult == 1 && search.ends_with('^') && search == szSearch ? 0 : iResult;
}

// Finds the node of a device of this host, whose system has no other names for it. Returns as
// i_get_deviceinfo.
int find_own_device(const char *cpDevPath, char *cpRealPath, str_log *strLog) {
    std::string node;
    trace_log(strLog, TRACE_EVENTS, "i_get_deviceinfo: %s", cpDevPath);
    if (!find_device_node(cpDevPath, &node) || node.size() >= kPathSize) {
        const std::string reason = error_text(node.empty() ? errno : ENAMETOOLONG);
        trace_log(strLog, TRACE_EVENTS, "i_get_deviceinfo: no node of [%s]: %s", cpDevPath,
                  reason.c_str());
        return 0;
    }
    text_copy(cpRealPath, kPathSize, node);
    trace_log(strLog, TRACE_EVENTS, "i_get_deviceinfo: Ret: %d Real device: %s", 1, cpRealPath);
    return 1;
}

// Whether a client other than this host has no such program, of which its shell tells by the exit
// state: a node has only its own name there.
bool has_no_query(const RCMD &request, int iExit) {
    constexpr int kNotFound = 127;
    return iExit == kNotFound && std::strcmp(request.szClient, "LOCAL") != 0;
}

// Asks the client's system for the node. Returns as i_get_deviceinfo.
int ask_for_device(RCMD *request, const char *cpDevPath, char *cpRealPath, char *cpUUID,
                   str_log *strLog) {
    const int iExit = i_RCMD(request, *strLog);
    if (iExit < 0) {
        trace_log(strLog, TRACE_EVENTS, "i_get_deviceinfo: Command [%s] failed: %s", request->szCmd,
                  request->szMsg);
        return 0;
    }
    int iResult = 0;
    void *line = FirstElmLL(request->LL_Stdout);
    for (; IsElmLL(line) != 0; line = NextElmLL(line)) {
        if (read_device_line(static_cast<const char *>(line), cpRealPath, cpUUID, strLog)) {
            iResult = 1;
        }
    }
    if (iResult == 0 && has_no_query(*request, iExit) && std::strlen(cpDevPath) < kPathSize) {
        text_copy(cpRealPath, kPathSize, cpDevPath);
        iResult = 1;
    }
    trace_log(strLog, TRACE_EVENTS, "i_get_deviceinfo: Ret: %d Real device: %s UUID: %s", iResult,
              cpRealPath, cpUUID);
    return iResult;
}

} // namespace

int i_get_deviceinfo(const char *cpClient, const char *cpDevPath, char *cpRealPath, char *cpUUID,
                     str_log strLog) {
    const bool bOwn = std::strcmp(cpClient, "LOCAL") == 0;
    const char *cpCommand = kDeviceQueries[bOwn ? geDeviceSystem : SYSTEM_LINUX].cpCommand;
    if (cpCommand == nullptr) {
        return find_own_device(cpDevPath, cpRealPath, &strLog);
    }
    const std::string command = cpCommand + shell_file(cpDevPath, QUOTES_NONE);
    trace_log(&strLog, TRACE_EVENTS, "i_get_deviceinfo: %s", command.c_str());
    const auto request = std::make_unique<RCMD>();
    text_copy(request->szClient, cpClient);
    text_copy(request->szCmd, command);
    request->LL_Stdout = ConsLL();
    const int iResult = ask_for_device(request.get(), cpDevPath, cpRealPath, cpUUID, &strLog);
    DestLL(request->LL_Stdout);
    return iResult;
}

int i_CHECK_MOUNT(const char *cpClient, const char *cpClientPlatform, const char *cpPath,
                  const char *cpDevicePath, char *cpRealPath, char *cpMount, str_log strLog) {
    trace_log(&strLog, TRACE_EVENTS, "+++ i_CHECK_MOUNT");
    if (cpPath[0] != '\0' && std::strcmp(cpPath, "NULL") != 0) {
        text_copy(cpMount, kPathSize, cpPath);
        if (is_relative_path(cpPath) && !place_in_work(cpPath, cpMount, &strLog)) {
            trace_log(&strLog, TRACE_EVENTS, "--- i_CHECK_MOUNT returns %d", -1);
            return -1;
        }
    }
    szPath2Unix(cpMount);
    trace_log(&strLog, TRACE_EVENTS, "Mount: %s", cpMount);
    char szUUID[kUuidSize] = "";
    int iResult = -1;
    if (i_get_deviceinfo(cpClient, cpDevicePath, cpRealPath, szUUID, strLog) == 0) {
        trace_log(&strLog, TRACE_EVENTS, "Could not find real device path: %s", cpDevicePath);
    } else {
        trace_log(&strLog, TRACE_EVENTS, "Check for platform [%s]", cpClientPlatform);
        char szSearch[kSearchSize];
        if (search_of(cpClientPlatform, cpPath, cpRealPath, cpMount, szSearch)) {
            iResult = search_mount(cpClient, szSearch, &strLog);
        } else {
            trace_log(&strLog, TRACE_EVENTS, "mount point does not fit: %s", cpMount);
        }
    }
    trace_log(&strLog, TRACE_EVENTS, "--- i_CHECK_MOUNT returns %d", iResult);
    return iResult;
}
