// The catalogue, through the sandbox's SQL tool, and through tools that go wrong in every way.
#include "common/common/cm_message.h"
#include "common/common/text.h"
#include "common/unix/cm_db.h"
#include "common/unix/cm_file_util.h"
#include "tests/support/installation.h"

#include <csignal>
#include <fstream>
#include <gtest/gtest.h>
#include <new>
#include <set>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace vn_test;

namespace {

struct Catalogue : testing::Test {
    Installation in;

    // The result, the message, the records, and the number and text of the last event.
    std::string sql(const std::string &statement, const char *flag = "") const {
        DB_REC_LIS list = {"t", 0, 0, nullptr, nullptr};
        char text[DB_MESSAGE_SIZE] = "";
        text_copy(text, flag);
        std::string told = iDB_ACCESS(statement.c_str(), text, &list, {}) == 1 ? "1 " : "0 ";
        told += text;
        for (auto *record = list.pstrFirstRec; record != nullptr; record = record->pstrNextRec) {
            told += std::string(" ") + record->cpData;
        }
        vDB_SEL_FREE(&list);
        if (const auto events = in.protocol(); !events.empty()) {
            told += " " + events.back().substr(7, 4) + events.back().substr(27);
        }
        write_file(in.path("rw/prot/vorna.prot"), "");
        EXPECT_EQ(read_file(in.path("rw/work/sem/ctrl_db.sem")).value_or(""), ""); // released
        return in.normalised(told);
    }
    // Puts a tool in place of the sandbox's: a script.
    void use_tool(const std::string &script) const {
        const std::string program = in.path("ro/db/damisql");
        write_file(program, "#!/bin/sh\n" + script);
        chmod(program.c_str(), 0755);
    }
};

TEST_F(Catalogue, RunsStatements) {
    char os[64] = "";
    EXPECT_EQ(i_GET_MY_OS(os, {}), 1);
    EXPECT_STREQ(os, "Linux");
    const std::string of_0 = " from clients where client_id=0";
    EXPECT_EQ(sql("SELECT Client_Id, OS" + of_0), "1 1 |client_id=0|os=Linux|");
    EXPECT_EQ(sql("select os from clients where client_id<0"), "1 0");
    EXPECT_EQ(sql("select count(*)" + of_0), "1 1");
    EXPECT_EQ(sql("select os" + of_0, "export"), "1 clients");
    EXPECT_EQ(read_file(in.path("rw/work/clients.exp")), "os\nLinux\n");
    EXPECT_EQ(sql("select 1 as a"), "1 1 |a=1| E014 OA_DO_SQL t: error from SQLcommand: "
                                    "Could not find table name in statement select 1 as a");
    for (const std::string value : {"$HOME `id` $(id) \\ \"Q\" ;&<>*", "O'Brien", "''And %s"}) {
        EXPECT_EQ(sql("UPDATE clients SET os='" + value + "' WHERE client_id=0"), "1 1");
        EXPECT_EQ(sql("select os" + of_0), "1 1 |os=" + value.substr(value[0] == '\'') + "|");
    }
    for (const std::string type :
         {"ORACLE to_date('D','YYYY-MM-DD')", "OpenAccess {d 'D'}", "postgres 'D'"}) {
        in.set_glbv("gv_db_type", type.substr(0, type.find(' ')));
        std::string date = sql("DATE");
        date.replace(date.find(sql("DATE_VORNA").substr(2)), 10, "D");
        EXPECT_EQ(date, "1" + type.substr(type.find(' ')));
    }
}

TEST_F(Catalogue, JudgesTheToolsOutput) {
    const std::string rows = "DAMISQL\nSQL-1> x\n\n", select = "select a from t";
    const std::string max = "select max(a) from t", del = "delete from t", x(1022, 'x'),
                      xxx = x + x + x;
    std::string columns;
    for (int i = 0; i < DB_MAX_COLUMNS; i++) {
        columns += "c\t";
    }
    const std::string no_value = " E012 t SQL pipe doesn't return the expected characters";
    const std::string list = "OA_MAKE_DB_REC_LIS t: ", sql_error = " OA_DO_SQL t: error from ";
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {select, rows + "a\tb\tc\t(3)\n1\t\t3\t\nRows selected = 1\n", "1 1 |a=1|b=3|c=|"},
        {select, rows + "a\tb\n" + x + "\t22\n3\t4\n", "1 2 |a=" + x + "|b=22| |a=3|b=4|"},
        {select, rows + "a\t\n" + xxx + "\n", "1 1 |a=" + xxx + "|"},
        {select, rows + columns + "\n", "1 0"},
        {select, rows + columns + "c\n",
         "0 too much columns ( max 100 ) E010 " + list + "too many columns ( max 100 )"},
        {select, "x Error: %s\n", "0 Error: %s E014" + sql_error + "SQLcommand: Error: %s"},
        {select, "x Error: y Invalid nested z\n", "1 0"},
        {select, "SQL-1>\nError while prepar\nx\nMessage: y\n",
         "0 Message: y E009 " + list + "Message: y"},
        {select, rows + "a\n, NativeError = 7\nMessage: z\n",
         "0 Message: z E009 " + list + "Message: z"},
        {max + " group by b", rows + "a\t\n7\t\n", "1 1 |a=7|"},
        {max, rows, "0  E012 t SQL pipe doesn't return the expected characters"},
        {max, rows + "max\t\nRows selected = 0\n", "0 " + no_value},
        {max, rows + "max\t\n7\t8\t\nRows selected = 1\n", "1 7"},
        {max, rows + "max\t\nRows of 7\t\nRows selected = 1\n", "1 Rows of 7"},
        {max, rows + "Error while prepar\t\nx\t\nMessage: y\t\n", "0 Message: y\t" + no_value},
        {max, rows + "max\t\nS\t, NativeError = 7\nMessage: y\n", "0 Message: y" + no_value},
        {select, rows + "a\t\nRows of 7\t\nRows selected = 1\n", "1 1 |a=Rows of 7|"},
        {del, "SQL-1>\nState = S1000, Message: failed\n",
         "0 State = S1000, Message: failed E015" + sql_error +
             "DAMISQL: State = S1000, Message: failed"},
        {del, "SQL-1>\nElapsed time 1\n", "1 "},
        {del, "SQL-1>\nx Rows y\n", "1 x Rows y"},
        {del, "SQL-1>\nMessage: z\n", "0 Message: z E015" + sql_error + "DAMISQL: Message: z"},
        {"update t set a='A\"$x`y\\z''!' where b=\"C\"", "SQL-1>\nRows affected = 3\n", "1 3"}};
    const std::string program = in.path("ro/db/damisql"), output = in.path("output");
    write_file(program, "#!/bin/sh\nprintf '[%s]' \"$@\" >" + in.path("args") + "\ncat " + output);
    for (const auto &[statement, printed, told] : cases) {
        write_file(output, printed);
        std::set<std::string> texts;
        for (const LANGUAGES language : {LANG_DE, LANG_BY, LANG_FR, LANG_EN}) {
            eLang = language;
            texts.insert(sql(statement));
        }
        EXPECT_EQ(texts.size(), told.find(" E0") == std::string::npos ? 1U : 3U) << told;
        EXPECT_EQ(texts.count(told), 1U) << told << testing::PrintToString(texts);
        EXPECT_EQ(read_file(in.path("args")), "[-d][vorna_db][-q][" + statement + "]");
    }
    for (const std::string printed : {"", "DAMISQL\n", "SQL-1>", "SQL-1>\n\n", "missing"}) {
        write_file(output, printed);
        chmod(program.c_str(), printed == "missing" ? 0 : 0755);
        for (const std::string &statement : {select, max, del}) {
            EXPECT_EQ(sql(statement)[0], '0') << statement << printed;
        }
    }
}

