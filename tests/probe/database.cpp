// The catalogue: statements, the list of records, dates.
#include "tests/probe/probe.h"

#include "common/common/text.h"
#include "common/unix/cm_db.h"
#include "common/unix/cm_file_util.h"
#include "common/unix/cm_hal_pipe.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vn_probe {
namespace {

DB_REC_LIS theList = {"t %s", 7, 7, nullptr, nullptr};

void show_list() {
    for (auto *record = theList.pstrFirstRec; record != nullptr; record = record->pstrNextRec) {
        std::printf("  %d %s\n", record->iRow, record->cpData == nullptr ? "NULL" : record->cpData);
    }
    vDB_SEL_FREE(&theList);
}

// STATEMENT ["export", or "no list"]
void run_sql(Words &words) {
    const char *statement = words.text();
    const std::string flag = words.text_or(const_cast<char *>("old"));
    Buffer message = buffer(DB_MESSAGE_SIZE, flag);
    const bool list = flag != "no list";
    const int result = iDB_ACCESS(statement, message.data(), list ? &theList : nullptr, log);
    std::printf("%d '%s' %d rows, %zu\n", result, message.data(), theList.iRows, theList.iSize);
    show_list();
}

// A statement as it is normalised in a buffer, of 256 bytes if not said otherwise.
void run_normalise(Words &words) {
    const char *statement = words.text();
    Buffer sql = buffer(words.more() ? static_cast<size_t>(words.number()) : 256, statement);
    std::printf("%s\n", SQL_LOWERCASE(CLEANUP_QUOTA(sql.data(), static_cast<int>(sql.size()))));
}

// All that depends on the database's type, and what becomes of a KEY.
void run_date_functions(Words &) {
    std::printf("%s %s %s %s\n", cpDB_DATE(), cpDB_DATE_VORNA(), cpDB_DATE_TIME_VORNA(),
                cpDB_MAX_COL_NAME("a"));
}

// What other callers read from a COMMAND of their own: a list, then a value.
void run_sql_readers(Words &words) {
    DB_PROC_PIP pipe;
    Buffer message = buffer(DB_MESSAGE_SIZE);
    iDB_SEL_FIRST(&theList, "|old=1|");
    iPIPE_OPEN(words.text(), "r", message.data(), DB_MESSAGE_SIZE, &pipe);
    std::printf("%d ", iOA_MAKE_DB_REC_LIS(pipe, message.data(), &theList, log));
    std::printf("'%s'\n", message.data());
    show_list();
    std::printf("%d ", iOA_GET_CALCULATED_VALUE(&pipe, message.data(), DB_MESSAGE_SIZE, "t"));
    std::printf("'%s' %d\n", message.data(), iPIPE_CLOSE(&pipe));
}

void run_my_os(Words &) {
    Buffer os = buffer(32, "old");
    std::printf("%d ", i_GET_MY_OS(os.data(), log));
    std::printf("'%s'\n", os.data());
}

// ROW COLUMN: that value, "NULL" for the column without a buffer, and that of b behind it.
void get(DB_REC_LIS *list, Words &words) {
    const int row = static_cast<int>(words.number());
    const char *column = words.text();
    Buffer a = buffer(sizeof(col::szValue)), b = a, message = buffer(DB_MESSAGE_SIZE);
    const int result = iDB_SEL_GET(
        list, row, message.data(), &log, column == nullptr ? "a" : column,
        column == nullptr ? nullptr : a.data(), "b", b.data(), static_cast<const char *>(nullptr));
    std::printf("get %d '%s' '%s' '%s'\n", result, message.data(), a.data(), b.data());
}

void run_value(Words &words) {
    col column = {"", "old"};
    text_copy(column.szName, words.text());
    const int result = iDB_SEL_WRITE_VALUE(&theList, theList.pstrFirstRec->cpData, &column);
    std::printf("value %d '%s'\n", result, column.szValue);
}

// How many records are visited by who stops at a ROW.
void run_loop(Words &words) {
    auto last = static_cast<int>(words.number());
    const auto next = [](const DB_REC_LIS_ELEMENT *record, void *row) {
        return record->iRow < *static_cast<int *>(row) ? 1 : 0;
    };
    std::printf("loop %d\n", DB_SEL_LOOP_RECORDS(&theList, next, &last));
}

const Function kFunctions[] = {
    {"sql", run_sql},
    {"normalise", run_normalise},
    {"date_functions", run_date_functions},
    {"sql_readers", run_sql_readers},
    {"my_os", run_my_os},
    {"first",
     [](Words &words) { std::printf("first %d\n", iDB_SEL_FIRST(&theList, words.text())); }},
    {"alloc",
     [](Words &words) {
         const int result = iDB_SEL_ALLOC(&theList, words.text());
         std::printf("alloc %d, %d rows\n", result, theList.iRows);
     }},
    {"get", [](Words &words) { get(&theList, words); }},
    {"get_of_none", [](Words &words) { get(nullptr, words); }},
    {"value", run_value},
    {"loop", run_loop},
    {"forget", // the last record's text
     [](Words &) {
         std::free(theList.pstrLastRec->cpData);
         theList.pstrLastRec->cpData = nullptr;
     }},
    {"records",
     [](Words &) {
         show_list();
         std::printf("%d rows\n", theList.iRows);
     }},
};

} // namespace

const std::span<const Function> kDatabase = kFunctions;

} // namespace vn_probe
