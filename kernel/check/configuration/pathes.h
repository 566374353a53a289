// The directories of section "[Pathes]".
#pragma once

#include "kernel/check/report.h"

// Looks at each key and its directory, and at those that must be in the work directory; fills the
// check's paths.
void CHECK_PATHES(s_CHECK *check);

// Finds out who owns the installation, and says for whom the check is made.
void CHECK_OWNER(s_CHECK *check);
