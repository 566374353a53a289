// Commands for backup clients, wherever they run.
#pragma once

#include "kernel/remote/async.h"
#include "kernel/remote/call/local_run.h"
#include "kernel/remote/call/rcmd.h"
#include "kernel/remote/dispatcher.h"
#include "kernel/remote/search.h"
