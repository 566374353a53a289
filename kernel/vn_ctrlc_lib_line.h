// Finding lines in a stream's data.
#pragma once

#include "kernel/vn_ctrlc_lib.h"

#include <string_view>

// Finds the first line of the data: up to its LF or CR LF, or iLimit characters without one. Fills
// *line, without the line end, and *piConsumed, the bytes with it. False when the line is not
// complete; *line is what there is of it then.
bool next_remote_line(std::string_view data, std::size_t iLimit, std::string_view *line,
                      std::size_t *piConsumed);

// Copies a line that was found into cpLine (iSize bytes), trimmed if bTrim is not 0, and takes the
// result out of it. Traces it with the bytes consumed and buffered.
void take_remote_line(std::string_view line, std::size_t iConsumed, int iBuffered, short bTrim,
                      char *cpLine, int iSize, RCMD *pRCmd, str_log *strLog);
