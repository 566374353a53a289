// Reading the output of a select, which the database tool prints behind its prompt.
#pragma once

#include "common/unix/database/record_list.h"
#include "common/unix/processes/pipe.h"
#include "common/unix/trace/trace.h"

// Reads a select's output behind the tool's prompt into the list. Returns 1 with the number of rows
// in cpMsg (256 bytes), 0 with the reason.
int iOA_MAKE_DB_REC_LIS(DB_PROC_PIP sctPP, char *cpMsg, DB_REC_LIS *pRL, str_log strLog);

// Reads the result of an aggregate, behind the tool's prompt, into cpMsg (iMsgLen bytes). Returns
// 1, or 0 with a protocol event when there is none.
int iOA_GET_CALCULATED_VALUE(DB_PROC_PIP *pPP, char *cpMsg, int iMsgLen, const char *cpId);

// Writes a select's output behind the tool's prompt to the file "<table>.exp" in the work
// directory: the columns' names, then a line per row, fields separated by tabs. Returns 1; 0 with
// the reason in cpMsg (iMsgLen bytes).
int iOA_MAKE_EXPORT_FILE(DB_PROC_PIP *pPP, const char *cpTable, char *cpMsg, int iMsgLen,
                         str_log strLog);
