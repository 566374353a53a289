// A select's output as a list of records, an export file or one value (rows.h).
#include "common/unix/database/rows.h"

#include "common/common/cm_message.h"
#include "common/common/owner.h"
#include "common/common/text.h"
#include "common/unix/configuration/reference.h"
#include "common/unix/database/record_list.h"
#include "common/unix/database/tool.h"
#include "common/unix/host/alarm.h"
#include "common/unix/processes/pipe.h"
#include "common/unix/trace/trace.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::size_t kErrorLength = 255;  // bytes of an error line that count
constexpr std::size_t kColumnLength = 64;  // bytes of a column's name that count
constexpr std::size_t kRecordReserve = 32; // bytes of a record beside its row and the header

// The database's own message about a select that failed.
int report_select_error(const DB_REC_LIS *pRL, std::string_view message, char *cpMsg) {
    text_copy(cpMsg, DB_MESSAGE_SIZE, message.substr(0, kErrorLength));
    PROT(by_language("E009-DATABAS OA_MAKE_DB_REC_LIS %s: %s",
                     "E009-DATABAS OA_MAKE_DB_REC_LIS Fehler %s: %s",
                     "E009-DATABAS OA_MAKE_DB_REC_LIS Fälla %s: %s"),
         db_id(pRL), cpMsg);
    return 0;
}

// A select that the tool could not prepare: the message is further down.
int report_not_prepared(DB_PROC_PIP *pPP, const DB_REC_LIS *pRL, char *cpMsg) {
    std::string line;
    if (!db_skip_to(pPP, "Message:", &line)) {
        line = "the database tool gave no result";
    }
    return report_select_error(pRL, line, cpMsg);
}

int report_too_many_columns(const DB_REC_LIS *pRL, char *cpMsg) {
    text_print(cpMsg, DB_MESSAGE_SIZE, "too much columns ( max %d )", DB_MAX_COLUMNS);
    PROT(by_language("E010-DATABAS OA_MAKE_DB_REC_LIS %s: too many columns ( max %d )",
                     "E010-DATABAS OA_MAKE_DB_REC_LIS %s: zu viele Spalten ( max. %d )",
                     "E010-DATABAS OA_MAKE_DB_REC_LIS %s: z'vui Spaltn ( hechstns %d )"),
         db_id(pRL), DB_MAX_COLUMNS);
    return 0;
}

// "|column=value" for every column, closed by "|"; values shift to the left over empty fields.
std::string record_of(const std::vector<std::string> &columns, std::string_view row) {
    const std::vector<std::string_view> values = text_fields(row, '\t');
    std::string record;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        record += '|' + columns[i].substr(0, kColumnLength - 1) + '=';
        if (i < values.size()) {
            record += values[i];
        }
    }
    return record + '|';
}

int store_record(DB_REC_LIS *pRL, const std::string &record) {
    return pRL->iRows == 0 ? iDB_SEL_FIRST(pRL, record.c_str())
                           : iDB_SEL_ALLOC(pRL, record.c_str());
}

int report_no_memory(const DB_REC_LIS *pRL, std::size_t iBytes, char *cpMsg) {
    const int iNeeded = static_cast<int>(iBytes);
    text_print(cpMsg, DB_MESSAGE_SIZE, "cannot allocate memory  ( %d bytes)", iNeeded);
    PROT(by_language("E011-DATABAS %s %s: cannot allocate memory  ( %d Bytes)",
                     "E011-DATABAS %s %s: kein Speicher verfuegbar  ( %d Bytes)",
                     "E011-DATABAS %s %s: da Speicha is voi  ( %d Bytes)"),
         "OA_MAKE_DB_REC_LIS", db_id(pRL), iNeeded);
    return 0;
}

// The columns of the select whose output begins; false, with the message, when it has none.
bool read_columns(DB_PROC_PIP *pPP, const DB_REC_LIS *pRL, char *cpMsg, std::string *header) {
    if (!db_next_line(pPP, header) || db_contains(*header, "Error while prepar")) {
        report_not_prepared(pPP, pRL, cpMsg);
        return false;
    }
    if (!db_next_line(pPP, header)) { // the line before told of no error, the header follows it
        report_select_error(pRL, "the database tool gave no header", cpMsg);
        return false;
    }
    return true;
}

// The next row of a select. 1 for a row, 0 at the end, -1 with the message for a database error in
// its place.
int next_row(DB_PROC_PIP *pPP, const DB_REC_LIS *pRL, char *cpMsg, std::string *row) {
    if (!db_next_line(pPP, row) || db_contains(*row, "Rows")) {
        return 0;
    }
    if (db_contains(*row, ", NativeError = ")) {
        db_next_line(pPP, row);
        report_select_error(pRL, *row, cpMsg);
        return -1;
    }
    return 1;
}

