// The directories of the installation that services ask for by themselves.
#pragma once

#include <string>

// The work directory, ending in "/": the variable gv_rw_work, else the key of "[Pathes]"; empty
// when neither tells.
std::string work_directory();
