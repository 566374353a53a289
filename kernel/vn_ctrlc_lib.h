// A remote call through a control daemon.
#pragma once

#include "kernel/remote/call/convert.h"
#include "kernel/remote/call/daemon_call.h"
#include "kernel/remote/call/line.h"
#include "kernel/remote/call/rcmd.h"
#include "kernel/remote/call/relay.h"