TEST_F(Catalogue, ToolThatDiesOrNeverEndsALineIsAFailure) {
    const std::string tool = "<dir>/ro/db/damisql: ", sql_error = " E014 OA_DO_SQL t: error from ";
    const std::string list = "SQL-1>\\n\\na\\t\\n1\\t\\n", closed = list + "Rows = 1\\n";
    const std::string ended = ", its output ends before the result", select = "select a from t";
    const std::string max = "select max(a) from t", del = "delete from t";
    const std::string rest = "SQL-1>\\nRows affected = 3\\nElapsed time 1\\n";
    const std::tuple<std::string, std::string, std::string, std::string> cases[] = {
        {select, list, "exit 3", "exit status 3" + ended},
        {select, list, "kill -9 $$", "killed by signal 9" + ended},
        {select, closed, "exit 3", "1 1 |a=1|"},
        {select, closed, "kill -9 $$", "killed by signal 9"},
        {max, list, "exit 3", "1 1"}, // the value was complete
        {max, "SQL-1>\\n\\na\\t\\n", "exit 3", "exit status 3" + ended},
        {del, "SQL-1>\\n", "exit 0", "exit status 0" + ended},
        {del, rest, "exit 3", "1 3"},
        {del, rest, "kill -9 $$", "killed by signal 9"},
        {del, rest, "kill -13 $$", "1 3"}, // nobody reads the time
        {select, "SQL-1>\\n\\na\\t\\n", "tr '\\0' x </dev/zero; exit 3",
         "killed by signal 13, a line of its output has no end"}};
    for (const auto &[statement, printed, end, told] : cases) {
        use_tool("printf '" + printed + "'; " + (told.ends_with("no end") ? "exec " : "") + end);
        const bool fails = told[0] != '1';
        EXPECT_EQ(sql(statement), !fails ? told
                                         : "0 " + tool + told + sql_error + "SQLcommand: " + tool +
                                               told + ": " + statement);
    }
    for (const int more : {0, 1}) { // the longest line, and one byte more
        const std::string bytes = std::to_string((1 << 20) + more);
        use_tool("printf 'SQL-1>\\n\\na\\t\\n'; head -c " + bytes +
                 " /dev/zero | tr '\\0' x; printf '\\n'");
        EXPECT_EQ(sql(select).substr(0, 4), more == 0 ? "1 1 " : "0 <d");
    }
}

