// Running statements (access.h): the semaphore, the tool's command, and what its first lines say.
#include "common/unix/database/access.h"

#include "common/common/cm_message.h"
#include "common/common/shell_quote.h"
#include "common/common/text.h"
#include "common/unix/configuration/environment.h"
#include "common/unix/configuration/glbv.h"
#include "common/unix/database/date.h"
#include "common/unix/database/record_list.h"
#include "common/unix/database/rows.h"
#include "common/unix/database/statement.h"
#include "common/unix/database/tool.h"
#include "common/unix/processes/pipe.h"
#include "common/unix/processes/semaphore.h"
#include "common/unix/trace/trace.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr char kCaller[] = "OA_DO_SQL";
constexpr std::size_t kTableLength = 29;

std::string lower(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), text_lower);
    return result;
}

// The table that a statement works on, empty when none is found.
std::string table_of(const std::string &sql) {
    struct s_KIND {
        std::string_view kind;
        std::string_view before; // the table's name
    };
    constexpr s_KIND kKinds[] = {
        {"select", " from "}, {"update", "update "}, {"insert", " into "}, {"delete", " from "}};
    for (const s_KIND &kind : kKinds) {
        if (sql.starts_with(kind.kind)) {
            const std::size_t place = sql.find(kind.before);
            if (place == std::string::npos) {
                return "";
            }
            const std::size_t begin = sql.find_first_not_of(' ', place + kind.before.size());
            const std::size_t end = sql.find_first_of(" \t\r\n(", begin);
            return begin == std::string::npos
                       ? ""
                       : sql.substr(begin, std::min(end - begin, kTableLength));
        }
    }
    return "";
}

// A statement while it is run.
struct s_STATEMENT {
    const char *cpSql;
    std::string lowered;
    std::string table;
    DB_REC_LIS *pRL;
    char *cpMsg;
    int iMsgLen;
    bool bExport;
};

void protocol_statement(const s_STATEMENT &s) {
    PROT(by_language("I001-DATABAS %s > SQLcommand: %s", "I001-DATABAS %s > SQL-Kommando: %s",
                     "I001-DATABAS %s > SQL-Kommando war: %s"),
         db_id(s.pRL), s.cpSql);
}

void protocol_command_error(const s_STATEMENT &s, const char *cpText) {
    PROT(by_language("E014-DATABAS OA_DO_SQL %s: error from SQLcommand: %s",
                     "E014-DATABAS OA_DO_SQL %s: Fehler vom SQL-Kommando: %s",
                     "E014-DATABAS OA_DO_SQL %s: Fälla vom SQL-Kommando: %s"),
         db_id(s.pRL), cpText);
}

std::string command_of(const s_STATEMENT &s, int iTraceLevel) {
    char szName[] = "gv_ro_db";
    char szDirectory[GLBV_VALUE_SIZE];
    glbv('r', szName, szDirectory);
    const std::string directory = szDirectory[0] == '?' || szDirectory[0] == '\0'
                                      ? ""
                                      : shell_quoted(szDirectory, QUOTES_NONE);
    return directory + "damisql -d vorna_db -q \"" + shell_quoted(s.cpSql, QUOTES_DOUBLE) + "\" " +
           (iTraceLevel >= 4 ? "-xall:ff " : "") + "</dev/null";
}

bool is_aggregate(const std::string &sql) {
    constexpr std::string_view kStarts[] = {"select count(", "select sum(", "select min(",
                                            "select max("};
    return !db_contains(sql, "group by") &&
           std::any_of(std::begin(kStarts), std::end(kStarts),
                       [&sql](std::string_view start) { return sql.starts_with(start); });
}

