// The global variables that the agent needs.
#pragma once

#include "kernel/check/report.h"

#include <string>

// What a look at a variable found; nothing is changed and nothing reported.
struct s_VARIABLE {
    bool bThere = false;
    s_FAULT fault = {}; // of its file
    std::string value;
};

s_VARIABLE look_at_variable(const s_CHECK &check, const char *cpName);

// True for a variable that the agent finds.
bool is_variable_set(const s_CHECK &check, const char *cpName);

// The directory that the agent takes from the variable, else from the key of its name; empty when
// neither tells.
std::string directory_of(const s_CHECK &check, const char *cpName);

// Looks at the variables; fills the check's protocol.
void CHECK_VARIABLES(s_CHECK *check);
