// Access to the backup server's catalogue. Every statement goes to the database's command-line tool
// as a child process, whose printed output is parsed; the rows of a select come back as a list of
// texts "|column=value|column=value|". The semaphore "ctrl_db" lets one statement run at a time on
// this host.
#pragma once

#include "common/unix/database/record_list.h"
#include "common/unix/trace/trace.h"

// Runs one statement. cpMsg (256 bytes) is a flag on entry: with "export" in it a select writes an
// export file instead of a list. Returns 1, with the number of rows, the calculated value or the
// tool's word in cpMsg; 0 with the reason. pRL may be null for statements without rows. The keys
// "DATE", "DATE_VORNA" and "DATE_TIME_VORNA" in place of a statement ask for the date in cpMsg.
int iDB_ACCESS(const char *cpSqlCmd, char *cpMsg, DB_REC_LIS *pRL, str_log strLog);

// The same for a statement whose letter case and quotes are in order; cExportFlg 'y' writes an
// export file. cpMsg has iMsgLen bytes.
int iOA_DO_SQL(const char *cpSqlCmd, char cExportFlg, char *cpMsg, int iMsgLen, DB_REC_LIS *pRL,
               str_log strLog);
