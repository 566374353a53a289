// The functions d, D and f on files and directories. Each ends the process.
#pragma once

#include "kernel/request/call.h"

// Function d: lists the directory named behind the options on standard output and ends with exit
// status 0, without a record; with 2 when standard output could not take the listing.
[[noreturn]] void v_LIST_DIRECTORY(s_CALL *call);

// Function D: 0 and a message when the directory -n is there or was created, 1 when it was not.
[[noreturn]] void CREATE_DIR_CLIENT(s_CALL *call);

// Function f: copies the file -n from ("g") or to ("p", with "d" the file is deleted afterwards)
// the backup server, as -m says. The status is that of the backup client that copies, the message
// the file's name.
[[noreturn]] void FILE_COPY(s_CALL *call);

// Function e: 0 and "<file> exists", or 1 and "<file> doesn't exist".
[[noreturn]] void v_EXIST_FILE(s_CALL *call);
