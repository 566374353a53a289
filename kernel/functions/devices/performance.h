// What the backup server collects from this host: a media server's figures, the event log. Each
// function ends the process.
#pragma once

#include "kernel/request/call.h"

// Function p, when the media server's number may stand behind the device: "-d device:number".
[[noreturn]] void v_PERFORMANCE(s_CALL *call);

// Samples the figures of media server -s for device -d as often, and with pauses of as many
// seconds, as -t "<count>:<seconds>" says, and passes changed ones on. Status 1 when there are
// none, and for a count below 1.
[[noreturn]] void READ_PERFORMANCE_DATA();

// Function r: hands the call to the platform's event log; Unix has none, the answer is 0.
[[noreturn]] void v_READ_EVENT_LOG(s_CALL *call);
