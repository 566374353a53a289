// From the command line and the configuration to the state of a call (options.h).
#pragma once

// Parses the command line, reads the installation's directories, the trace switch, the transfer
// port and the backup server. Returns only when everything that any function needs is there: every
// failure ends the process, in the help text or in a result record with status 1. *pArgv, the
// argument vector, is advanced past the options.
void ARGUMENTS(int argc, char ***pArgv);
