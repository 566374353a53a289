// Stopping the processes of a saveset, with real processes of this test's own: their keywords are
// theirs alone, so that nothing else is found. Ids of others are only counted.
#include "kernel/unix_hal/vn_hal_unix.h"
#include "tests/support/service.h"

#include <csignal>
#include <cstring>
#include <spawn.h>

using namespace vn_test;
namespace fs = std::filesystem;

namespace {

// Listed as its title; sleeps, at most as long as a test may take.
struct Process {
    explicit Process(const std::string &title, bool stubborn = false) {
        char seconds[] = "60", *argv[] = {const_cast<char *>(title.c_str()), seconds, nullptr};
        signal(SIGINT, stubborn ? SIG_IGN : SIG_DFL); // is inherited
        posix_spawn(&pid, "/bin/sleep", nullptr, nullptr, argv, nullptr);
        signal(SIGINT, SIG_DFL);
    }
    ~Process() { end(SIGKILL); }
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    // The signal that has ended it, else this one ends it.
    int end(int with = SIGTERM) {
        int status = 0;
        if (pid > 0 && kill(pid, with) == 0) {
            waitpid(pid, &status, 0);
        }
        pid = -1;
        return WTERMSIG(status);
    }
    pid_t pid = -1;
};

struct Kill : testing::Test {
    Installation in;
    const std::string me = std::to_string(getpid()), own = "SS" + me + "e",
                      tmp = in.path("rw/tmp/"),
                      soft = "1 the vbc processes were killed in the soft way (kill -2)";

