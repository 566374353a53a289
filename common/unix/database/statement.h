// Statements in the form that the database tool understands.
#pragma once

#include <string>
#include <string_view>

// A value as it stands between the single quotes of a statement.
std::string db_quoted(std::string_view value);

// Converts a statement to lower case in place, except what stands in quotes. Returns it.
char *SQL_LOWERCASE(char *cpSql);

// Repairs, in a buffer of iSize bytes, a statement with a quote inside of a value: a single quote
// there is doubled, a double quote without its partner removed. A statement whose quoted texts
// stand as SQL writes them stays as it is. False, with the statement unchanged, when the repair
// would make a "where" part of a value, so that a change would reach every row, or does not fit.
bool db_repair_quotes(char *cpSql, int iSize);

// The same for callers that take the statement as it is then. Returns it.
char *CLEANUP_QUOTA(char *cpSql, int iSize);
