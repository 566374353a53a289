// Reading the database tool's output.
#pragma once

#include "common/unix/database/record_list.h"
#include "common/unix/processes/pipe.h"

#include <string>
#include <string_view>
#include <vector>

// The list's identifier for messages, "NULL" without a list.
const char *db_id(const DB_REC_LIS *pRL);

// Reads the tool's next line, however long. False at the end of the output.
bool db_next_line(DB_PROC_PIP *pPP, std::string *line);

// Reads on to the line that contains cpText. False when the output ends before it.
bool db_skip_to(DB_PROC_PIP *pPP, const char *cpText, std::string *line);

// The names of a header line's columns, up to an empty field or one that begins with "(".
std::vector<std::string> db_columns(std::string_view header);

// True when the text holds the part.
bool db_contains(std::string_view text, std::string_view part);
