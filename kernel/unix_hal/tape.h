// The state of a tape drive on this host. The tape is neither read nor written.
#pragma once

#include "common/unix/system/tape_drive.h"
#include "common/unix/trace/trace.h"

// Asks mt, and then the tape driver, for the state of the device node cpDevice. cpSts (256 bytes)
// gets one of "Drive tape online", "Drive tape not online", "No tape in drive", "Device or resource
// busy", "No such device or address", "Not defined"; cpMsg (256 bytes, zeroed by the caller) what
// mt said when it failed twice. cpIdent keeps the files of parallel calls apart. Returns 1 when the
// device exists and answered, 0 when it is unknown or unusable.
int i_TAPE_STATUS_LOCAL(const char *cpDevice, char *cpSts, char *cpMsg, const char *cpIdent,
                        str_log strLog);

// Deletes the file (null: none) and closes the descriptor (-1: none).
void v_TAPE_STATUS_RELEASE(const char *cpDeleteFile, int iCloseFile, str_log strLog);

// The driver's status request on an open drive, which fills *state. Returns 0; -1 with errno.
struct s_TAPE_DRIVER {
    int (*status)(int fd, s_TAPE_STATE *state);
};
extern s_TAPE_DRIVER gTapeDriver;
