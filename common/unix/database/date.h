// Dates as the database takes them.
#pragma once

// Today's date as the database takes it in a statement, today's date and the current time as the
// backup server writes them, and the name that the database gives the column of max(cpColumn), each
// in a static buffer, for the database type in the variable gv_db_type.
char *cpDB_DATE();
char *cpDB_DATE_VORNA();
char *cpDB_DATE_TIME_VORNA();
char *cpDB_MAX_COL_NAME(const char *cpColumn);

// Answers the key "DATE", "DATE_VORNA" or "DATE_TIME_VORNA" in cpMsg (256 bytes). Returns 1, or 0
// with a message and a protocol event for another key.
int iDB_CONVERT_DATE_TIME(const char *cpKey, char *cpMsg);
