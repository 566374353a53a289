// What the program says about itself.
#pragma once

// The program's version identification.
extern const char gszVersion[];

// Prints the help text on standard output and ends the process with exit status 1.
[[noreturn]] void USAGE();
