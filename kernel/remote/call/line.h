// Finding lines in a stream's data.
#pragma once

#include "common/unix/trace/trace.h"
#include "kernel/remote/call/rcmd.h"

#include <string_view>

// Finds the first line of the data: up to its LF or CR LF, or iLimit characters without one. Fills
// *line, without the line end, and *piConsumed, the bytes with it. False when the line is not
// complete; *line is what there is of it then.
bool next_remote_line(std::string_view data, std::size_t iLimit, std::string_view *line,
                      std::size_t *piConsumed);

// A line as it counts: up to a NUL byte, without blanks and tabs at both ends.
std::string_view trimmed_line(std::string_view line);

// False for a line, trimmed or not, that set_result takes nothing from; cheap, for the many.
bool may_hold_result(std::string_view line);

// Takes the result out of a trimmed line, as vSetMsgAndSts does.
void set_result(std::string_view line, RCMD *pRCmd);

// Traces a line that was found, with the bytes that are buffered and that it consumes.
void trace_remote_line(std::string_view line, std::size_t iConsumed, std::size_t iBuffered,
                       bool bTrim, str_log *strLog);

// Cuts the first complete line, without its end, out of a stream's buffer of *piBufferSize bytes (a
// terminator behind them) into cpLine (iSize bytes), trimmed if bTrim is not 0, and takes the
// result out of it into pRCmd. A buffer of iSize - 1 bytes without a line feed is one line. Returns
// cpLine; null when there is no complete line.
char *szGetLine(char *pszBuffer, int *piBufferSize, RCMD *pRCmd, short bTrim, char *cpLine,
                int iSize, str_log strLog);

// Takes status and message out of a line "STATUS=... MSG=..." or "MSG=..."; other lines change
// nothing.
void vSetMsgAndSts(const char *cpLine, RCMD *pRCmd);
