// The services of the operating system that every unit uses: the variable store, the user, the
// parent process, pauses, other programs.
#pragma once

#include "common/unix/cm_glbv.h"
#include "common/unix/cm_parent.h"
#include "common/unix/cm_process.h"
#include "common/unix/cm_run.h"
