// System errors as text, with what the program was doing.
#pragma once

// Classes of error numbers.
enum e_SYSERR {
    SYSERR_SYSTEM = 1,  // errno
    SYSERR_SOCKET = 4,  // errno of a socket call
    SYSERR_RESOLVER = 5 // h_errno
};

// "<description> (<class> <number>: <the system's text>)" in a static buffer of 1024 bytes; the
// description is formatted printf-style. Without an error number it stands alone.
char *syserrtxt(int iClass, int iError, const char *cpFormat, ...)
    __attribute__((format(printf, 3, 4)));
