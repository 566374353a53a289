// Access to the backup server's catalogue. Every statement goes to the database's command-line tool
// as a child process, whose printed output is parsed; the rows of a select come back as a list of
// texts "|column=value|column=value|". The semaphore "ctrl_db" lets one statement run at a time on
// this host.
#pragma once

#include "common/unix/cm_hal_pipe.h"
#include "common/unix/cm_trace.h"

#include <cstddef>
#include <string>
#include <string_view>

constexpr int DB_MESSAGE_SIZE = 256; // bytes of a message buffer
constexpr int DB_MAX_COLUMNS = 100;

// One row.
struct DB_REC_LIS_ELEMENT {
    int iRow; // 1 is the first
    char *cpData;
    DB_REC_LIS_ELEMENT *pstrNextRec;
};

// The result of one select. The caller owns it and zero-fills it before first use; its elements
// belong to it and are freed by vDB_SEL_FREE.
struct DB_REC_LIS {
    char szId[32]; // who asks; shown in messages
    int iRows;
    std::size_t iSize; // bytes of the last record's buffer
    DB_REC_LIS_ELEMENT *pstrFirstRec;
    DB_REC_LIS_ELEMENT *pstrLastRec;
};

// A column and its value.
struct col {
    char szName[64];
    char szValue[512];
};

// Runs one statement. cpMsg (256 bytes) is a flag on entry: with "export" in it a select writes an
// export file instead of a list. Returns 1, with the number of rows, the calculated value or the
// tool's word in cpMsg; 0 with the reason. pRL may be null for statements without rows. The keys
// "DATE", "DATE_VORNA" and "DATE_TIME_VORNA" in place of a statement ask for the date in cpMsg.
int iDB_ACCESS(const char *cpSqlCmd, char *cpMsg, DB_REC_LIS *pRL, str_log strLog);

// The same for a statement whose letter case and quotes are in order; cExportFlg 'y' writes an
// export file. cpMsg has iMsgLen bytes.
int iOA_DO_SQL(const char *cpSqlCmd, char cExportFlg, char *cpMsg, int iMsgLen, DB_REC_LIS *pRL,
               str_log strLog);

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

// Store a copy of a record as the first, or as a further one, of the list. Return 1; 0 with a
// protocol event when memory runs out, or when there is no first record yet.
int iDB_SEL_FIRST(DB_REC_LIS *pRL, const char *cpData);
int iDB_SEL_ALLOC(DB_REC_LIS *pRL, const char *cpData);

// Frees the rows; the list can be used again.
void vDB_SEL_FREE(DB_REC_LIS *pRL);

// Fetches values of row iGetRow (1 is the first): behind pStrLog come pairs of a column's name and
// a buffer of 512 bytes, ended by a null name. Returns 1; 0 with the reason in cpReturn (256
// bytes).
int iDB_SEL_GET(DB_REC_LIS *pRL, int iGetRow, char *cpReturn, str_log *pStrLog, ...);

// Fills pCol->szValue with the value of column pCol->szName of a record. Returns 1, or 0 with a
// protocol event when the record has no such column.
int iDB_SEL_WRITE_VALUE(const DB_REC_LIS *pRL, const char *cpRecord, col *pCol);

// Calls fn with every record in order until it returns 0. Returns how many records it was called
// with. pContext is handed through.
int DB_SEL_LOOP_RECORDS(const DB_REC_LIS *pRL,
                        int (*fn)(const DB_REC_LIS_ELEMENT *pRecord, void *pContext),
                        void *pContext);

// A value as it stands between the single quotes of a statement.
std::string db_quoted(std::string_view value);

// Converts a statement to lower case in place, except what stands in quotes. Returns it.
char *SQL_LOWERCASE(char *cpSql);

// Repairs, in a buffer of iSize bytes, a statement with a quote inside of a value: a single quote
// there is doubled, a double quote without its partner removed. A well-formed statement stays as it
// is. Returns it.
char *CLEANUP_QUOTA(char *cpSql, int iSize);

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
