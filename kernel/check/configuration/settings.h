// Ports, server and language.
#pragma once

#include "kernel/check/report.h"

// Looks at the ports of the daemons and of the database, the backup server and the language;
// fills the check's INI file of the transfer daemon.
void CHECK_SETTINGS(s_CHECK *check);
