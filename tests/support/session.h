// Sessions: what a user types in an installation, and what the terminal shows. A session is a file
// in tests/sessions: lines that begin with "$ " are commands of one shell ("> " continues one);
// below each the output follows: "  " before a line of standard output, "! " before one of standard
// error, "? " before an exit status that is not 0. All other lines are comments. Each session has
// an installation of its own, in whose directory it starts; session.sh holds what it may use beside
// the machine's programs. One whose name ends with "_memory" is not played under the sanitizers. To
// write what the commands print now into the file:
//     VN_RENEW=1 scripts/test -R Session
// and look at the difference before it is committed.
#pragma once

#include <string>
#include <vector>

namespace vn_test {

// The names of all sessions, without ".txt", sorted.
std::vector<std::string> session_names();

// Plays the session in a new installation and fails the test when the terminal shows another text
// than the file has, or writes the file anew (see expected.h). The sed script that VN_WORDS names
// takes from both what is to be left out.
void play_session(const std::string &name);

// Plays the commands of a Markdown document (a path), which are in blocks that begin with
// "```console", in one installation, and fails the test when they print something else than the
// document says, standard output and error together. Both are compared as the normalised texts; the
// installation is /opt/vorna in documents. Commands in a comment "<!--$" prepare what the document
// takes for given; what they print does not count.
void play_document(const std::string &path);

} // namespace vn_test
