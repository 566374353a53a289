// The allow list of function x.
#pragma once

#include "kernel/check/report.h"

// Says of each line what it permits beside what it seems to, or that it permits nothing.
void CHECK_ALLOW_LIST(s_CHECK *check);
