// The functions G, R and W on the variable store. Each ends the process.
#pragma once

#include "kernel/request/call.h"

// The value, or the store's reply, is the message; the status is always 0: the caller tests the
// message.
[[noreturn]] void v_READ_GLBV(s_CALL *call);
[[noreturn]] void v_READ_AND_DELETE_GLBV(s_CALL *call);

// The written string, or the store's reply to a failure, is the message; the status is always 0.
[[noreturn]] void v_WRITE_GLBV(s_CALL *call);
