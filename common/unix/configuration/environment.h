// The environment of child programs.
#pragma once

// Prepares the environment for the command line cpCommand: PATH gets the installation's program
// directories, PGPORT the database's port, LD_LIBRARY_PATH the directory that a NetWare program
// needs. What the command needs is told by its first word. Returns 1; 0 with a line on standard
// output when a setting is missing or a variable cannot be set.
int i_setenv_vorna(const char *cpCommand);
