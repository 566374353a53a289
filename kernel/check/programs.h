// The programs that the agent starts.
#pragma once

#include "kernel/check/report.h"

#include <string>

// What keeps the file from being run: it is not there, no program, empty, without its interpreter.
s_FAULT program_fault(const s_CHECK &check, const std::string &file);

// The first program of this name in a list of directories, of which those that depend on the
// current one are left out; empty without one. *other receives the first file of the name that
// cannot be run, if there is no program.
std::string search_program(const s_CHECK &check, const std::string &path, const std::string &name,
                           std::string *other);

// Fills *file with what the agent's children find under the name; empty when they find nothing.
s_FAULT find_program(const s_CHECK &check, const std::string &name, std::string *file);

// Looks at PATH and at each program.
void CHECK_PROGRAMS(s_CHECK *check);
