// What every interface of the system takes for granted.
#pragma once

// A flag: 0 is false, everything else true.
using BOOL = int;

// Bytes of a message buffer, terminator included, where an interface says nothing else.
constexpr int kMessageSize = 256;
