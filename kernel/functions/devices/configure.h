// Function c: the media server's device configuration.
#pragma once

#include "kernel/request/call.h"

// Ends the process with the result of i_CONFIGURE_VNS_INI on -d.
[[noreturn]] void v_CONFIGURE(s_CALL *call);

// Rewrites the device, disk and tape sections of vns.ini from the drive descriptions that the
// server has left in the variables gv_client_c_<n>, writes the disk device files and reloads the
// media server. cpDrives is the number of drives, 0 to 200. Returns 0, also when the media server
// does not come up, or 1 with vns.ini as it was; cpMsg (256 bytes) tells.
int i_CONFIGURE_VNS_INI(const char *cpDrives, char *cpMsg);
