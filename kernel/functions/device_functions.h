// The functions t and p on drives and media servers. Each ends the process.
#pragma once

#include "kernel/request/call.h"

// Function t: the state of a tape drive ("-t TAPE_DRIVE"), of a fixed disk device ("-t DISK_HARD")
// or of the changeable disk whose path -t is; with the load command -n such a disk is mounted
// first. The message is the state; status 2 when the device is not ready.
[[noreturn]] void TAPE_STATUS_CLIENT();

// Function p, when the media server's number may stand behind the device: "-d device:number".
[[noreturn]] void v_PERFORMANCE(s_CALL *call);

// Samples the figures of media server -s for device -d as often, and with pauses of as many
// seconds, as -t "<count>:<seconds>" says, and passes changed ones on. Status 1 when there are
// none.
[[noreturn]] void READ_PERFORMANCE_DATA();

// Function r: hands the call to the platform's event log; Unix has none, the answer is 0.
[[noreturn]] void v_READ_EVENT_LOG(s_CALL *call);
