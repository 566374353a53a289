// A select's output as a list of records or one value (rows.h).
#include "common/unix/database/rows.h"

#include "common/common/cm_message.h"
#include "common/common/text.h"
#include "common/unix/database/record_list.h"
#include "common/unix/database/tool.h"
#include "common/unix/processes/pipe.h"
#include "common/unix/trace/trace.h"

#include <algorithm>
#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::size_t kErrorLength = 255;  // bytes of an error line that count
constexpr std::size_t kColumnLength = 64;  // bytes of a column's name that count
constexpr std::size_t kRecordReserve = 32; // bytes of a record beside its row and the header

// While it lives, memory that cannot be had is told to who asks for it, and to nobody else: the
// lists can grow beyond all bounds, and theirs can be given back.
class memory_asker {
public:
    memory_asker() : handler_(std::set_new_handler(nullptr)) {}
    memory_asker(const memory_asker &) = delete;
    memory_asker &operator=(const memory_asker &) = delete;
    ~memory_asker() { std::set_new_handler(handler_); }

private:
    std::new_handler handler_;
};

// The database's own message about a select that failed.
int report_select_error(const char *cpId, std::string_view message, char *cpMsg) {
    text_copy(cpMsg, DB_MESSAGE_SIZE, message.substr(0, kErrorLength));
    PROT(by_language("E009-DATABAS OA_MAKE_DB_REC_LIS %s: %s",
                     "E009-DATABAS OA_MAKE_DB_REC_LIS Fehler %s: %s",
                     "E009-DATABAS OA_MAKE_DB_REC_LIS Fälla %s: %s"),
         cpId, cpMsg);
    return 0;
}

int report_too_many_columns(const char *cpId, char *cpMsg) {
    text_print(cpMsg, DB_MESSAGE_SIZE, "too much columns ( max %d )", DB_MAX_COLUMNS);
    PROT(by_language("E010-DATABAS OA_MAKE_DB_REC_LIS %s: too many columns ( max %d )",
                     "E010-DATABAS OA_MAKE_DB_REC_LIS %s: zu viele Spalten ( max. %d )",
                     "E010-DATABAS OA_MAKE_DB_REC_LIS %s: z'vui Spaltn ( hechstns %d )"),
         cpId, DB_MAX_COLUMNS);
    return 0;
}

// Memory has run out: reports it with that of the rows that were read.
int give_memory_back(const char *cpId, DB_REC_LIS *pRL, char *cpMsg) {
    vDB_SEL_FREE(pRL);
    const int iNeeded = static_cast<int>(pRL->iSize);
    text_print(cpMsg, DB_MESSAGE_SIZE, "cannot allocate memory  ( %d bytes)", iNeeded);
    PROT(by_language("E011-DATABAS %s %s: cannot allocate memory  ( %d Bytes)",
                     "E011-DATABAS %s %s: kein Speicher verfuegbar  ( %d Bytes)",
                     "E011-DATABAS %s %s: da Speicha is voi  ( %d Bytes)"),
         "OA_MAKE_DB_REC_LIS", cpId, iNeeded);
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

int make_list(s_TOOL_OUTPUT *pOutput, char *cpMsg, DB_REC_LIS *pRL) {
    if (!read_header(pOutput, cpMsg)) {
        return 0;
    }
    const std::size_t iHeader = pOutput->line.size();
    const std::vector<std::string> columns = db_columns(pOutput->line);
    if (columns.size() > DB_MAX_COLUMNS) {
        return report_too_many_columns(pOutput->cpId, cpMsg);
    }
    int iRow = 0;
    while ((iRow = next_row(pOutput, cpMsg)) == 1) {
        pRL->iSize = pOutput->line.size() + iHeader + kRecordReserve;
        const std::string record = record_of(columns, pOutput->line);
        pRL->iSize = std::max(pRL->iSize, record.size() + 1);
        if (store_record(pRL, record) != 1) {
            return give_memory_back(pOutput->cpId, pRL, cpMsg);
        }
    }
    if (iRow == 0) {
        text_print(cpMsg, DB_MESSAGE_SIZE, "%d", pRL->iRows);
    }
    return iRow == 0 ? 1 : 0;
}

bool is_error_text(std::string_view line) {
    return db_contains(line, "Error while prepar") || db_contains(line, ", NativeError = ") ||
           line.starts_with("Message:");
}

// Makes the database's message, which stands in or behind its error line, the output's line.
void find_message(s_TOOL_OUTPUT *pOutput) {
    const std::string error = pOutput->line;
    if (!db_contains(error, "Message:") && !db_skip_to(pOutput, "Message:")) {
        pOutput->line = error;
    }
}

// Makes the first row behind the header the output's line. False when there is none: the line is
// then what the tool said instead.
bool find_value(s_TOOL_OUTPUT *pOutput) {
    for (int iLines = 0; db_next_line(pOutput);) {
        if (is_error_text(pOutput->line)) {
            find_message(pOutput);
            return false;
        }
        if (db_closes_rows(pOutput->line)) {
            break;
        }
        if (!pOutput->line.empty() && ++iLines == 2) { // the first is the header
            return db_contains(pOutput->line, "\t");
        }
    }
    pOutput->line.clear();
    return false;
}

} // namespace

