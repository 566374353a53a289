// The text for a fault of the software or its installation.
#pragma once

#include <string>

// "Fatal software error FILE=... LINE=... (detail)" in the message language.
std::string fatal_text(const char *cpFile, int iLine, const std::string &detail);
