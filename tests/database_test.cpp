// The catalogue, through the sandbox's SQL tool, and through tools that go wrong in every way.
#include "common/common/cm_message.h"
#include "common/common/text.h"
#include "common/unix/cm_db.h"
#include "common/unix/cm_file_util.h"
#include "tests/support/installation.h"

#include <gtest/gtest.h>
#include <set>
#include <sys/stat.h>

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
        for (auto *record = list.pstrFirstRec; record != nullptr; record = record->pstrNextRec)
            told += std::string(" ") + record->cpData;
        vDB_SEL_FREE(&list);
        if (const auto events = in.protocol(); !events.empty())
            told += " " + events.back().substr(7, 4) + events.back().substr(27);
        write_file(in.path("rw/prot/vorna.prot"), "");
        EXPECT_EQ(read_file(in.path("rw/work/sem/ctrl_db.sem")).value_or(""), ""); // released
        return told;
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
    for (int i = 0; i < DB_MAX_COLUMNS; i++)
        columns += "c\t";
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
        for (const std::string &statement : {select, max, del})
            EXPECT_EQ(sql(statement)[0], '0') << statement << printed;
    }
}

TEST(Statement, IsNormalised) {
    const std::pair<const char *, const char *> cases[] = {
        {"SELECT \"A\" FROM T WHERE B='C''D' AND E=''",
         "select \"A\" from t where b='C''D' and e=''"},
        {"x in ('A','','''','\\','\"')", "x in ('A','','''','\\','\"')"},
        {"select'A'from t where a like'%''B'", "select'A'from t where a like'%''B'"},
        {"set a='b' \" where c=1", "set a='b'  where c=1"}};
    for (const auto &[written, normal] : cases) {
        char buffer[256];
        text_copy(buffer, written);
        EXPECT_STREQ(SQL_LOWERCASE(CLEANUP_QUOTA(buffer, sizeof buffer)), normal);
    }
}

} // namespace
