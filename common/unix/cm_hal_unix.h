// The services of the operating system: variables, programs, this process and its parent.
#pragma once

#include "common/unix/configuration/glbv.h"
#include "common/unix/processes/parent.h"
#include "common/unix/processes/process.h"
#include "common/unix/processes/run.h"
