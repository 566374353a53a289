// Running statements (access.h): the semaphore, the tool's command, and what its first lines say.
#include "common/unix/database/access.h"

#include "common/common/cm_message.h"
#include "common/common/owner.h"
#include "common/common/shell_quote.h"
#include "common/common/text.h"
#include "common/unix/configuration/directories.h"
#include "common/unix/configuration/environment.h"
#include "common/unix/database/date.h"
#include "common/unix/database/export.h"
#include "common/unix/database/record_list.h"
#include "common/unix/database/rows.h"
#include "common/unix/database/statement.h"
#include "common/unix/database/tool.h"
#include "common/unix/processes/child.h"
#include "common/unix/processes/pipe.h"
#include "common/unix/processes/semaphore.h"
#include "common/unix/trace/trace.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

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

std::string tool_path() {
    return database_directory() + "damisql";
}

// A statement while it is run.
struct s_STATEMENT {
    const char *cpSql;
    std::string lowered;
    std::string table;
    std::string tool; // the database tool's path
    DB_REC_LIS *pRL;
    bool bExport;
    char szMsg[DB_MESSAGE_SIZE];
};

void protocol_statement(const s_STATEMENT &s) {
    PROT(by_language("I001-DATABAS %s > SQLcommand: %s", "I001-DATABAS %s > SQL-Kommando: %s",
                     "I001-DATABAS %s > SQL-Kommando war: %s"),
         db_id(s.pRL), s.cpSql);
}

void protocol_command_error(const DB_REC_LIS *pRL, const char *cpText) {
    PROT(by_language("E014-DATABAS OA_DO_SQL %s: error from SQLcommand: %s",
                     "E014-DATABAS OA_DO_SQL %s: Fehler vom SQL-Kommando: %s",
                     "E014-DATABAS OA_DO_SQL %s: Fälla vom SQL-Kommando: %s"),
         db_id(pRL), cpText);
}

std::string command_of(const s_STATEMENT &s, int iTraceLevel) {
    return shell_quoted(s.tool, QUOTES_NONE) + " -d vorna_db -q \"" +
           shell_quoted(s.cpSql, QUOTES_DOUBLE) + "\" " + (iTraceLevel >= 4 ? "-xall:ff " : "") +
           "</dev/null";
}

bool is_aggregate(const std::string &sql) {
    constexpr std::string_view kStarts[] = {"select count(", "select sum(", "select min(",
                                            "select max("};
    return !db_contains(sql, "group by") &&
           std::any_of(std::begin(kStarts), std::end(kStarts),
                       [&sql](std::string_view start) { return sql.starts_with(start); });
}

// Reads the rows of an export, whose file is then in *file.
int read_export(s_STATEMENT *s, s_TOOL_OUTPUT *output, std::string *file, str_log strLog) {
    std::string table = s->table;
    if (!table.empty() && table.back() == ';') {
        table.pop_back();
    }
    text_copy(s->szMsg, table);
    return iOA_MAKE_EXPORT_FILE(output, table, file, s->szMsg, strLog);
}

int read_select(s_STATEMENT *s, s_TOOL_OUTPUT *output, std::string *file, str_log strLog) {
    if (is_aggregate(s->lowered)) {
        return i_READ_VALUE(output, s->szMsg, sizeof s->szMsg);
    }
    if (s->bExport) {
        return read_export(s, output, file, strLog);
    }
    if (s->pRL == nullptr) {
        text_copy(s->szMsg, "missing DB_REC_LIS-pointer");
        protocol_command_error(s->pRL, s->szMsg);
        return 0;
    }
    return i_READ_ROWS(output, s->szMsg, s->pRL, &strLog);
}

// The line that tells how a statement without rows has ended.
int judge_outcome(s_STATEMENT *s, const std::string &line) {
    constexpr std::string_view kAffected = "Rows affected =";
    if (const std::size_t place = line.find(kAffected); place != std::string::npos) {
        const std::string_view count =
            text_stripped(std::string_view(line).substr(place + kAffected.size()));
        text_copy(s->szMsg, count.substr(0, count.find_first_of(" \t")));
        return 1;
    }
    text_copy(s->szMsg, line);
    if (!db_contains(line, "Message:")) {
        return 1;
    }
    protocol_statement(*s);
    PROT(by_language("E015-DATABAS OA_DO_SQL %s: error from DAMISQL: %s",
                     "E015-DATABAS OA_DO_SQL %s: Fehler von DAMISQL: %s",
                     "E015-DATABAS OA_DO_SQL %s: Fälla vo DAMISQL: %s"),
         db_id(s->pRL), s->szMsg);
    return 0;
}

