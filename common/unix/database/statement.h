// Statements in the form that the database tool understands.
#pragma once

#include <string>
#include <string_view>

// A value as it stands between the single quotes of a statement.
std::string db_quoted(std::string_view value);

// Converts a statement to lower case in place, except what stands in quotes. Returns it.
char *SQL_LOWERCASE(char *cpSql);

// Repairs, in a buffer of iSize bytes, a statement with a quote inside of a value: a single quote
// there is doubled, a double quote without its partner removed. A well-formed statement stays as it
// is. Returns it.
char *CLEANUP_QUOTA(char *cpSql, int iSize);