int make_list(DB_PROC_PIP *pPP, char *cpMsg, DB_REC_LIS *pRL) {
    std::string header;
    if (!read_columns(pPP, pRL, cpMsg, &header)) {
        return 0;
    }
    const std::vector<std::string> columns = db_columns(header);
    if (columns.size() > DB_MAX_COLUMNS) {
        return report_too_many_columns(pRL, cpMsg);
    }
    std::string row;
    int iRow = 0;
    while ((iRow = next_row(pPP, pRL, cpMsg, &row)) == 1) {
        const std::string record = record_of(columns, row);
        pRL->iSize = std::max(row.size() + header.size() + kRecordReserve, record.size() + 1);
        if (store_record(pRL, record) != 1) {
            return report_no_memory(pRL, pRL->iSize, cpMsg);
        }
    }
    if (iRow == 0) {
        text_print(cpMsg, DB_MESSAGE_SIZE, "%d", pRL->iRows);
    }
    return iRow == 0 ? 1 : 0;
}

// Writes a line of the export without the tabs at its end. False with errno on failure.
bool write_export_line(std::FILE *file, std::string_view line) {
    line = line.substr(0, line.find_last_not_of('\t') + 1);
    return std::fprintf(file, "%.*s\n", static_cast<int>(line.size()), line.data()) >= 0;
}

int export_failed(const char *cpFile, int iErrno, char *cpMsg) {
    text_print(cpMsg, DB_MESSAGE_SIZE, "write to %s: %s", cpFile, error_text(iErrno).c_str());
    return 0;
}

int make_export(DB_PROC_PIP *pPP, const char *cpFile, char *cpMsg, str_log *strLog) {
    std::string line;
    if (!read_columns(pPP, nullptr, cpMsg, &line)) {
        return 0;
    }
    if (db_columns(line).size() > DB_MAX_COLUMNS) {
        text_print(cpMsg, DB_MESSAGE_SIZE, "too much columns ( max %d )", DB_MAX_COLUMNS);
        trace_log(strLog, TRACE_EVENTS, "OA_MAKE_EXPORT_FILE  ERROR: too much columns ( max %d )",
                  DB_MAX_COLUMNS);
        return 0;
    }
    unique_file file(std::fopen(cpFile, "we"));
    if (!file) {
        return export_failed(cpFile, errno, cpMsg);
    }
    int iRow = 1;
    while (iRow == 1) {
        if (!write_export_line(file.get(), line)) {
            return export_failed(cpFile, errno, cpMsg);
        }
        iRow = next_row(pPP, nullptr, cpMsg, &line);
    }
    if (std::fclose(file.release()) != 0) {
        const int iErrno = errno;
        i_FILE_CLOSE(iErrno);
        return export_failed(cpFile, iErrno, cpMsg);
    }
    return iRow == 0 ? 1 : 0;
}

} // namespace

int iOA_MAKE_DB_REC_LIS(DB_PROC_PIP sctPP, char *cpMsg, DB_REC_LIS *pRL, str_log strLog) {
    trace_log(&strLog, TRACE_DETAILS, "+++ OA_MAKE_DB_REC_LIS  id=%s", db_id(pRL));
    vDB_SEL_FREE(pRL);
    const int iResult = make_list(&sctPP, cpMsg, pRL);
    trace_log(&strLog, TRACE_DETAILS, "--- OA_MAKE_DB_REC_LIS   rows=%s", cpMsg);
    return iResult;
}

int iOA_GET_CALCULATED_VALUE(DB_PROC_PIP *pPP, char *cpMsg, int iMsgLen, const char *cpId) {
    std::string value; // the last line before the count of rows, which has no fields
    std::string line;
    while (db_next_line(pPP, &line) && (!db_contains(line, "Rows") || db_contains(line, "\t"))) {
        if (!line.empty()) {
            value = line;
        }
    }
    text_copy(cpMsg, iMsgLen, value);
    const std::size_t tab = value.find('\t');
    if (tab == std::string::npos) {
        PROT(by_language("E012-DATABAS %s SQL pipe doesn't return the expected characters",
                         "E012-DATABAS %s SQL-Pipe liefert nicht die erwarteten Zeichen",
                         "E012-DATABAS %s SQL-Pipe liefat net des wos erwart werd"),
             cpId);
        return 0;
    }
    text_copy(cpMsg, iMsgLen, std::string_view(value).substr(0, tab));
    return 1;
}

int iOA_MAKE_EXPORT_FILE(DB_PROC_PIP *pPP, const char *cpTable, char *cpMsg, int iMsgLen,
                         str_log strLog) {
    trace_log(&strLog, TRACE_DETAILS, "+++ OA_MAKE_EXPORT_FILE  %s", cpTable);
    char szFile[1024];
    text_print(szFile, "gv_rw_work:%s.exp", cpTable);
    resolve_path(szFile, sizeof szFile);
    char szError[DB_MESSAGE_SIZE] = "";
    const int iResult = make_export(pPP, szFile, szError, &strLog);
    if (iResult != 1) {
        text_copy(cpMsg, iMsgLen, szError);
    }
    trace_log(&strLog, TRACE_DETAILS, "--- OA_MAKE_EXPORT_FILE  %s %s", szFile, szError);
    return iResult;
}
