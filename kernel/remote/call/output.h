// The files that take a command's output. What they fail to take must not go unnoticed.
#pragma once

#include "common/common/owner.h"
#include "kernel/remote/call/rcmd.h"

#include <cstdio>
#include <string_view>

// Begins a call: no write has failed yet.
void output_begin();

// Writes to a file and flushes it; the first failure of the call is remembered.
void output_write(std::FILE *file, std::string_view text);

// Closes a file of the call; null is none. False, with the system's report and the message in
// pRCmd->szMsg, when it has not taken everything.
bool output_close(unique_file *file, const char *cpName, RCMD *pRCmd);
