// The C library's call that slow_status.cpp stands before.
#pragma once

#include <sys/stat.h>
