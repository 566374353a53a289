// The Unix layer of the functions: access methods, devices, processes.
#pragma once

#include "kernel/unix_hal/vn_access.h"
