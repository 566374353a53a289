// Finding lines in a stream's data.
#pragma once

#include "common/unix/trace/trace.h"
#include "kernel/remote/call/rcmd.h"

#include <string_view>

// A line as it counts: up to a NUL byte, with bTrim without blanks and tabs at both ends.
std::string_view text_of_line(std::string_view line, bool bTrim);

// Takes status and message out of a line, as vSetMsgAndSts does.
void set_result(std::string_view line, RCMD *pRCmd);

// Cuts the first line off the data: up to its LF or CR LF, or iLimit characters without one. *text
// is the line as it counts (null: not wanted, which is quicker), *piConsumed the bytes with the
// line end; the result is taken out of it into pRCmd. False when no line is complete.
bool cut_line(std::string_view data, std::size_t iLimit, bool bTrim, RCMD *pRCmd, str_log *strLog,
              std::string_view *text, std::size_t *piConsumed);

// Cuts the first complete line, without its end, out of a stream's buffer of *piBufferSize bytes (a
// terminator behind them) into cpLine (iSize bytes), trimmed if bTrim is not 0, and takes the
// result out of it into pRCmd. A buffer of iSize - 1 bytes without a line feed is one line. Returns
// cpLine; null when there is no complete line.
char *szGetLine(char *pszBuffer, int *piBufferSize, RCMD *pRCmd, short bTrim, char *cpLine,
                int iSize, str_log strLog);

// Takes status and message out of a line "STATUS=... MSG=..." or "MSG=..."; other lines change
// nothing.
void vSetMsgAndSts(const char *cpLine, RCMD *pRCmd);
