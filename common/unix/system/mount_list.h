// The mounted file systems, in the form of Linux's table: a line "DEVICE POINT TYPE OPTIONS 0 0"
// for each, with blanks and the like in names as octal escapes.
#pragma once

#include "common/unix/system/system.h"

#include <string>
#include <vector>

// The table's file; null on systems that tell their mounts by a call.
constexpr const char *mount_table(e_SYSTEM eSystem = kThisSystem) {
    return eSystem == SYSTEM_LINUX || eSystem == SYSTEM_OTHER ? "/proc/mounts" : nullptr;
}

// A mount as a system's call tells it.
struct s_MOUNT {
    std::string device;
    std::string point;
    std::string type;
    unsigned long long lFlags;
};

// The line of a mount of that system.
std::string mount_line(const s_MOUNT &mount, e_SYSTEM eSystem = kThisSystem);

// Appends the lines of all mounts, as the system knows them without asking a file server; none
// where it has a table. 0, or the error number when the system does not tell.
int list_mounts(std::vector<std::string> *lines);
