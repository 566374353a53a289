// Functions that need no more than one service. Each ends the process.
#pragma once

#include "kernel/vn_dispatch.h"

// Function e: 0 and "<file> exists", or 1 and "<file> doesn't exist".
[[noreturn]] void v_EXIST_FILE(s_CALL *call);

// Function r: hands the call to the platform's event log; Unix has none, the answer is 0.
[[noreturn]] void v_READ_EVENT_LOG(s_CALL *call);
