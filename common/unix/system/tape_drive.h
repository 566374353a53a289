// What a tape driver says of its drive.
#pragma once

#include "common/unix/system/system.h"

struct s_TAPE_STATE {
    const char *cpName;  // what the system calls the bits; null where they say nothing of the tape
    unsigned long lBits; // as the driver gives them
    bool bOpen;          // there is no tape in the drive
    bool bOnline;        // there is one that can be read
};

// What the bits say on that system.
s_TAPE_STATE tape_state(unsigned long lBits, e_SYSTEM eSystem = kThisSystem);

// The driver's status request on an open drive, which fills *state. Returns 0; -1 with errno.
int ask_tape_driver(int fd, s_TAPE_STATE *state);
