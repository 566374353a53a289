// Reading the output of a select, which the database tool prints behind its prompt.
#pragma once

#include "common/unix/database/record_list.h"
#include "common/unix/database/tool.h"
#include "common/unix/processes/pipe.h"
#include "common/unix/trace/trace.h"

// Reads a select's output behind the tool's prompt into the list. Returns 1 with the number of rows
// in cpMsg (256 bytes), 0 with the reason.
int iOA_MAKE_DB_REC_LIS(DB_PROC_PIP sctPP, char *cpMsg, DB_REC_LIS *pRL, str_log strLog);

// The same for a caller that goes on reading, or wants to know how the reading ended.
int i_READ_ROWS(s_TOOL_OUTPUT *pOutput, char *cpMsg, DB_REC_LIS *pRL, str_log *strLog);

// Reads the result of an aggregate, behind the tool's prompt, into cpMsg (iMsgLen bytes). Returns
// 1, or 0 with a protocol event when there is none.
int iOA_GET_CALCULATED_VALUE(DB_PROC_PIP *pPP, char *cpMsg, int iMsgLen, const char *cpId);

// The same as above, for such a caller.
int i_READ_VALUE(s_TOOL_OUTPUT *pOutput, char *cpMsg, int iMsgLen);

// Reads what stands in front of the rows: the header is the output's line then. False, with an
// event and its message in cpMsg (256 bytes), when the select failed.
bool read_header(s_TOOL_OUTPUT *pOutput, char *cpMsg);

// Reads the next row into the output's line. 1 for a row, 0 at the end, -1 with an event and its
// message in cpMsg (256 bytes) for an error of the database in its place.
int next_row(s_TOOL_OUTPUT *pOutput, char *cpMsg);
