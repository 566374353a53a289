// Access lists of files, which say more than the mode does.
#pragma once

#include <string>

// True for a file or directory whose access list lets more or fewer users do it than its mode.
bool has_access_list(const std::string &path);