TEST_F(Catalogue, ExportIsWholeOrAsBefore) {
    const std::string file = in.path("rw/work") + "/clients.exp", select = "select os from clients";
    const std::string rows = "printf 'SQL-1>\\n\\na\\t\\n1\\t\\n'; ";
    const std::string list = "0 Message: y E009 OA_MAKE_DB_REC_LIS t: Message: y";
    const std::pair<std::string, std::string> cases[] = {
        {"kill -9 $$", "0 <dir>/ro/db/damisql: killed by signal 9, its output ends before the "
                       "result E014 OA_DO_SQL t: error from SQLcommand: <dir>/ro/db/damisql: "
                       "killed by signal 9, its output ends before the result: " +
                           select},
        {"printf ', NativeError = 1\\nMessage: y\\n'", list},
        {"seq 100000", "0 write to " + in.normalised(file) + ": File too large"}};
    write_file(file, "before\n");
    signal(SIGXFSZ, SIG_IGN); // the disk is full at 4 kB
    for (const auto &[end, told] : cases) {
        use_tool(rows + end);
        const rlimit limit = {end[0] == 's' ? 4096 : RLIM_INFINITY, RLIM_INFINITY};
        setrlimit(RLIMIT_FSIZE, &limit);
        EXPECT_EQ(sql(select, "export"), told);
        const rlimit none = {RLIM_INFINITY, RLIM_INFINITY};
        setrlimit(RLIMIT_FSIZE, &none);
        EXPECT_EQ(read_file(file), "before\n");
        EXPECT_FALSE(read_file(file + ".tmp"));
    }
    use_tool(rows + "exit 0"); // ended well, without a count of the rows
    mkfifo((file + ".tmp").c_str(), 0600);
    EXPECT_EQ(sql(select, "export"), "1 clients");
    EXPECT_EQ(read_file(file), "a\n1\n");
}

