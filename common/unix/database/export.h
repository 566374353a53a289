// The output of a select as a file: the columns' names, then a line per row, fields separated by
// tabs. It is written beside its place and put there when it is whole, so that a reader finds the
// export before or this one.
#pragma once

#include "common/unix/database/tool.h"
#include "common/unix/trace/trace.h"

#include <string>

// Writes a select's output behind the tool's prompt beside the file "<table>.exp" of the work
// directory, whose path is then in *file. Returns 1; 0 with the reason in cpMsg (256 bytes), and
// nothing left behind.
int iOA_MAKE_EXPORT_FILE(s_TOOL_OUTPUT *pOutput, const std::string &table, std::string *file,
                         char *cpMsg, str_log strLog);

// Puts what was written in the place of the file, or with bWhole false removes it. Returns 1; 0
// when it is not there, with the reason in cpMsg (256 bytes) when it should be.
int i_FINISH_EXPORT(const std::string &file, bool bWhole, char *cpMsg);
