// What is traced, and what that costs.
#pragma once

#include "kernel/check/report.h"

// Looks at the levels in debug.ini and at the variable gv_client_trace.
void CHECK_LEVELS(s_CHECK *check);
