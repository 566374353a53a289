// Names that are listed by a program: roots of applications, and "mount".
#pragma once

#include "common/unix/listing/entry.h"

// Lists cpInfo->szCurRoot if it begins like a name that a program lists. Returns whether it does. A
// program that fails, and output that could not be written, count as errors.
bool list_pseudo_root(sFormat *cpInfo);