    // Stops the saveset: "<result> <message>". No list is left.
    std::string stop(const std::string &keyword, s_KILL_POLICY policy = {100, 50}) const {
        char szMsg[256] = "";
        gKillPolicy = policy;
        const int result = i_KILL_VBC(keyword.c_str(), szMsg, {});
        EXPECT_TRUE(fs::is_empty(tmp)) << keyword;
        return std::to_string(result) + " " + szMsg;
    }
    void change_catalogue(const std::string &sql) const {
        run_program({in.path("ro/db/damisql"), "-d", "vorna_db", "-q", sql}, {}, {});
    }
    void catalogue(const std::string &command, const std::string &syntax) const {
        change_catalogue("update syntaxes set syntax='" + syntax + "' where command='" + command +
                         "'");
    }
    // Runs the pipeline: "<result> <number of processes>".
    std::string processes(const std::string &pipeline, int value) const {
        int count = -1;
        const int result = i_KILL_PROCESSES(pipeline.c_str(), own.c_str(), value, &count, {});
        return std::to_string(result) + " " + std::to_string(count);
    }
};

TEST_F(Kill, KeywordsAreTexts) {
    for (const std::string &word :
         {own + ".*", "a'" + own + "\"$(touch x)`touch x`", "-v" + own, own + "a|b;touch x&",
          "[^" + own + "\\.$", "*" + own, own + "/../x%s"}) {
        Process vbc("/x/vbc s " + word), other("vbc s " + own + "b"), another("vb s " + word);
        EXPECT_EQ(stop(word), soft) << word;
        EXPECT_EQ(vbc.end(), SIGINT) << word;
        EXPECT_TRUE(other.end() == SIGTERM && another.end() == SIGTERM) << word;
    }
    Process vbc("vbc s " + own), agent("vn_vbc s x" + own);
    for (const std::string &word : {own + "\nvbc", "\n" + own, "y" + own, "x" + own}) {
        EXPECT_EQ(stop(word), "2 There are no vbc processes") << word;
    }
    EXPECT_TRUE(vbc.end() == SIGTERM && agent.end() == SIGTERM && !fs::exists("x"));
}

TEST_F(Kill, ByForceAndWithTheHelpers) {
    for (const std::string &word : {own, "-v" + own}) {
        Process gentle("vbc s " + word), vbc("vbc_mysql s " + word, true),
            helper("vn_x " + word, true), agent("vn_client s " + word),
            breaker("vn_break_backup " + word), other("vn_x s S");
        EXPECT_EQ(stop(word, {2, 50}), "1 the vbc processes were killed in the hard way (kill -9)");
        EXPECT_TRUE(gentle.end() == SIGINT && vbc.end() == SIGKILL && helper.end() == SIGKILL);
        EXPECT_TRUE(agent.end() == SIGTERM && breaker.end() == SIGTERM && other.end() == SIGTERM);
    }
}

TEST_F(Kill, ListOfProcesses) {
    Process vbc("vbc s " + own);
    const std::string list = tmp + "pid_list_" + own + ".tmp", id = std::to_string(vbc.pid);
    const std::string ids = " PID 0 1 -1 -" + id + " " + me + " 4294967297 99999999999 '' " + id;
    write_file(in.path("precious"), "1");
    fs::create_symlink(in.path("precious"), list);
    EXPECT_EQ(processes("printf '%s\\n'" + ids + "x " + id, KILL_COUNT_ONLY), "1 1");
    EXPECT_EQ(read_file(in.path("precious")), "1");
    EXPECT_EQ(processes("printf 'PID\\n\\n %s \\n' " + id, -SIGHUP), "1 1");
    EXPECT_EQ(vbc.end(), SIGHUP);
    EXPECT_EQ(fs::status(list).permissions(), fs::perms(0600));
    EXPECT_EQ(processes("echo " + me, -SIGKILL), "1 0");
    EXPECT_EQ(processes("exit 1", KILL_COUNT_ONLY), "1 0");
    EXPECT_EQ(processes("echo " + me + "; exit 2", KILL_COUNT_ONLY), "0 0");
    EXPECT_FALSE(fs::exists(list));
    in.remove_ini(in.path("rw/ini/vn.ini"), "Pathes", "gv_rw_tmp");
    EXPECT_EQ(stop(own), "0 FAILURE in i_KILL_PROCESSES");
}

// Each end of a kill with its trace, what is signalled and how often is asked. The processes are
// those that a stand-in for ps lists: for its n-th call the lines that begin with n in a file.
TEST_F(Kill, IsTracedWhole) {
    EXPECT_EQ(std::tuple(gKillPolicy.iRounds, gKillPolicy.iRoundMsec, gKillPolicy.iForcedRounds,
                         gKillPolicy.iForcedRoundMsec),
              std::tuple(30, 4000, 10, 100));
    const std::string list = in.path("list"), lock = in.path("rw/work") + "/sem/kill_list.sem";
    write_file(in.path("ps"), "cd " + in.dir +
                                  "; echo n >>count\nn=$(wc -l <count)\n"
                                  "sed -n \"s/^$n //p\" list");
    catalogue("PS_CMD", "sh " + in.path("ps"));
    std::string all;
    gKillPolicy = {2, 1, 3, 1};
    const auto stop_traced = [&](const std::string &title, const std::string &listed) {
        write_file(list, listed);
        fs::remove(in.path("count"));
        const std::string text = service(in, title, 1, [&](const str_log &log) {
            char szMsg[256] = "";
            const int result = i_KILL_VBC("SS1", szMsg, log);
            std::printf("%d %s\n", result, szMsg);
        });
        // What the catalogue does is traced elsewhere; the shell tells of its commands in any
        // order.
        bool database = false, shell = false;
        for (const std::string &line : lines_of(in.comparable(text))) {
            database = database || line.find("+++ DB_ACCESS") != line.npos;
            shell = line.starts_with("--- ") ? line == "--- standard error" : shell;
            all += database || (shell && !line.starts_with("vn_client: ")) ? "" : line + "\n";
            database = database && line.find("--- DB_ACCESS") == line.npos;
        }
    };
    Process vbc("a"), helper("b");
    const std::string line = " " + std::to_string(vbc.pid) + " vbc s SS1\n",
                      help = " " + std::to_string(helper.pid) + " vn_x SS1\n";
    signal(SIGINT, SIG_IGN);
    stop_traced("none", "");
    stop_traced("by interrupt, at the second look", "1" + line + "2" + line);
    EXPECT_EQ(vbc.end(), SIGINT);
    Process late("a", true);
    const std::string again = " " + std::to_string(late.pid) + " vbc_x s SS1 \n";
    stop_traced("by force", "1" + again + "2" + again + "3" + again + "4" + again + "5" + help +
                                "6" + again + "7" + help);
    EXPECT_TRUE(late.end() == SIGKILL && helper.end() == SIGKILL);
    std::string everywhere;
    for (int n = 1; n < 12; n++) {
        everywhere += std::to_string(n) + " 4999999 vbc s SS1\n";
    }
    stop_traced("without success", everywhere);
    fs::remove(lock);
    fs::create_directory(lock);
    stop_traced("without lock", "");
    fs::remove_all(in.path("rw/tmp"));
    stop_traced("without directory for the list", "");
    in.remove_ini(in.path("rw/ini/vn.ini"), "Pathes", "gv_rw_tmp");
    stop_traced("without a name of the directory", "");
    catalogue("PS_CMD", "");
    stop_traced("without listing command", "");
    catalogue("PS_CMD", "BLANK");
    change_catalogue("delete from syntaxes where command='PS_PID'");
    stop_traced("without column", "");
    change_catalogue("drop table syntaxes");
    stop_traced("without table", "");
    expect_file("service_kill.txt", all);
}

// Two calls wait for the processes together; no lock is kept for a saveset.
TEST_F(Kill, TwoCallsAtOnce) {
    Process vbc("vbc s " + own, true);
    pid_t calls[2];
    for (pid_t &call : calls) {
        call = fork();
        if (call == 0) {
            _exit(stop(own, {20, 50}).starts_with("1 ") ? 0 : 1);
        }
    }
    for (const pid_t call : calls) {
        int status = -1;
        waitpid(call, &status, 0);
        EXPECT_EQ(status, 0); // both have found it, neither has waited for the other
    }
    EXPECT_EQ(vbc.end(), SIGKILL);
    const std::string lock = in.path("rw/work") + "/sem/kill_list.sem";
    for (const auto &entry : fs::directory_iterator(in.path("rw/work") + "/sem")) {
        EXPECT_TRUE(entry.path() == lock || entry.path().filename() == "ctrl_db.sem") << entry;
    }
    fs::remove(lock);
    fs::create_directory(lock);
    str_log strLog = {};
    strLog.iFlg = 1;
    in.path("trace").copy(strLog.szFile, sizeof strLog.szFile - 1);
    int count = 0;
    EXPECT_EQ(i_KILL_PROCESSES("echo", "x", KILL_COUNT_ONLY, &count, strLog), 1);
    EXPECT_NE(read_file(in.path("trace")).value_or("").find("without lock: "), std::string::npos);
}

// Nobody can be signalled here: the listing shows a process that does not exist.
TEST_F(Kill, Survivors) {
    const std::string script = in.path("ps"), line = "echo 4999999 vbc s " + own + "\n";
    catalogue("PS_CMD", "sh " + script);
    write_file(script, line);
    for (const auto &[language, event] : std::initializer_list<std::pair<LANGUAGES, std::string>>{
             {LANG_DE, "1 Prozesse laufen noch nach kill -9"},
             {LANG_BY, "1 Prozess laffa oiwei no noch kill -9"},
             {LANG_EN, "1 processes are still running after kill -9"}}) {
        eLang = language;
        EXPECT_EQ(stop(own, {1, 1, 2, 1}), "1 1 processes are still running after kill -9");
        EXPECT_EQ(in.error_protocol().back(),
                  "<time> E010-BASICS [<pid>]: KILL_VBC " + own + ": " + event);
    }
    const auto before = std::chrono::steady_clock::now();
    stop(own, {1, 600, 1, 600});
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(1200));
    // A pass loses its shell: the count behind the interrupt, the forced ones, the last counts.
    for (const char *pass : {"2", "3", "4", "5", "6"}) {
        fs::remove(script + "n");
        write_file(script, "echo >>" + script + "n; [ $(wc -l <" + script + "n) != " + pass +
                               " ] || kill -9 $PPID\n" + line);
        EXPECT_EQ(stop(own, {1, 1, 2, 1}), "0 FAILURE in i_KILL_PROCESSES") << pass;
    }
}

