// From the function letter to its handler.
#pragma once

#include "kernel/request/call.h"

// Checks the options that the function of the call requires and carries it out. Ends the process.
[[noreturn]] void DISPATCH(s_CALL *call);
