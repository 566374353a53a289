// Configuration as the programs see it: INI files, references in names, the environment of child
// programs, and the call's own parameters.
#pragma once

#include "common/unix/cm_ini.h"
#include "common/unix/cm_ini_change.h"
#include "common/unix/cm_path.h"
