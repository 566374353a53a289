// The functions k, m and x on savesets and commands.
#pragma once

#include "kernel/request/call.h"

// Function k: stops the processes of saveset -s; the result of i_KILL_VBC is the status.
[[noreturn]] void v_KILL(s_CALL *call);

// Function m, of saveset -s.
[[noreturn]] void v_MOVE(s_CALL *call);

// Places the MTF header and trailer of a saveset where a selective restore expects
// them. Returns 0 or 1; cpMsg (256 bytes) tells.
int i_COPY_MTF_HDR_TRL(const char *saveset, char *cpMsg);

// Function x: runs the command -s, or the arguments behind the options, as user -u if that is
// allowed; the user "vbccopy" stands for a saveset copy. Ends the process.
[[noreturn]] void EXECUTE_COMMAND(s_CALL *call);
