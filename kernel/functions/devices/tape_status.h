// Function t: the state of drives and disks.
#pragma once

#include "kernel/request/call.h"

// The state of a tape drive ("-t TAPE_DRIVE"), of a fixed disk device ("-t DISK_HARD") or of the
// changeable disk whose path -t is; with the load command -n such a disk is mounted first. Ends the
// process: the message is the state; status 2 when the device is not ready.
[[noreturn]] void TAPE_STATUS_CLIENT(s_CALL *call);
