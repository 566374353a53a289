// The catalogue, through the sandbox's SQL tool, and through tools that go wrong in every way.
#include "common/common/cm_message.h"
#include "common/common/text.h"
#include "common/unix/cm_db.h"
#include "common/unix/cm_file_util.h"
#include "tests/support/service.h"

#include <csignal>
#include <fstream>
#include <map>
#include <new>
#include <set>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace vn_test;

namespace {

struct Catalogue : testing::Test {
    Installation in;
    const std::string lock = in.path("rw/work") + "/sem/ctrl_db.sem";

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
        EXPECT_EQ(read_file(lock).value_or(""), ""); // released
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
        {"seq 100000", "0 write to " + in.normalised(file) + ": File too large"},
        {"seq 200", "0 write to " + in.normalised(file) + ": File too large"}}; // at the last write
    write_file(file, "before\n");
    signal(SIGXFSZ, SIG_IGN); // the disk is full at 4 kB
    for (const auto &[end, told] : cases) {
        use_tool(rows + end);
        const rlim_t disk = end.size() == 7 ? 600 : 4096;
        const rlimit limit = {end[0] == 's' ? disk : RLIM_INFINITY, RLIM_INFINITY};
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
    std::filesystem::create_directory(file + ".tmp"); // cannot be removed, cannot be replaced
    EXPECT_EQ(sql(select, "export"), "0 write to " + in.normalised(file) + ": File exists");
    EXPECT_EQ(read_file(file), "a\n1\n");
    std::filesystem::remove(file + ".tmp");
    std::filesystem::remove(file);
    std::filesystem::create_directory(file);
    EXPECT_EQ(sql(select, "export"), "0 write to " + in.normalised(file) + ": Is a directory");
    EXPECT_FALSE(read_file(file + ".tmp"));
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
// Leaves this process that much more memory than it has.
void limit_memory(rlim_t more) {
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    const rlim_t bytes = static_cast<rlim_t>(pages * getpagesize()) + more;
    const rlimit limit = {bytes, bytes};
    setrlimit(RLIMIT_AS, &limit);
}

TEST_F(Catalogue, TellsOfARecordOrAStatementWithoutMemory) {
    const auto use = [](const str_log &) {
        const std::string large(64 << 20, 'x');
        limit_memory(16 << 20);
        for (const LANGUAGES language : {LANG_EN, LANG_DE, LANG_BY}) {
            eLang = language;
            DB_REC_LIS rl = {"t", 0, 0, nullptr, nullptr};
            char text[DB_MESSAGE_SIZE] = "";
            std::printf("%d", iDB_SEL_FIRST(&rl, large.c_str()));
            for (const std::string record(4 << 20, 'x'); rl.iSize < 8; rl.iSize++) {
                std::printf("%d", iDB_SEL_FIRST(&rl, record.c_str())); // instead of the one before
            }
            std::printf("%d", iDB_SEL_FIRST(&rl, "|a=1|"));
            std::printf("%d", iDB_SEL_ALLOC(&rl, large.c_str()));
            std::printf(" %d %s", rl.iRows, rl.pstrLastRec->cpData);
            std::printf(" %d %s\n", iDB_ACCESS(large.c_str(), text, &rl, {}), text);
        }
    };
    expect_file("database_memory.txt", service(in, "no memory", 0, use));
}

TEST_F(Catalogue, TellsWhenMemoryRunsOut) {
    const std::string x(1000, 'x');
    use_tool("printf 'SQL-1>\\n\\na\\t\\n'; yes " + x + " | head -n 40000");
    const auto run_short = [&] {
        std::set_new_handler([] { _exit(3); }); // is for others
        limit_memory(16 << 20);
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

// Whole traces, at the level at which the tool traces too, of what a tool prints.
TEST_F(Catalogue, IsTracedWhole) {
    const std::string rows = "SQL-1>\\n\\n", row = "\\n1\\t2\\nRows selected = 1\\n";
    const std::string t29(29, 't'), c64(64, 'c'), v511(511, 'v'), m300(300, 'm'), many(101, 'c');
    std::string columns;
    for (const char letter : many) {
        columns += std::string(1, letter) + "\\t";
    }
    const std::string name = t29 + "t", list = rows + "a\\tb\\t(9)\\tc" + row;
    struct Case {
        int level;
        std::string flag, statement, printed;
    };
    const Case cases[] = {
        {2, "", "select a from t;", list},
        {1, "", "SELECT A FROM " + name + "(b)", rows + c64 + "\\t\\t\\nv" + v511 + "\\n\\n"},
        {2, "", "select count(*) from t where a='x'y'", rows + "count\\n12\\t\\n"},
        {1, "", "select max(a) from t", rows + "max\\nRows selected = 0\\n"},
        {2, "", "update t set a=\"b", rows + "Rows affected = 3 rows\\nElapsed time\\n"},
        {1, "", "insert into t values(1)", "x\\nSQL-1>\\nElapsed time\\n"},
        {1, "", "delete from t", rows + "Message: no, " + m300 + "\\n"},
        {2, "", "drop t", "x Error: unknown " + m300 + "\\n"},
        {1, "", "select a from t where b=1", "x Error: y Invalid nested z\\n"},
        {1, "", "select a from t where b=2", "SQL-1>\\nError while prepar\\nx\\nMessage: " + m300},
        {1, "", "select a from t where b=3", rows + "a\\nx, NativeError = 7\\nMessage: z\\n"},
        {1, "", "select a from t where b=4", rows + columns + "\\n"},
        {2, "", "select a from t where b=5",
         rows + "a\\n'; head -c 1048577 /dev/zero | tr '\\0' x; printf '"},
        {4, "", "select a", "SQL-1>\\n"},
        {1, "", "select a from", "SQL-1>\\n"},
        {2, "export", "select a from t;", list},
        {1, "export", "select a from t", rows + columns + "\\n"},
        {1, "export", "select a from t", rows + "a\\nx, NativeError = 7\\nMessage: z\\n"},
        {1, "export", "select a from no/dir", list},
        {1, "export", "select a from " + name, list},
        {1, "", "select sum(a) from t", rows + "sum\\n7\\t\\n"},
        {1, "", "select min(a) from t", rows + "min\\n7\\n"},
        {1, "", "select count(a) from t group by b", rows + "a\\n7\\n"},
        {1, "no list", "select a from t", list},
        {1, "no list", "delete from t", rows + "Rows affected = 1\\n"},
        {1, "", "NAME", ""},
        {1, "", "update t set a='x where b=1", ""}};
    std::map<LANGUAGES, std::string> all;
    for (const Case &c : cases) {
        bool tells = true; // the other languages only differ in events
        for (const LANGUAGES language : {LANG_EN, LANG_DE, LANG_BY}) {
            if (!tells) {
                break;
            }
            use_tool("cat " + lock + " >" + in.path("holder") + "; printf '" + c.printed + "'");
            const auto use = [&](const str_log &log) {
                eLang = language;
                DB_REC_LIS rl = {"t", 7, 7, nullptr, nullptr};
                char text[DB_MESSAGE_SIZE] = "old";
                text_copy(text, c.flag);
                const bool list_given = c.flag != "no list";
                const int result =
                    iDB_ACCESS(c.statement.c_str(), text, list_given ? &rl : nullptr, log);
                std::printf("%d '%s' %d %zu\n", result, text, rl.iRows, rl.iSize);
                for (auto *record = rl.pstrFirstRec; record; record = record->pstrNextRec) {
                    std::printf("%d %s\n", record->iRow, record->cpData);
                }
                const std::string holder = read_file(in.path("holder")).value_or("");
                const std::string me = std::to_string(getpid()) + " OA_DO_SQL ";
                std::printf("held: %d\n", holder == me + (list_given ? "t" : "NULL"));
            };
            const bool english = language == LANG_EN;
            const std::string told =
                service(in, c.flag + " " + c.statement, english ? c.level : 0, use);
            all[language] += told;
            all[language] += english ? read_file(in.path("rw/work") + "/t.exp").value_or("") : "";
            tells = told.find("-DATABAS") != told.npos;
            std::filesystem::remove(in.path("rw/work") + "/t.exp");
            std::filesystem::remove(in.path("holder"));
        }
    }
    for (const auto &[language, text] : all) {
        expect_file("database_" + std::to_string(language) + ".txt", text);
    }
}

TEST_F(Catalogue, KeepsTheSemaphoreWhenNoProcessCanBeMade) {
    const auto use = [&](const str_log &log) {
        forbid_processes(in);
        for (const LANGUAGES language : {LANG_EN, LANG_DE, LANG_BY}) {
            eLang = language;
            DB_REC_LIS rl = {"t", 0, 0, nullptr, nullptr};
            char text[DB_MESSAGE_SIZE] = "";
            std::printf("%d ", iDB_ACCESS("select a from t", text, &rl, log));
            const std::string me = std::to_string(getpid()) + " OA_DO_SQL t";
            std::printf("'%s' %d\n", text, read_file(lock) == me);
        }
    };
    expect_file("database_no_pipe.txt", service(in, "no pipe", 1, use));
    std::filesystem::remove(lock);
    std::filesystem::create_directory(lock);
    const auto fail = [](const str_log &log) {
        char text[DB_MESSAGE_SIZE] = "";
        std::printf("%d ", iDB_ACCESS("delete from t", text, nullptr, log));
        std::printf("'%s'\n", text);
    };
    expect_file("database_no_semaphore.txt", service(in, "no semaphore", 1, fail));
    std::filesystem::remove(lock);
    const auto full = [](const str_log &) { // the lock is granted, who holds it cannot be written
        signal(SIGXFSZ, SIG_IGN);
        const rlimit none = {0, 0};
        setrlimit(RLIMIT_FSIZE, &none);
        const int next = dup(0);
        close(next);
        char text[DB_MESSAGE_SIZE] = "";
        const int result = iDB_ACCESS("delete from t", text, nullptr, {});
        const std::string told = "writing pid into lock file failed: (27) File too large";
        _exit(result == 0 && text == told && dup(0) == next ? 7 : 1); // the lock is released
    };
    EXPECT_EQ(service(in, "full", 0, full), "== full\n--- exit status\n7\n");
}

// The list, and what is asked of it; the events in the three languages.
TEST_F(Catalogue, ListAnswersForItsRecords) {
    const auto use = [](const str_log &log) {
        str_log trace = log;
        DB_REC_LIS rl = {"me %s", 0, 0, nullptr, nullptr};
        char text[DB_MESSAGE_SIZE] = "", a[512] = "", b[512] = "";
        for (const LANGUAGES language : {LANG_EN, LANG_DE, LANG_BY}) {
            eLang = language;
            const auto get = [&](DB_REC_LIS *list, int row, const char *column, char *value) {
                text_copy(text, "");
                const int result = iDB_SEL_GET(list, row, text, &trace, column, value, "b", b,
                                               static_cast<const char *>(nullptr));
                std::printf("get %d %s: %d '%s' '%s' '%s'\n", row, column, result, text, a, b);
                text_copy(a, "");
                text_copy(b, "");
            };
            std::printf("alloc %d\n", iDB_SEL_ALLOC(&rl, "|x=1|"));
            get(nullptr, 1, "a", a);
            get(&rl, 1, "a", a);
            std::printf("first %d\n", iDB_SEL_FIRST(&rl, "|b=0|"));
            std::printf("first %d", iDB_SEL_FIRST(&rl, "|aa=0|a=1|b=|"));
            std::printf(" alloc %d", iDB_SEL_ALLOC(&rl, "|a=3|b=4"));
            std::printf(" alloc %d: %d\n", iDB_SEL_ALLOC(&rl, "|a=5|c=6|"), rl.iRows);
            for (const int row : {0, 1, 2, 3, 4}) {
                get(&rl, row, "a", a);
            }
            get(&rl, 2, "nosuch", a); // b is not looked for
            get(&rl, 2, "a", nullptr);
            std::free(rl.pstrLastRec->cpData);
            rl.pstrLastRec->cpData = nullptr;
            get(&rl, 3, "a", a);
            const auto next = [](const DB_REC_LIS_ELEMENT *record, void *rows) {
                return record->iRow < *static_cast<int *>(rows) ? 1 : 0;
            };
            for (int rows : {1, 2, 9}) {
                std::printf("loop %d\n", DB_SEL_LOOP_RECORDS(&rl, next, &rows));
            }
            for (const char *name : {"a", "c"}) {
                col column = {"", "old"};
                text_copy(column.szName, name);
                const int result = iDB_SEL_WRITE_VALUE(&rl, rl.pstrFirstRec->cpData, &column);
                std::printf("value %d '%s'\n", result, column.szValue);
            }
            vDB_SEL_FREE(&rl);
            std::printf("free %d %d\n", rl.iRows, rl.pstrFirstRec == nullptr);
        }
        for (const size_t size : {511U, 512U}) { // a value's buffer
            iDB_SEL_FIRST(&rl, ("|a=" + std::string(size, 'v') + "|").c_str());
            EXPECT_EQ(iDB_SEL_GET(&rl, 1, text, &trace, "a", a, static_cast<char *>(nullptr)), 1);
            EXPECT_EQ(std::string(a), std::string(511, 'v'));
        }
        vDB_SEL_FREE(&rl);
    };
    expect_file("database_list.txt", service(in, "list", 1, use));
}

TEST_F(Catalogue, DatesAreThoseOfTheDatabase) {
    const auto use = [&](const str_log &) {
        const auto show = [](const char *what, std::string date) {
            for (char &letter : date) {
                letter = isdigit(static_cast<unsigned char>(letter)) ? '9' : letter;
            }
            std::printf("%s %s\n", what, date.c_str());
        };
        for (const char *type : {"ORACLE", "OpenAccess", "postgres", "oracle", ""}) {
            in.set_glbv("gv_db_type", type);
            std::printf("type [%s]\n", type);
            show("DATE", cpDB_DATE());
            show("VORNA", cpDB_DATE_VORNA());
            show("TIME", cpDB_DATE_TIME_VORNA());
            show("MAX", cpDB_MAX_COL_NAME("a"));
        }
        for (const char *key : {"DATE", "DATE_VORNA", "DATE_TIME_VORNA", "DATE_", "A", "AA"}) {
            for (const LANGUAGES language : {LANG_EN, LANG_DE, LANG_BY}) {
                eLang = language;
                char text[DB_MESSAGE_SIZE] = "";
                std::printf("%d ", iDB_CONVERT_DATE_TIME(key, text));
                show(key, text);
            }
        }
        char text[DB_MESSAGE_SIZE] = "";
        char before[32] = ".", after[32] = "."; // "YYYY-MM-DD HH:MM:SS"
        time_get(before);
        EXPECT_EQ(iDB_ACCESS("DATE_TIME_VORNA", text, nullptr, {}), 1);
        time_get(after);
        EXPECT_TRUE(before <= std::string(text) && text <= std::string(after)) << text;
    };
    expect_file("database_date.txt", service(in, "dates", 0, use));
}

// The readers for callers who run the tool themselves.
TEST_F(Catalogue, ReadersTakeAPipe) {
    char text[DB_MESSAGE_SIZE] = "";
    DB_REC_LIS rl = {"t", 0, 0, nullptr, nullptr};
    iDB_SEL_FIRST(&rl, "|old=1|");
    DB_PROC_PIP pipe;
    ASSERT_EQ(iPIPE_OPEN("printf '\na\n1\nRows\n\nb\n2\t\n'", "r", text, 256, &pipe), 0);
    EXPECT_EQ(iOA_MAKE_DB_REC_LIS(pipe, text, &rl, {}), 1);
    EXPECT_STREQ(text, "1");
    EXPECT_STREQ(rl.pstrFirstRec->cpData, "|a=1|");
    vDB_SEL_FREE(&rl);
    EXPECT_EQ(iOA_GET_CALCULATED_VALUE(&pipe, text, 256, "t"), 1);
    EXPECT_STREQ(text, "2");
    iPIPE_CLOSE(&pipe);
}

// Every word that may stand right behind a value, and one that is none.
TEST_F(Catalogue, WordsOfSqlEndAValue) {
    const std::string words =
        "all and as asc between by case collate desc distinct else end escape from group having in "
        "into is like limit not offset on or order returning select set then union using values "
        "when where AND words";
    const auto use = [&](const str_log &) {
        for (size_t begin = 0, end; begin < words.size(); begin = end + 1) {
            end = std::min(words.find(' ', begin), words.size());
            const std::string sql = "a='b'" + words.substr(begin, end - begin) + " c";
            char buffer[64];
            text_copy(buffer, sql);
            if (CLEANUP_QUOTA(buffer, sizeof buffer) != sql) {
                std::printf("%s\n", buffer);
            }
        }
        char name[64] = "a=\"b", full[8] = "a='b'c'";
        CLEANUP_QUOTA(name, sizeof name);
        CLEANUP_QUOTA(full, sizeof full); // does not fit
        std::printf("%s %s\n", name, full);
    };
    EXPECT_EQ(service(in, "words", 0, use), "== words\n--- standard output\na='b''words c\na=b "
                                            "a='b'c'\n");
}

TEST(Statement, IsNormalised) {
    const std::pair<const char *, const char *> cases[] = {
        {"SELECT \"A\" FROM T WHERE B='C''D' AND E=''",
         "select \"A\" from t where b='C''D' and e=''"},
        {"x in ('A','','''','\\','\"')", "x in ('A','','''','\\','\"')"},
        {"select'A'from t where a like'%''B'", "select'A'from t where a like'%''B'"},
        {"set a='b' \" where c=1", "set a='b'  where c=1"},
        {"set \"A\"='b' \" where c=1", "set \"A\"='b'  where c=1"},
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
