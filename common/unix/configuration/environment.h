// The environment of child programs.
#pragma once

#include <string>

// Puts the directories that the command's program needs behind those of *path, as they will stand
// in its PATH; null for a process without PATH. False with the lines that tell why in *fault (none
// when gv_ro_bin is missing) when they cannot be put there.
bool child_path(const char *cpCommand, std::string *path, std::string *fault);

// Prepares the environment for the command line cpCommand: PATH gets the installation's program
// directories, PGPORT the database's port, LD_LIBRARY_PATH the directory that a NetWare program
// needs. What the command needs is told by its first word. Returns 1; 0 with a line on standard
// output when a setting is missing or a variable cannot be set.
int i_setenv_vorna(const char *cpCommand);
