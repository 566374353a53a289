// Where a disk device that serves as backup medium is mounted.
#pragma once

#include "common/unix/trace/trace.h"

// Finds the real node of the device cpDevicePath on the client and whether it is mounted on the
// mount point. cpPath is the configured mount path ("" or "NULL" for none): one that is relative
// lies under the work directory and is made there. cpRealPath (512 bytes) gets the node, cpMount
// (512 bytes) the mount point; without a cpPath it holds that on entry. Returns 1 when it is
// mounted there, 0 when not, -1 when there is no such device; another value below 0 when the client
// could not be asked.
int i_CHECK_MOUNT(const char *cpClient, const char *cpClientPlatform, const char *cpPath,
                  const char *cpDevicePath, char *cpRealPath, char *cpMount, str_log strLog);

// Finds the real node of a device on the client, and its file system's UUID (256 bytes), which is
// left alone if it has none. Returns 1 with the node in cpRealPath (512 bytes), else 0.
int i_get_deviceinfo(const char *cpClient, const char *cpDevPath, char *cpRealPath, char *cpUUID,
                     str_log strLog);
