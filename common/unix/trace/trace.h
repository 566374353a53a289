// The trace, a debugging file per module. It is opened for every line and closed again, so several
// processes share one file and a rotated file is followed; what cannot be written is lost silently
// and stops nobody.
#pragma once

#include "common/common/cm_message.h"

// A module's trace record. Callers write a line only when iFlg reaches the level the line needs.
struct str_log {
    char szFile[384]; // full path of the trace file
    int iFlg;         // trace level, 0 = off
    int iVerify;      // not 0: every line also goes to standard error
    char szIns[64];   // indentation: two blanks for every open "+++ " block
};

// Makes a copy of the record the one that trace and trace_at write through.
void v_SET_LOCAL_LOG(const str_log &log);

// Writes one time-stamped line, printf-style, whatever the record's level. A format that begins
// with "+" opens an indented block behind the line, one that begins with "-" closes it before.
// The format "COPY_FILE" takes the name of a file and copies its lines into the trace; because it
// is no printf format the compiler cannot check these calls: use trace_log.
void WRITE_TRACE(str_log *strLog, const char *cpFormat, ...);

// WRITE_TRACE if the record's level is at least iLevel (with 0 always), its format checked.
void trace_log(str_log *strLog, int iLevel, const char *cpFormat, ...)
    __attribute__((format(printf, 3, 4)));
