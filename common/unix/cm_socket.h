// The socket services under the control-daemon client.
#pragma once

#include "common/unix/processes/socket.h"
