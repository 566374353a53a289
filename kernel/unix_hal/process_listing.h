// How an operating system lists its processes.
#pragma once

#include "common/unix/trace/trace.h"

struct s_LISTING {
    char szCommand[256] = "";
    char szPid[16] = ""; // column of the process id
    char szParent[16] = "";
};

// Fills *listing with what the catalogue has for this host, or with this system's own when the
// catalogue does not know which one the host has. False when that does not fit.
bool host_listing(s_LISTING *listing, str_log *strLog);

// Reads how the operating system cpDerivat lists its processes from the catalogue: the command (256
// bytes) and the columns of the process and its parent (16 bytes each). When the catalogue does not
// know, standard error and an event say so and the process ends with exit status 0. A text that
// does not fit leaves all three empty.
void v_GET_PS_POSITION(const char *cpDerivat, char *cpPsCmd, char *cpPosPid, char *cpPosPPid,
                       str_log strLog);
