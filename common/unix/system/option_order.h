// The options of a program end at its first other word, on every system.
#pragma once

#include "common/unix/system/system.h"

// What getopt is given for the option letters cpLetters, which begin with "+". That sign keeps the
// one of Linux from looking for options behind the first other word. The others never look there,
// and some of them would take the sign for an option, and a ":" behind it for that option's value.
constexpr const char *options_in_order(const char *cpLetters, e_SYSTEM eSystem = kThisSystem) {
    return eSystem == SYSTEM_LINUX ? cpLetters : cpLetters + 1;
}
