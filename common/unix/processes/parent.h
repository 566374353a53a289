// Describing the parent process for the trace.
#pragma once

// Fills cpInfo (iLen bytes) with the command line of the parent process and "(PPID=n)". Returns 1;
// 0 with an empty text and a protocol event when the process list cannot be asked.
int get_parent_info(char *cpInfo, int iLen);
