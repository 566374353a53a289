// A select's output as a list of records, an export file or one value (cm_db.h).
#include "common/common/owner.h"
#include "common/common/text.h"
#include "common/unix/cm_db.h"
#include "common/unix/cm_db_tool.h"
#include "common/unix/cm_file_util.h"
#include "common/unix/cm_path.h"

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

const char *id_of(const DB_REC_LIS *pRL) {
    return pRL == nullptr ? "NULL" : pRL->szId;
}

// The database's own message about a select that failed.
int report_select_error(const DB_REC_LIS *pRL, std::string_view message, char *cpMsg) {
    text_copy(cpMsg, DB_MESSAGE_SIZE, message.substr(0, kErrorLength));
    PROT(by_language("E009-DATABAS OA_MAKE_DB_REC_LIS %s: %s",
                     "E009-DATABAS OA_MAKE_DB_REC_LIS Fehler %s: %s",
                     "E009-DATABAS OA_MAKE_DB_REC_LIS Fälla %s: %s"),
         id_of(pRL), cpMsg);
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
         id_of(pRL), DB_MAX_COLUMNS);
    return 0;
}

// "|column=value" for every column, closed by "|"; values shift to the left over empty fields.
std::string record_of(const std::vector<std::string> &columns, std::string_view row) {
    const std::vector<std::string_view> values = db_fields(row);
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
         "OA_MAKE_DB_REC_LIS", id_of(pRL), iNeeded);
    return 0;
}

// The columns of the select whose output begins; false, with the message, when it has none.
bool read_columns(DB_PROC_PIP *pPP, const DB_REC_LIS *pRL, char *cpMsg, std::string *header) {
    if (!db_next_line(pPP, header) || contains(*header, "Error while prepar")) {
        report_not_prepared(pPP, pRL, cpMsg);
        return false;
    }
    if (!db_next_line(pPP, header)) { // the line before told of no error, the header follows it
        report_select_error(pRL, "the database tool gave no header", cpMsg);
        return false;
    }
    return true;
}

} // namespace

int iOA_MAKE_DB_REC_LIS(DB_PROC_PIP sctPP, char *cpMsg, DB_REC_LIS *pRL, str_log strLog) {
    trace_log(&strLog, 2, "+++ OA_MAKE_DB_REC_LIS  id=%s", id_of(pRL));
    vDB_SEL_FREE(pRL);
    std::string header;
    if (!read_columns(&sctPP, pRL, cpMsg, &header)) {
        return 0;
    }
    const std::vector<std::string> columns = db_columns(header);
    if (columns.size() > DB_MAX_COLUMNS) {
        return report_too_many_columns(pRL, cpMsg);
    }
    std::string row;
    while (db_next_line(&sctPP, &row) && !contains(row, "Rows")) {
        if (contains(row, ", NativeError = ")) {
            db_next_line(&sctPP, &row);
            return report_select_error(pRL, row, cpMsg);
        }
        const std::string record = record_of(columns, row);
        pRL->iSize = std::max(row.size() + header.size() + kRecordReserve, record.size() + 1);
        if (store_record(pRL, record) != 1) {
            return report_no_memory(pRL, pRL->iSize, cpMsg);
        }
    }
    text_print(cpMsg, DB_MESSAGE_SIZE, "%d", pRL->iRows);
    trace_log(&strLog, 2, "--- OA_MAKE_DB_REC_LIS   rows=%s", cpMsg);
    return 1;
}

int iOA_GET_CALCULATED_VALUE(DB_PROC_PIP *pPP, char *cpMsg, int iMsgLen, const char *cpId) {
    std::string value; // the last line before the count of rows
    std::string line;
    while (db_next_line(pPP, &line) && !contains(line, "Rows")) {
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
    trace_log(&strLog, 2, "+++ OA_MAKE_EXPORT_FILE  %s", cpTable);
    char szFile[1024];
    text_print(szFile, "gv_rw_work:%s.exp", cpTable);
    resolve_path(szFile, sizeof szFile);
    char szError[DB_MESSAGE_SIZE];
    std::string line;
    if (!read_columns(pPP, nullptr, szError, &line)) {
        text_copy(cpMsg, iMsgLen, szError);
        return 0;
    }
    if (db_columns(line).size() > DB_MAX_COLUMNS) {
        text_print(cpMsg, iMsgLen, "too much columns ( max %d )", DB_MAX_COLUMNS);
        trace_log(&strLog, 1, "--- OA_MAKE_EXPORT_FILE  ERROR: too much columns ( max %d )",
                  DB_MAX_COLUMNS);
        return 0;
    }
    unique_file file(std::fopen(szFile, "we"));
    bool bWritten = static_cast<bool>(file);
    do {
        while (!line.empty() && line.back() == '\t') {
            line.pop_back();
        }
        bWritten = bWritten && std::fprintf(file.get(), "%s\n", line.c_str()) >= 0;
    } while (db_next_line(pPP, &line) && !contains(line, "Rows"));
    if (file && std::fclose(file.release()) != 0) {
        bWritten = false;
        i_FILE_CLOSE(errno);
    }
    if (!bWritten) {
        text_print(cpMsg, iMsgLen, "write to %s: %s", szFile, error_text(errno).c_str());
    }
    trace_log(&strLog, 2, "--- OA_MAKE_EXPORT_FILE  %s", szFile);
    return bWritten ? 1 : 0;
}