int read_change(s_STATEMENT *s, s_TOOL_OUTPUT *output) {
    while (db_next_line(output)) {
        if (db_contains(output->line, "Elapsed time")) {
            return 1;
        }
        if (db_contains(output->line, "Rows ") || db_contains(output->line, "Message:")) {
            return judge_outcome(s, output->line);
        }
    }
    text_copy(s->szMsg, db_no_result(*output));
    return 0;
}

// The first line tells of a statement that the database refused, for most reasons.
int accept_or_report_error(s_STATEMENT *s, std::string_view line) {
    if (db_contains(line, " Invalid nested ")) {
        text_copy(s->szMsg, "0");
        return 1;
    }
    text_copy(s->szMsg, line.substr(line.find("Error:")));
    protocol_statement(*s);
    protocol_command_error(s->pRL, s->szMsg);
    return 0;
}

int read_output(s_STATEMENT *s, s_TOOL_OUTPUT *output, std::string *file, str_log strLog) {
    if (db_next_line(output) && db_contains(output->line, " Error: ")) {
        return accept_or_report_error(s, output->line);
    }
    if (!db_contains(output->line, "SQL-1>") && !output->bEndless) {
        db_skip_to(output, "SQL-1>");
    }
    return s->lowered.starts_with("select") ? read_select(s, output, file, strLog)
                                            : read_change(s, output);
}

// A tool that gave no result, or that was ended while it gave it.
int report_tool_failure(s_STATEMENT *s, const s_TOOL_OUTPUT &output, int iStatus) {
    const int iSignal = end_signal(iStatus);
    const std::string end =
        iSignal != 0 ? "killed by signal " + std::to_string(iSignal) : exit_text(iStatus);
    const std::string how = s->tool + ": " + end +
                            (output.bEndless ? ", a line of its output has no end"
                             : output.bEnded ? ", its output ends before the result"
                                             : "");
    text_copy(s->szMsg, how);
    protocol_command_error(s->pRL, (how + ": " + s->cpSql).c_str());
    if (s->pRL != nullptr) {
        vDB_SEL_FREE(s->pRL);
    }
    return 0;
}

// Waits for the tool's end and judges it: an output that just ends is whole for a tool that ended
// well. What follows a result is not read, the signal that tells the tool so is no failure.
int close_tool(s_STATEMENT *s, s_TOOL_OUTPUT *output, int iResult) {
    int iStatus = 0;
    iPIPE_CLOSE_status(output->pPP, &iStatus);
    const int iSignal = end_signal(iStatus);
    const bool bDied = iSignal != 0 && iSignal != SIGPIPE;
    const bool bSilent = iResult == 0 && !s->lowered.starts_with("select"); // a select has told it
    const bool bCut = output->bEnded && (bSilent || !ended_well(iStatus));
    return bDied || bCut || output->bEndless ? report_tool_failure(s, *output, iStatus) : iResult;
}

int report_pipe_error(const s_STATEMENT &s, str_log *strLog) {
    trace_log(strLog, TRACE_EVENTS, "OA_DO_SQL error from pipe open: %s: %s", db_id(s.pRL),
              s.szMsg);
    protocol_statement(s);
    PROT(by_language("E013-DATABAS %s %s: error during opening a pipe.",
                     "E013-DATABAS %s %s: Fehler beim Oeffnen einer Pipe.",
                     "E013-DATABAS %s %s: Fälla beim Aufmocha vo a Pipe."),
         kCaller, db_id(s.pRL));
    return 0;
}

// Runs the statement while the semaphore is held.
int run(s_STATEMENT *s, bool *pbRelease, str_log strLog) {
    if (s->table.empty()) {
        const std::string text = std::string("Could not find table name in statement ") + s->cpSql;
        protocol_command_error(s->pRL, text.c_str());
    }
    const std::string command = command_of(*s, strLog.iFlg);
    trace_log(&strLog, TRACE_DETAILS, "call pipe open with cmd: %s", command.c_str());
    DB_PROC_PIP pipe;
    if (iPIPE_OPEN(command.c_str(), "r", s->szMsg, sizeof s->szMsg, &pipe) != 0) {
        // A host that can start no process has none for those who wait either: the semaphore is
        // kept until this process ends.
        *pbRelease = false;
        return report_pipe_error(*s, &strLog);
    }
    s_TOOL_OUTPUT output = {&pipe, db_id(s->pRL)};
    std::string file;
    const int iRead = read_output(s, &output, &file, strLog);
    const int iResult = close_tool(s, &output, iRead);
    return file.empty() ? iResult : i_FINISH_EXPORT(file, iResult == 1, s->szMsg);
}

} // namespace

