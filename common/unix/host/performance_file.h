// The figures that a media server leaves for the backup server.
#pragma once

#include "common/unix/trace/trace.h"

// Fills cpReturn (10240 bytes) with the figures that media server cpVnsNr has written for the
// device. Returns 1; 0 with cpReturn untouched when there are none.
int READ_PERFORMANCE_FILE(const char *cpDevice, const char *cpVnsNr, char *cpReturn,
                          str_log strLog);
