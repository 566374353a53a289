// How root runs a command line as another user, in that user's own environment.
#pragma once

#include "common/unix/system/system.h"

// The user's name stands between the texts, the quoted command line behind them.
struct s_USER_SWITCH {
    e_SYSTEM eSystem;
    const char *cpProgram;
    const char *cpCommand;
};

// The order counts: on the BSDs su takes its options before the user only, where "-c" is a login
// class, and hands what is behind the user to the login shell, whose "-c" this then is. On Linux su
// takes the option wherever it stands.
inline constexpr s_USER_SWITCH kUserSwitches[kSystems] = {
    {SYSTEM_LINUX, "su - ", " -c "},   {SYSTEM_OPENBSD, "su - ", " -c "},
    {SYSTEM_FREEBSD, "su - ", " -c "}, {SYSTEM_NETBSD, "su - ", " -c "},
    {SYSTEM_OTHER, "su - ", " -c "},
};
static_assert(has_every_system(kUserSwitches));
