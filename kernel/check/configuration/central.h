// The central file and the main INI file that it names.
#pragma once

#include "kernel/check/report.h"

// Says which central files are asked in which order and what becomes of each, and whether the main
// INI file can be read; fills the check's central files and main INI file.
void CHECK_CENTRAL(s_CHECK *check);