int read_select(const s_STATEMENT &s, DB_PROC_PIP *pPP, str_log strLog) {
    if (is_aggregate(s.lowered)) {
        return iOA_GET_CALCULATED_VALUE(pPP, s.cpMsg, s.iMsgLen, db_id(s.pRL));
    }
    if (s.bExport) {
        std::string table = s.table;
        if (!table.empty() && table.back() == ';') {
            table.pop_back();
        }
        text_copy(s.cpMsg, s.iMsgLen, table);
        return iOA_MAKE_EXPORT_FILE(pPP, table.c_str(), s.cpMsg, s.iMsgLen, strLog);
    }
    if (s.pRL == nullptr) {
        text_copy(s.cpMsg, s.iMsgLen, "missing DB_REC_LIS-pointer");
        protocol_command_error(s, s.cpMsg);
        return 0;
    }
    char szMsg[DB_MESSAGE_SIZE];
    const int iResult = iOA_MAKE_DB_REC_LIS(*pPP, szMsg, s.pRL, strLog);
    text_copy(s.cpMsg, s.iMsgLen, szMsg);
    return iResult;
}

// The line that tells how a statement without rows has ended.
int judge_outcome(const s_STATEMENT &s, const std::string &line) {
    constexpr std::string_view kAffected = "Rows affected =";
    if (const std::size_t place = line.find(kAffected); place != std::string::npos) {
        const std::string_view count =
            text_stripped(std::string_view(line).substr(place + kAffected.size()));
        text_copy(s.cpMsg, s.iMsgLen, count.substr(0, count.find_first_of(" \t")));
        return 1;
    }
    text_copy(s.cpMsg, s.iMsgLen, line);
    if (line[0] != 'M') {
        return 1;
    }
    protocol_statement(s);
    PROT(by_language("E015-DATABAS OA_DO_SQL %s: error from DAMISQL: %s",
                     "E015-DATABAS OA_DO_SQL %s: Fehler von DAMISQL: %s",
                     "E015-DATABAS OA_DO_SQL %s: Fälla vo DAMISQL: %s"),
         db_id(s.pRL), s.cpMsg);
    return 0;
}

int read_change(const s_STATEMENT &s, DB_PROC_PIP *pPP) {
    std::string line;
    while (db_next_line(pPP, &line)) {
        if (db_contains(line, "Elapsed time")) {
            return 1;
        }
        if (db_contains(line, "Rows ") || db_contains(line, "Message:")) {
            return judge_outcome(s, line);
        }
    }
    text_copy(s.cpMsg, s.iMsgLen, "the database tool gave no result");
    protocol_command_error(s, s.cpMsg);
    return 0;
}

// The first line tells of a statement that the database refused, for most reasons.
int accept_or_report_error(const s_STATEMENT &s, const std::string &line) {
    if (db_contains(line, " Invalid nested ")) {
        text_copy(s.cpMsg, s.iMsgLen, "0");
        return 1;
    }
    text_copy(s.cpMsg, s.iMsgLen, std::string_view(line).substr(line.find("Error:")));
    protocol_statement(s);
    protocol_command_error(s, s.cpMsg);
    return 0;
}

int read_output(const s_STATEMENT &s, DB_PROC_PIP *pPP, str_log strLog) {
    std::string line;
    if (db_next_line(pPP, &line) && db_contains(line, " Error: ")) {
        return accept_or_report_error(s, line);
    }
    if (!db_contains(line, "SQL-1>")) {
        db_skip_to(pPP, "SQL-1>", &line);
    }
    return s.lowered.starts_with("select") ? read_select(s, pPP, strLog) : read_change(s, pPP);
}

int report_pipe_error(const s_STATEMENT &s, str_log *strLog) {
    trace_log(strLog, TRACE_EVENTS, "OA_DO_SQL error from pipe open: %s: %s", db_id(s.pRL),
              s.cpMsg);
    protocol_statement(s);
    PROT(by_language("E013-DATABAS %s %s: error during opening a pipe.",
                     "E013-DATABAS %s %s: Fehler beim Oeffnen einer Pipe.",
                     "E013-DATABAS %s %s: Fälla beim Aufmocha vo a Pipe."),
         kCaller, db_id(s.pRL));
    return 0;
}

