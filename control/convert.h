// The command in the control daemon's form.
#pragma once

#include "common/unix/trace/trace.h"

// Converts a command line into the daemon's form: the arguments without their quotes, separated by
// one double quote each. cpResult has iSize bytes. False when it does not fit: it is cut then and
// must not be run.
bool vConvertCommand(const char *cpCommand, char *cpResult, int iSize, str_log *strLog);
