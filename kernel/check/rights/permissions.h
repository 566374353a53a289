// Who could direct the agent: the permissions of what it reads, runs and writes.
#pragma once

#include "kernel/check/report.h"

#include <string>

// Says who beside root and the owner could replace the file or directory, by itself or by a
// directory on the way to it; each place once. False when somebody could.
bool CHECK_WAY(s_CHECK *check, const std::string &path, const std::string &use);

// Looks at all that docs/security.md names; without an owner of the installation at nothing.
void CHECK_PERMISSIONS(s_CHECK *check);
