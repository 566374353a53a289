// The text of an INI file, read by many processes while one of them changes it. Our own readers and
// changes take turns by a lock on the open file; a foreign reader sees, at every moment, the lines
// of the old text or of the new one.
#pragma once

#include "common/unix/files/descriptor.h"

// How long the lock is waited for. A change holds it for less than a millisecond: who holds it
// longer is stopped or means no good. A read then goes on without it, a change is refused.
struct s_INI_LOCK_POLICY {
    int iReadMsec;
    int iChangeMsec;
};
extern s_INI_LOCK_POLICY gIniLockPolicy;

// Waits until no change of the open file is under way, and keeps changes away until it is closed. A
// process that has once waited in vain does not wait again.
void lock_ini_for_reading(int fd);

// Opens a regular file for a change, alone until it is closed. Owns nothing, with errno, when that
// fails: EWOULDBLOCK when another process held the lock all the time.
unique_fd open_ini_for_change(const char *cpFile);

// The same for a file that is open. False, with errno EWOULDBLOCK, when another process held the
// lock for all of iMsec milliseconds.
bool lock_for_change(int fd, int iMsec);
