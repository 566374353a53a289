// Function u: one operation on a file, chosen by the mode letter.
#pragma once

#include "kernel/request/call.h"

// Carries out the operation of -m on the file of -n and ends the process.
[[noreturn]] void USEFILE(s_CALL *call);
