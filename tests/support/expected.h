// Whole texts that a test compares with files: traces, protocols, records. The files are below
// tests/sessions; to write them anew after a wanted change:
//     VN_RENEW=1 scripts/test -R <test>
// and look at the difference before it is committed.
#pragma once

#include "tests/support/installation.h"

namespace vn_test {

// Fails the test, showing the lines that differ, when the text is not that of tests/sessions/NAME.
// With VN_RENEW in the environment the file is written instead, never where CI is "true".
void expect_file(const std::string &name, const std::string &text);

// What the program diff says of the file (a path) and the text.
std::string difference(const std::string &file, const std::string &text);

// The text without what tells how the machine has run the programs at once: the shell's lines for
// the parts of a pipeline, which come in any order, and how often a reader has read.
std::string without_races(const std::string &text);

} // namespace vn_test
