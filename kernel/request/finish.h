// The end of every function: its result, told to the caller in every way that it may read it.
#pragma once

// Ends the process with exit status iSts (0 success, 1 warning, 2 and every other value error).
// Stores status and message (at most 2047 characters count) in the variables "gv_client_sts_<id>"
// and "gv_client_msg_<id>", unless the call came from remote or names no function, and prints the
// record "ID=...\nSTATUS=... MSG=...\n" on standard error, unless the function answers with a
// file's content or by its exit status alone.
[[noreturn]] void FINISH(int iSts, const char *cpMsg);

// From now on a request for memory that cannot be met ends the process like FINISH(2, "out of
// memory"). Sets some memory aside for that; if even this does not suffice, the record is written
// without any, and the variables are left out.
void FINISH_WITHOUT_MEMORY();
