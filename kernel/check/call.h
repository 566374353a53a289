// The call of the check itself.
#pragma once

// What the command line asks for.
struct s_CHECK_CALL {
    bool bQuiet = false;             // -q
    const char *cpPath = nullptr;    // -p
    const char *cpEtc = nullptr;     // -e
    const char *cpUser = nullptr;    // -u
    const char *cpCommand = nullptr; // -s
    int iWords = 0;                  // the arguments behind the options
    char **words = nullptr;
};

// Reads the command line. Ends the process with the help text (status 0), or, for a call that is
// not right, with a line on standard error and status 2.
s_CHECK_CALL CHECK_ARGUMENTS(int argc, char **argv);
