// Configuring trace records: file, level and copy to standard error, from the INI files or by the
// caller; and the message language, which is read with them.
#pragma once

#include "common/unix/trace/trace.h"

#include <string>

// Configures the record: the trace file is cpKeyFile in the directory gv_rw_lgc (as it stands when
// it contains that directory), the level that of module cpKeyDebug in debug.ini. The first record
// ever configured becomes the one that trace writes through. Also chooses the message language.
// A path that
// does not fit the record switches the trace off. Without gv_rw_lgc the record stays as it was; the
// protocol and standard error say so.
void v_set_log_main(const char *cpKeyFile, const char *cpKeyDebug, str_log *strLog);

// Sets the level and the copy to standard error.
void v_set_log(int iLogLevel, int iVerbose, str_log *strLog);

// The level that debug.ini gives module cpInput (at most 49 characters), in whatever letter case it
// is asked for; 0 if none.
int log_check(const char *cpInput);

// The file with the levels in the directory of the INI files; empty when its path is too long to be
// read.
std::string debug_switch_file(const std::string &directory);

// The level that the file gives module szModule, 0 if none.
int debug_level_of(const char *cpFile, const char *szModule);

// The language of messages that the value of the key "lang" means.
LANGUAGES language_of(const char *cpValue);