// Runs the statement while the semaphore is held.
int run(const s_STATEMENT &s, bool *pbRelease, str_log strLog) {
    if (s.table.empty()) {
        const std::string text = std::string("Could not find table name in statement ") + s.cpSql;
        protocol_command_error(s, text.c_str());
    }
    const std::string command = command_of(s, strLog.iFlg);
    trace_log(&strLog, TRACE_DETAILS, "call pipe open with cmd: %s", command.c_str());
    DB_PROC_PIP pipe;
    if (iPIPE_OPEN(command.c_str(), "r", s.cpMsg, s.iMsgLen, &pipe) != 0) {
        // A host that can start no process has none for those who wait either: the semaphore is
        // kept until this process ends.
        *pbRelease = false;
        return report_pipe_error(s, &strLog);
    }
    const int iResult = read_output(s, &pipe, strLog);
    iPIPE_CLOSE(&pipe);
    return iResult;
}

} // namespace

int iOA_DO_SQL(const char *cpSqlCmd, char cExportFlg, char *cpMsg, int iMsgLen, DB_REC_LIS *pRL,
               str_log strLog) {
    trace_log(&strLog, TRACE_DETAILS, "+++ OA_DO_SQL  id=%s SQL=%s", db_id(pRL), cpSqlCmd);
    if (pRL != nullptr) {
        vDB_SEL_FREE(pRL);
    }
    const std::string lowered = lower(cpSqlCmd);
    const s_STATEMENT s = {cpSqlCmd, lowered, table_of(lowered), pRL,
                           cpMsg,    iMsgLen, cExportFlg == 'y'};
    SCT_SEMA sema = {};
    text_copy(sema.szSema, "ctrl_db");
    text_print(sema.szCaller, "%s %s", kCaller, db_id(pRL));
    bool bRelease = true;
    int iResult = 0;
    if (i_SEMA('+', &sema, strLog) >= SEMA_ERROR) {
        text_copy(cpMsg, iMsgLen, sema.szMsg);
        bRelease = sema.hSema != 0; // the lock may have been granted before the failure
    } else {
        iResult = run(s, &bRelease, strLog);
    }
    if (bRelease) {
        i_SEMA('-', &sema, strLog);
    }
    trace_log(&strLog, TRACE_DETAILS, "--- OA_DO_SQL  returns %d  msg=%s", iResult, cpMsg);
    return iResult;
}

int iDB_ACCESS(const char *cpSqlCmd, char *cpMsg, DB_REC_LIS *pRL, str_log strLog) {
    if (cpSqlCmd[0] != '\0' && cpSqlCmd[1] == 'A') {
        return iDB_CONVERT_DATE_TIME(cpSqlCmd, cpMsg);
    }
    trace_log(&strLog, TRACE_EVENTS, "+++ DB_ACCESS id=%s  SQL=%s", db_id(pRL), cpSqlCmd);
    // Repairing may double every quote.
    std::vector<char> sql(2 * std::strlen(cpSqlCmd) + 1);
    text_copy(sql.data(), static_cast<long>(sql.size()), cpSqlCmd);
    // Only with its quotes in order does the statement tell what is a value.
    SQL_LOWERCASE(CLEANUP_QUOTA(sql.data(), static_cast<int>(sql.size())));
    const bool bExport = std::strcmp(cpMsg, "export") == 0;
    if (!bExport) {
        cpMsg[0] = '\0';
    }
    i_setenv_vorna("vn_db");
    const int iResult =
        iOA_DO_SQL(sql.data(), bExport ? 'y' : 'n', cpMsg, DB_MESSAGE_SIZE, pRL, strLog);
    trace_log(&strLog, TRACE_EVENTS, "--- DB_ACCESS returns %d  msg=%s", iResult, cpMsg);
    return iResult;
}