TEST_F(Catalogue, ToolIsThatOfTheVariableOrTheKey) {
    in.remove_glbv("gv_ro_db");
    in.set_ini(in.path("rw/ini/vn.ini"), "Pathes", "gv_ro_db", in.path("ro/bin") + "/");
    write_file(in.path("ro/bin/damisql"), "#!/bin/sh\nprintf 'SQL-1>\\nRows affected = 7\\n'\n");
    chmod(in.path("ro/bin/damisql").c_str(), 0755);
    setenv("PATH", "/usr/bin:/bin", 1);
    EXPECT_EQ(sql("delete from t"), "1 7");
    in.set_glbv("gv_ro_db", in.path("ro/db") + "/");
    use_tool("printf 'SQL-1>\\nRows affected = 8\\n'");
    EXPECT_EQ(sql("delete from t"), "1 8");
}

#ifndef __SANITIZE_ADDRESS__ // which needs more address space than there is
TEST_F(Catalogue, TellsWhenMemoryRunsOut) {
    const std::string x(1000, 'x');
    use_tool("printf 'SQL-1>\\n\\na\\t\\n'; yes " + x + " | head -n 40000");
    const auto run_short = [&] {
        std::set_new_handler([] { _exit(3); }); // is for others
        long pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        const rlim_t bytes = static_cast<rlim_t>(pages * getpagesize()) + (16 << 20);
        const rlimit limit = {bytes, bytes};
        setrlimit(RLIMIT_AS, &limit);
        DB_REC_LIS list = {"t", 0, 0, nullptr, nullptr};
        char text[DB_MESSAGE_SIZE] = "";
        const int result = iDB_ACCESS("select a from t", text, &list, {});
        _exit(result == 0 && list.iRows == 0 &&
                      std::string(text).starts_with("cannot allocate memory  ( 1")
                  ? 7
                  : 1);
    };
    EXPECT_EXIT(run_short(), testing::ExitedWithCode(7), "");
    const auto events = in.protocol();
    ASSERT_FALSE(events.empty());
    EXPECT_NE(events.back().find("E011-DATABAS"), std::string::npos) << events.back();
}
#endif

TEST_F(Catalogue, RefusesARepairThatWouldHideTheWhere) {
    use_tool("echo called >" + in.path("called"));
    const std::string refused = "extra quote in statement would hide its where, refused";
    for (const std::string statement :
         {"update t set a='x'y where b='z'", "update t set a='x where b=1",
          "update t set a='x'y WHERE b='z' and c in (select 'd' from e where f=1)"}) {
        EXPECT_EQ(sql(statement), "0 " + refused + " E014 OA_DO_SQL t: error from SQLcommand: " +
                                      refused + ": " + statement);
    }
    EXPECT_FALSE(read_file(in.path("called")));
}

TEST(Statement, IsNormalised) {
    const std::pair<const char *, const char *> cases[] = {
        {"SELECT \"A\" FROM T WHERE B='C''D' AND E=''",
         "select \"A\" from t where b='C''D' and e=''"},
        {"x in ('A','','''','\\','\"')", "x in ('A','','''','\\','\"')"},
        {"select'A'from t where a like'%''B'", "select'A'from t where a like'%''B'"},
        {"set a='b' \" where c=1", "set a='b'  where c=1"},
        {"set a='O'Brien', c='Jos'\u00e9' where d='e'",
         "set a='O''Brien', c='Jos''\u00e9' where d='e'"},
        {"set a='Peter 's' where d=X'4C'", "set a='Peter ''s' where d=x'4C'"},
        {"set a=X'4c' where b='C' collate nocase and d='E'::text and f={d 'G'} or h=E'I\\'s'",
         "set a=x'4c' where b='C' collate nocase and d='E'::text and f={d 'G'} or h=e'I\\'s'"},
        {"set a='rock 'n' roll' where b=1", "set a='rock 'n' roll' where b=1"},
        {"set a='x'y where b='z'", "set a='x'y where b='z'"}}; // would hide its where
    for (const auto &[written, normal] : cases) {
        char buffer[256];
        text_copy(buffer, written);
        EXPECT_STREQ(SQL_LOWERCASE(CLEANUP_QUOTA(buffer, sizeof buffer)), normal);
    }
}

} // namespace
