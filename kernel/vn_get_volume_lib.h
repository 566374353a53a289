// The mount check of disk devices.
#pragma once

#include "kernel/remote/mount_check.h"
