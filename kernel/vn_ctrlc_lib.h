// A remote call through a control daemon.
#pragma once

#include "control/convert.h"
#include "kernel/remote/call/daemon_call.h"
#include "kernel/remote/call/exit_code.h"
#include "kernel/remote/call/input.h"
#include "kernel/remote/call/line.h"
#include "kernel/remote/call/rcmd.h"
#include "kernel/remote/call/relay.h"
