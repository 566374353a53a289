// Reading the database tool's output.
#pragma once

#include "common/unix/processes/pipe.h"

#include <string>
#include <string_view>
#include <vector>

struct DB_REC_LIS;

// The output of the tool while a statement is run.
struct s_TOOL_OUTPUT {
    DB_PROC_PIP *pPP;
    const char *cpId;      // who asks, for messages
    std::string line = {}; // the line last read
    bool bEnded = false;   // there are no more lines
    bool bEndless = false; // a line is longer than any of the catalogue: the rest cannot be read
};

// The list's identifier for messages, "NULL" without a list.
const char *db_id(const DB_REC_LIS *pRL);

// Reads the tool's next line. False when there is none, or it has no end within 1 MiB.
bool db_next_line(s_TOOL_OUTPUT *pOutput);

// Reads on to the line that contains cpText. False when there is none.
bool db_skip_to(s_TOOL_OUTPUT *pOutput, const char *cpText);

// What an output without the lines that it should have is told with.
const char *db_no_result(const s_TOOL_OUTPUT &output);

// The names of a header line's columns, up to an empty field or one that begins with "(".
std::vector<std::string> db_columns(std::string_view header);

// True when the text holds the part.
bool db_contains(std::string_view text, std::string_view part);

// True for the line behind the rows of a select, which counts them.
bool db_closes_rows(std::string_view line);
