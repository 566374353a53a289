// The rows of a select, as a list of texts "|column=value|column=value|".
#pragma once

#include "common/unix/trace/trace.h"

#include <cstddef>

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
