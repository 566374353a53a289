// Names that are listed by a program: roots of applications, and "mount".
#pragma once

// Lists the name if it begins like one that a program lists. Returns whether it does.
bool list_pseudo_root(const char *cpName);
