// The record of a command that is run for a backup client.
#pragma once

#include "common/common/LL.h"
#include "common/common/types.h"

// Filled by the caller, zeroed before; what is not given is empty or 0.
struct RCMD {
    char szClient[160];  // the client's name; "LOCAL" is this host
    char szPlatform[64]; // from the catalogue
    char szPort[20];     // the control daemon's port
    char szPortOpt[256]; // the client's access options
    char szUser[33];     // remote user
    char szCmd[24576];
    char szId[256];     // identifier of the request
    char szInFile[512]; // "stdin" or "-": this process's own standard input
    char szOutFile[512];
    char szErrFile[512];
    int iASyncFlg;   // run it in the background
    int iTimeout;    // seconds; below 1 none
    char szSts[20];  // returned: the status that the command's output told
    char szMsg[256]; // returned: the message
    t_LL LL_Stdout;  // null, or a list to which every line of output is appended
    t_LL LL_Stderr;
    BOOL bAvoidErrProt;    // a failure is not written to the protocol
    BOOL bAvoidProt;       // the command is not written to the protocol
    BOOL bAppendMode;      // output files are appended to
    BOOL bVerbose;         // the streams are also echoed to this process's own
    BOOL bCommandNotFound; // returned by a local run: the command could not be started; set by the
                           // caller, such a failure is not written to the error output
};
