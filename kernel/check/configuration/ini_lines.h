// The lines of INI files as a person wrote them, beside what the agent's reader makes of them.
#pragma once

#include "kernel/check/report.h"

#include <string>
#include <string_view>
#include <vector>

struct s_INI_LINE {
    int iNumber = 0;
    std::string text;       // as the reader sees it
    bool bCut = false;      // it is longer
    bool bReturns = false;  // like all lines of the file it ends with a carriage return
    std::string section;    // as the line that opened it stands, without blanks at its ends
    int iSectionLine = 0;   // the number of that line
    std::string unreadable; // why the reader does not come into the section; empty: it does
};

// What kind of a value a read gave.
struct s_VALUE_READ {
    bool bFound = false;
    bool bTold = false; // the line's fault has been said: nothing more is to be said of the value
    std::string value;
};

// The lines of a file that hold an entry, right or wrong; none when it cannot be read.
std::vector<s_INI_LINE> ini_entries(const std::string &file);

// The key that a line is meant to set, and "" for none.
std::string_view entry_key(std::string_view line);

// Reads a key of a file (no section: anywhere) with the agent's reader and says what is wrong with
// its line, or why there is none, with `need` behind it: what goes without the key. A key that is
// missing is said with the verdict; RIGHT: it may be missing.
s_VALUE_READ read_checked(s_CHECK *check, const std::string &file, const std::string &section,
                          const std::string &key, const std::string &need, e_VERDICT eMissing);

// Says what is wrong with the lines of the file that nobody has asked for, and that the others are
// right.
void CHECK_INI_LINES(s_CHECK *check, const std::string &file);
