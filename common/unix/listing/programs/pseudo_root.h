// Names that are listed by a program: roots of applications, and "mount".
#pragma once

#include "common/unix/listing/entry.h"

#include <string_view>

// Whether the name begins like one that a program lists: it is no directory then.
bool is_pseudo_root(std::string_view name);

// Lists cpInfo->szCurRoot if it is such a name. Returns whether it is. A program that fails, and
// output that could not be written, count as errors.
bool list_pseudo_root(sFormat *cpInfo);
