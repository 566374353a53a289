// The services of the operating system that every unit uses: the variable store, the user, the
// parent process, pauses.
#pragma once

#include "common/unix/cm_glbv.h"
#include "common/unix/cm_parent.h"
#include "common/unix/cm_process.h"
