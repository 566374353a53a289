// Pipes to child processes.
#pragma once

#include "common/unix/processes/pipe.h"
#include "common/unix/processes/pipe_read.h"
