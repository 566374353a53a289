// What a row of a select costs by the number of rows: wall time of iDB_ACCESS with the sandbox's
// database tool, less that of a select without rows, against the tool alone with its output to
// /dev/null, in turn, in one run. The list is built in linear time when the cost per row stays
// flat.
#include "bench/measure.h"
#include "common/unix/cm_db.h"

namespace {

constexpr int kRounds = 15;

double seconds_since(std::chrono::steady_clock::time_point begin) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

void change(const char *sql) {
    char szMsg[DB_MESSAGE_SIZE] = "";
    if (iDB_ACCESS(sql, szMsg, nullptr, {}) != 1) {
        throw std::runtime_error(szMsg);
    }
}

void make_rows() {
    change("create table rows (number integer primary key, name text, os text, size integer)");
    change("insert into rows with recursive counter(i) as (select 1 union all select i + 1 from "
           "counter where i < 100000) select i, 'client_' || i, 'Linux', i * 4096 from counter");
}

std::string select(int rows) {
    return "select number,name,os,size from rows where number<=" + std::to_string(rows);
}

// Runs the select and frees its list. Returns seconds; throws when rows are missing.
double run_ours(int rows) {
    DB_REC_LIS list = {};
    char szMsg[DB_MESSAGE_SIZE] = "";
    const auto begin = std::chrono::steady_clock::now();
    const int iResult = iDB_ACCESS(select(rows).c_str(), szMsg, &list, {});
    const int iRows = list.iRows;
    vDB_SEL_FREE(&list);
    const double wall = seconds_since(begin);
    if (iResult != 1 || iRows != rows) {
        throw std::runtime_error(std::string("select failed: ") + szMsg);
    }
    return wall;
}

// The same by the tool alone.
double run_tool(const std::string &tool, int rows) {
    return measure::run({tool, "-d", "vorna_db", "-q", select(rows)}).wall;
}

void compare(const std::string &tool, int rows) {
    measure::Pairs pairs;
    for (int i = 0; i < kRounds; ++i) {
        const double ours = run_ours(rows) - run_ours(0);
        pairs.add(ours, run_tool(tool, rows) - run_tool(tool, 0));
    }
    const double ours = measure::median(pairs.ours);
    const double theirs = measure::median(pairs.theirs);
    std::printf("  %6d rows  iDB_ACCESS %8.2f ms %6.2f us per row   tool %8.2f ms %6.2f us per row"
                "   ratio %5.2f\n",
                rows, 1e3 * ours, 1e6 * ours / rows, 1e3 * theirs, 1e6 * theirs / rows,
                measure::median(pairs.ratios));
    measure::row(std::to_string(rows) + " rows: time per row of `iDB_ACCESS` and of the tool alone",
                 pairs, 1e6 / rows, "us");
}

void compare_all() {
    const measure::Workplace workplace;
    make_rows();
    std::printf("record_list: beyond a select without rows, medians of %d rounds\n", kRounds);
    for (const int rows : {1000, 10000, 100000}) {
        compare(workplace.path("ro/db/damisql"), rows);
    }
}

} // namespace

int main() {
    return measure::exit_status(compare_all);
}
