// The functions d, D and f on files and directories. Each ends the process.
#pragma once

#include "kernel/request/call.h"

// Function d: lists the directory named behind the options on standard output, without a record,
// and ends with exit status 0; with 2 and a line on standard error when the listing is incomplete.
[[noreturn]] void v_LIST_DIRECTORY(s_CALL *call);

// Function D: 0 and a message when the directory -n is there or was created, 1 when it was not; 2
// when its reference stands for a name that is too long.
[[noreturn]] void CREATE_DIR_CLIENT(s_CALL *call);

// Function f: copies the file -n from ("g") or to ("p", with "d" the file is deleted afterwards)
// the backup server, as -m says. The status is that of the backup client that copies, the message
// the file's name; 2 and the reason when the file could not be deleted.
[[noreturn]] void FILE_COPY(s_CALL *call);

// Function e: 0 and "<file> exists", or 1 and "<file> doesn't exist".
[[noreturn]] void v_EXIST_FILE(s_CALL *call);