TEST_F(Kill, ColumnsOfTheCatalogue) {
    char szCommand[256], szPid[16], szParent[16];
    const auto read = [&](const std::string &os) {
        for (char *text : {szCommand, szPid, szParent}) {
            std::memcpy(text, "old", 4);
        }
        v_GET_PS_POSITION(os.c_str(), szCommand, szPid, szParent, {});
        return std::string(szCommand) + "|" + szPid + "|" + szParent;
    };
    const std::string longest(15, '7');
    catalogue("PS_CMD", "BLANK");
    catalogue("PS_PID", longest);
    catalogue("PS_PPID", "BLANKS");
    EXPECT_EQ(read("Linux"), " |" + longest + "|BLANKS");
    catalogue("PS_PID", "BLANK");
    catalogue("PS_PPID", longest);
    EXPECT_EQ(read("Linux"), " | |" + longest);
    catalogue("PS_PPID", longest + "7");
    EXPECT_EQ(read("Linux"), "||");
    EXPECT_EXIT(read("x' or '1'='1"), testing::ExitedWithCode(0), "for x' or '1'='1 not found");
}

TEST_F(Kill, ListingOfTheSystem) {
    const std::string ps = "ps axwwo pid,command";
    for (const auto &[listing, expected] :
         std::initializer_list<std::pair<std::string, std::string>>{
             {"false", "2 There are no vbc processes"},
             {"exit 125", "2 There are no vbc processes"},
             {"/nosuch/ps", "0 FAILURE in i_KILL_PROCESSES"},
             {in.dir, "0 FAILURE in i_KILL_PROCESSES"},
             {"kill -9 $$", "0 FAILURE in i_KILL_PROCESSES"},
             {ps + std::string(255 - ps.size(), ' '), soft},
             {ps + std::string(256 - ps.size(), ' '),
              "2 the catalogue's listing of processes is too long or empty"}}) {
        Process vbc("vbc s " + own);
        catalogue("PS_CMD", listing);
        EXPECT_EQ(stop(own), expected) << listing;
        EXPECT_EQ(vbc.end(), expected == soft ? SIGINT : SIGTERM) << listing;
    }
    for (const auto &[sql, reason] : std::initializer_list<std::pair<std::string, std::string>>{
             {"delete from syntaxes where command='PS_PPID'",
              "error syntax for Linux not found: 3 != 2"},
             {"drop table syntaxes", "Message: no such table: syntaxes"}}) {
        char szMsg[256] = "";
        const std::string end = "rocesses cannot be listed: " + reason;
        change_catalogue(sql);
        EXPECT_EXIT(i_KILL_VBC(own.c_str(), szMsg, {}), testing::ExitedWithCode(0),
                    "^vn_client: p" + end + "\n$");
        EXPECT_EQ(in.error_protocol().back(), "<time> E011-BASICS [<pid>]: P" + end);
    }
    for (const auto &[language, event] :
         {std::pair(LANG_DE, "Prozesse koennen nicht aufgelistet werden: "),
          std::pair(LANG_BY, "Prozess kenna net aufglist wern: ")}) {
        char szText[256] = "";
        eLang = language;
        EXPECT_EXIT(v_GET_PS_POSITION("Linux", szText, szText, szText, {}),
                    testing::ExitedWithCode(0), "");
        EXPECT_TRUE(in.error_protocol().back().starts_with(
            std::string("<time> E011-BASICS [<pid>]: ") + event));
    }
    in.set_glbv("gv_ro_db", in.path("nowhere/")); // without a catalogue it is listed all the same
    Process vbc("vbc s " + own);
    EXPECT_EQ(stop(own), soft);
    EXPECT_EQ(vbc.end(), SIGINT);
}

} // namespace
