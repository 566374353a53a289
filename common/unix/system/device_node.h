// The node of a device under the name by which the system's list of mounts has it.
#pragma once

#include "common/unix/system/system.h"

#include <string>

struct s_DEVICE_QUERY {
    e_SYSTEM eSystem;
    const char *cpProgram; // describes a device; null where a node has no other names than links
    const char *cpCommand; // the command line, behind which the device is named
};

inline constexpr s_DEVICE_QUERY kDeviceQueries[kSystems] = {
    {SYSTEM_LINUX, "udevadm", "udevadm info --query=all --name "},
    {SYSTEM_OPENBSD, nullptr, nullptr},
    {SYSTEM_FREEBSD, nullptr, nullptr},
    {SYSTEM_NETBSD, nullptr, nullptr},
    {SYSTEM_OTHER, nullptr, nullptr},
};
static_assert(has_every_system(kDeviceQueries));

// The system of this host; a test sets another.
extern e_SYSTEM geDeviceSystem;

// Finds the node of a device of this host without asking a program: a name without a directory is
// one of /dev, and links are followed; a disk's label or its number is no name here. False with
// errno when there is none, ENODEV for another file.
bool find_device_node(const char *cpName, std::string *node);
