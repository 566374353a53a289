// The second connection of a call, which the daemon opens to a port of ours.
#pragma once

#include "common/unix/files/descriptor.h"
#include "control/limited_io.h"

#include <string>

// Opens the socket on which the daemon connects back, on the first free port from iStart to iEnd,
// with 0 any. An empty owner in *listener when no port is free; the port, as text, in *port. False,
// with the text kept, on failure.
bool open_listener(int iStart, int iEnd, unique_fd *listener, std::string *port);

// Takes the daemon's connection. *hpSD2 is -1 when it came but cannot be used. False, with the text
// kept, when it has not come within iTimeout seconds (below 1: 10) or before the limit.
bool accept_second(int listener, int iTimeout, const s_LIMIT &limit, int *hpSD2);
