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

// The lines of all mounts, by what the system knows without asking a file server. None where there
// is no such call, or no memory.
std::vector<std::string> mount_lines();
