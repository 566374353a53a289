// The call's own parameters, for the trace.
#pragma once

// The call's arguments, each in double quotes and followed by a blank, in a static buffer of 2048
// bytes that the next call overwrites. Arguments that do not fit are left out.
char *GET_CALL_PARAM(int argc, char **argv);
