// Trace (a debugging file per module) and protocol (the operators' log), and the time stamps of
// both. Either opens its file for every line and closes it again, so several processes share one
// file and a rotated file is followed; what cannot be written is lost silently and stops nobody.
#pragma once

#include "common/common/cm_message.h"

// A module's trace record. Callers write a line only when iFlg reaches the level the line needs.
struct str_log {
    char szFile[384]; // full path of the trace file
    int iFlg;         // trace level, 0 = off
    int iVerify;      // not 0: every line also goes to standard error
    char szIns[64];   // indentation: two blanks for every open "+++ " block
};

// Configures the record: the trace file is cpKeyFile in the directory gv_rw_lgc (as it stands when
// it contains that directory), the level that of module cpKeyDebug in debug.ini. The first record
// ever configured becomes the one that trace writes through. Also chooses the message language.
// Without gv_rw_lgc the record stays as it was; the protocol and standard error say so.
void v_set_log_main(const char *cpKeyFile, const char *cpKeyDebug, str_log *strLog);

// Sets the level and the copy to standard error.
void v_set_log(int iLogLevel, int iVerbose, str_log *strLog);

// The level that debug.ini gives module cpInput (at most 49 characters), in whatever letter case it
// is asked for; 0 if none.
int log_check(const char *cpInput);

// Writes one time-stamped line, printf-style, whatever the record's level. A format that begins
// with "+" opens an indented block behind the line, one that begins with "-" closes it before.
// The format "COPY_FILE" takes the name of a file and copies its lines into the trace; because it
// is no printf format the compiler cannot check these calls: use trace_log.
void WRITE_TRACE(str_log *strLog, const char *cpFormat, ...);

// WRITE_TRACE if the record's level is at least iLevel (with 0 always), its format checked.
void trace_log(str_log *strLog, int iLevel, const char *cpFormat, ...)
    __attribute__((format(printf, 3, 4)));
