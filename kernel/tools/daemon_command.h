// A command's words in the form of a control daemon's call.
#pragma once

#include <string>
#include <vector>

// Writes the words as the command line that the call's conversion (vConvertCommand) turns into just
// these words. False for words that it would turn into others: with a double quote, with a
// backslash at the end beside a blank, or an empty one at the end.
bool daemon_command(const std::vector<std::string> &words, std::string *command);