int iOA_DO_SQL(const char *cpSqlCmd, char cExportFlg, char *cpMsg, int iMsgLen, DB_REC_LIS *pRL,
               str_log strLog) {
    trace_log(&strLog, TRACE_DETAILS, "+++ OA_DO_SQL  id=%s SQL=%s", db_id(pRL), cpSqlCmd);
    if (pRL != nullptr) {
        vDB_SEL_FREE(pRL);
    }
    const std::string lowered = lower(cpSqlCmd);
    s_STATEMENT s = {cpSqlCmd, lowered, table_of(lowered), tool_path(), pRL, cExportFlg == 'y', ""};
    SCT_SEMA sema = {};
    text_copy(sema.szSema, "ctrl_db");
    text_print(sema.szCaller, "%s %s", kCaller, db_id(pRL));
    bool bRelease = true;
    int iResult = 0;
    if (i_SEMA('+', &sema, strLog) >= SEMA_ERROR) {
        text_copy(s.szMsg, sema.szMsg);
        bRelease = sema.hSema != 0; // the lock may have been granted before the failure
    } else {
        iResult = run(&s, &bRelease, strLog);
    }
    if (bRelease) {
        i_SEMA('-', &sema, strLog);
    }
    text_copy(cpMsg, iMsgLen, s.szMsg);
    trace_log(&strLog, TRACE_DETAILS, "--- OA_DO_SQL  returns %d  msg=%s", iResult, cpMsg);
    return iResult;
}

namespace {

// A copy of the statement with room to double every quote; null when memory runs out.
unique_memory<char> copy_statement(const char *cpSqlCmd, int *piSize) {
    *piSize = 2 * static_cast<int>(std::strlen(cpSqlCmd)) + 1;
    unique_memory<char> copy(static_cast<char *>(std::malloc(static_cast<std::size_t>(*piSize))));
    text_copy(copy.get(), *piSize, cpSqlCmd);
    return copy;
}

// Puts the statement in order and runs it.
int access_database(const char *cpSqlCmd, char *cpMsg, DB_REC_LIS *pRL, str_log strLog) {
    int iSize = 0;
    const unique_memory<char> sql = copy_statement(cpSqlCmd, &iSize);
    if (!sql) {
        text_copy(cpMsg, DB_MESSAGE_SIZE, "ERROR alloca() for local copy of cpSqlCmd failed");
        return 0;
    }
    // Only with its quotes in order does the statement tell what is a value.
    if (!db_repair_quotes(sql.get(), iSize)) {
        text_copy(cpMsg, DB_MESSAGE_SIZE, "extra quote in statement would hide its where, refused");
        protocol_command_error(pRL, (std::string(cpMsg) + ": " + cpSqlCmd).c_str());
        return 0;
    }
    SQL_LOWERCASE(sql.get());
    const bool bExport = std::strcmp(cpMsg, "export") == 0;
    if (!bExport) {
        cpMsg[0] = '\0';
    }
    i_setenv_vorna("vn_db");
    return iOA_DO_SQL(sql.get(), bExport ? 'y' : 'n', cpMsg, DB_MESSAGE_SIZE, pRL, strLog);
}

} // namespace

int iDB_ACCESS(const char *cpSqlCmd, char *cpMsg, DB_REC_LIS *pRL, str_log strLog) {
    if (cpSqlCmd[0] != '\0' && cpSqlCmd[1] == 'A') {
        return iDB_CONVERT_DATE_TIME(cpSqlCmd, cpMsg);
    }
    trace_log(&strLog, TRACE_EVENTS, "+++ DB_ACCESS id=%s  SQL=%s", db_id(pRL), cpSqlCmd);
    const int iResult = access_database(cpSqlCmd, cpMsg, pRL, strLog);
    trace_log(&strLog, TRACE_EVENTS, "--- DB_ACCESS returns %d  msg=%s", iResult, cpMsg);
    return iResult;
}
