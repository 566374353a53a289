// The client end of the control daemon's protocol: opens the connections to the daemon of another
// host, sends the request, reads the verdict. IPv4 only; one call at a time.
#pragma once

#include "control/convert.h"
#include "control/error_text.h"
#include "control/first.h"

// Opens the connection (and a second one, on which the daemon connects back, when hpSD2 is not
// null) and has the daemon start cpCMD for cpUser. cpRemoteHost, a buffer of 1024 bytes, gets the
// host's canonical name. The second connection's port is the first free one from i2ndPortStart to
// i2ndPortEnd, with 0 any; *hpSD2 is -1 when none could be had, the first carries everything then.
// iTimeout: seconds for everything that is waited for; below 1 only the daemon's connecting back is
// limited, to 10 s. Returns 0 with connected sockets, which the caller closes with
// cm_CloseSocketsAndCleanup; VN_CTRL_FAILED, or the daemon's exit code when it refuses, with
// nothing open and the reason in vn_ctrl_geterror.
int vn_ctrl(char *cpRemoteHost, int iMainPort, int i2ndPortStart, int i2ndPortEnd,
            const char *cpUser, const char *cpCMD, int *hpSD1, int *hpSD2, int iTimeout);