bool read_header(s_TOOL_OUTPUT *pOutput, char *cpMsg) {
    if (!db_next_line(pOutput)) {
        report_select_error(pOutput->cpId, db_no_result(*pOutput), cpMsg);
        return false;
    }
    if (db_contains(pOutput->line, "Error while prepar")) { // the message is further down
        const bool bMessage = db_skip_to(pOutput, "Message:");
        report_select_error(pOutput->cpId, bMessage ? pOutput->line : db_no_result(*pOutput),
                            cpMsg);
        return false;
    }
    if (!db_next_line(pOutput)) { // the line before told of no error, the header follows it
        report_select_error(pOutput->cpId, db_no_result(*pOutput), cpMsg);
        return false;
    }
    return true;
}

int next_row(s_TOOL_OUTPUT *pOutput, char *cpMsg) {
    if (!db_next_line(pOutput)) {
        if (pOutput->bEndless) {
            report_select_error(pOutput->cpId, db_no_result(*pOutput), cpMsg);
        }
        return pOutput->bEndless ? -1 : 0;
    }
    if (db_closes_rows(pOutput->line)) {
        return 0;
    }
    if (db_contains(pOutput->line, ", NativeError = ")) {
        db_next_line(pOutput);
        report_select_error(pOutput->cpId, pOutput->line, cpMsg);
        return -1;
    }
    return 1;
}

int i_READ_ROWS(s_TOOL_OUTPUT *pOutput, char *cpMsg, DB_REC_LIS *pRL, str_log *strLog) {
    trace_log(strLog, TRACE_DETAILS, "+++ OA_MAKE_DB_REC_LIS  id=%s", pOutput->cpId);
    vDB_SEL_FREE(pRL);
    int iResult = 0;
    try {
        const memory_asker asker;
        iResult = make_list(pOutput, cpMsg, pRL);
    } catch (const std::bad_alloc &) {
        iResult = give_memory_back(pOutput->cpId, pRL, cpMsg);
    }
    trace_log(strLog, TRACE_DETAILS, "--- OA_MAKE_DB_REC_LIS   rows=%s", cpMsg);
    return iResult;
}

int iOA_MAKE_DB_REC_LIS(DB_PROC_PIP sctPP, char *cpMsg, DB_REC_LIS *pRL, str_log strLog) {
    s_TOOL_OUTPUT output = {&sctPP, db_id(pRL)};
    return i_READ_ROWS(&output, cpMsg, pRL, &strLog);
}

int i_READ_VALUE(s_TOOL_OUTPUT *pOutput, char *cpMsg, int iMsgLen) {
    const bool bValue = find_value(pOutput);
    const std::string_view line = pOutput->line;
    text_copy(cpMsg, iMsgLen, bValue ? line.substr(0, line.find('\t')) : line);
    if (!bValue) {
        PROT(by_language("E012-DATABAS %s SQL pipe doesn't return the expected characters",
                         "E012-DATABAS %s SQL-Pipe liefert nicht die erwarteten Zeichen",
                         "E012-DATABAS %s SQL-Pipe liefat net des wos erwart werd"),
             pOutput->cpId);
    }
    return bValue ? 1 : 0;
}

int iOA_GET_CALCULATED_VALUE(DB_PROC_PIP *pPP, char *cpMsg, int iMsgLen, const char *cpId) {
    s_TOOL_OUTPUT output = {pPP, cpId};
    return i_READ_VALUE(&output, cpMsg, iMsgLen);
}
