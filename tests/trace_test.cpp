// The trace file, the operator protocol and time stamps. What configures a trace record runs in a
// process of its own, because a process has one first record for good.
#include "common/unix/cm_trace.h"

#include "common/common/text.h"
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <sys/wait.h>
#include <unistd.h>

using namespace vn_test;
using Lines = std::vector<std::string>;

namespace {

// Runs the code in a child process. Returns what it wrote to standard error, normalised.
std::string in_child(const Installation &in, const std::function<void()> &code) {
    testing::internal::CaptureStderr();
    const pid_t pid = fork();
    if (pid == 0) {
        code();
        _exit(0);
    }
    int state = -1;
    waitpid(pid, &state, 0);
    EXPECT_EQ(state, 0);
    return in.normalised(testing::internal::GetCapturedStderr());
}

std::string log_file(const Installation &in, const std::string &name) {
    return in.normalised(read_file(in.path("rw/lgc/" + name)).value_or("no file"));
}

std::string first_line(const std::string &how, int level) {
    return "<time># Logging " + how + ": Loglevel " + std::to_string(level) +
           ", PID=<pid>, parent process: <parent>\n";
}

TEST(Trace, IndentsBlocksUpToFifteenLevels) {
    Installation in;
    str_log log = {};
    text_copy(log.szFile, in.path("rw/lgc/vn_client_.lgc"));
    Lines expected;
    for (int i = 0; i < 40; i++) { // 20 blocks one in another
        const size_t depth = static_cast<size_t>(i < 20 ? i : 39 - i);
        WRITE_TRACE(&log, i < 20 ? "+++ B %s" : "--- B %s", "%n");
        expected.push_back("<time>#" + std::string(2 * std::min<size_t>(depth, 15), ' ') +
                           (i < 20 ? " +++ B %n" : " --- B %n"));
    }
    EXPECT_EQ(in.trace(), expected);
    EXPECT_STREQ(log.szIns, "");
}

TEST(Trace, CopiesAFile) {
    Installation in;
    str_log log = {"", 1, 1, ""};
    text_copy(log.szFile, in.path("rw/lgc/x.lgc"));
    const std::string cut(255, 'x');
    write_file(in.path("f"), "%s one\n\n" + cut + "xx\n");
    const std::string err = in_child(in, [&] {
        void (*const unchecked)(str_log *, const char *, ...) = WRITE_TRACE;
        unchecked(&log, "COPY_FILE", in.path("f").c_str());
        unchecked(&log, "COPY_FILE", in.path("g").c_str());
    });
    EXPECT_EQ(log_file(in, "x.lgc"),
              "<time># COPY_FILE [<dir>/f]\n<time>#    %s one\n<time>#    \n<time>#    " + cut +
                  "\n<time># COPY_FILE [<dir>/g]\n<time>#   File <dir>/g not found\n");
    EXPECT_EQ(err, "<time># COPY_FILE\n<time># COPY_FILE [<dir>/f]\n<time># %s one\n<time># \n"
                   "<time># " +
                       cut +
                       "\n<time># COPY_FILE\n<time># COPY_FILE [<dir>/g]\n"
                       "<time># File <dir>/g not found\n");
}

TEST(Trace, LibraryLinesPassTheLevelOfTheFirstRecord) {
    const std::string expected[] = {"", "<time># one %n\n", "<time># two\n", "<time># three\n"};
    std::string passed = "<time># zero\n";
    for (int level = 0; level < 4; level++) {
        Installation in;
        // Only the exact name in capitals at the beginning of a line counts, and the first of them.
        write_file(in.path("rw/ini/debug.ini"), "vn_client=9\n VN_CLIENT=9\nVN_CLIENT=" +
                                                    std::to_string(level) + "\nVN_CLIENT=9\n");
        EXPECT_EQ("", in_child(in, [] {
                      static str_log log;
                      v_set_log_main("x.lgc", "vn_client", &log);
                      trace("%l0 zero");
                      trace("%l1 one %s", "%n");
                      trace("two");
                      trace("%l3 three");
                  }));
        passed += expected[level];
        const std::string head = level > 0 ? first_line("enabled for module vn_client", level) : "";
        const std::string language = level > 1 ? "<time># set language to en\n" : "";
        EXPECT_EQ(log_file(in, "x.lgc"), head + language + passed);
    }
}

TEST(Trace, RecordsAreReconfigured) {
    Installation in;
    write_file(in.path("rw/ini/debug.ini"), "VN_CLIENT=3\nOTHER=1\nSTDERR=1\n");
    const std::string err = in_child(in, [&] {
        static str_log first;
        static str_log second;
        v_set_log_main("a.lgc", "VN_CLIENT", &first);
        v_set_log_main(in.path("rw/lgc/b.lgc").c_str(), "OTHER", &second); // a full path
        trace("%l3 to a");
        v_set_log_main("c.lgc", "OTHER", &first);
        trace("%l1 to c");
        v_set_log(2, 0, &first);
        trace("quiet");
    });
    const std::string in_a = "<time># set language to en\n<time># to a\n"
                             "<time># Logging switched to c.lgc, module OTHER, Loglevel 1\n";
    const std::string in_c = "<time># to c\n<time># v_set_log: Set loglevel 1, verbose 1\n";
    const std::string other = first_line("switched for module OTHER", 1);
    EXPECT_EQ(log_file(in, "a.lgc"), first_line("enabled for module VN_CLIENT", 3) + in_a);
    EXPECT_EQ(log_file(in, "b.lgc"), other);
    EXPECT_EQ(log_file(in, "c.lgc"), other + in_c + "<time># quiet\n");
    EXPECT_EQ(err, in_a + in_c);
}

// The level is read as a number with an optional sign; a path of 384 bytes is another file's.
TEST(Trace, LevelsAndPathsOfARecord) {
    const std::pair<const char *, int> levels[] = {{"+3", 3},  {" 2x", 2}, {"-1", -1},
                                                   {"+-2", 0}, {"x", 0},   {"", 0}};
    for (const auto &[text, level] : levels) {
        Installation in;
        write_file(in.path("rw/ini/debug.ini"), std::string("M=") + text + "\n");
        EXPECT_EQ(log_check("m"), level) << text;
    }
    Installation in;
    write_file(in.path("rw/ini/debug.ini"), "M=2\n");
    const std::string fits(383 - in.path("rw/lgc/").size(), 'f');
    for (const std::string &name : {fits, fits + 'f'}) {
        str_log log = {};
        v_set_log_main(name.c_str(), "M", &log);
        EXPECT_EQ(log.iFlg, name == fits ? 2 : 0);
        EXPECT_EQ(log.szFile, name == fits ? in.path("rw/lgc/" + name) : "");
    }
}

TEST(Trace, MissingDirectoriesAndTheLanguage) {
    Installation in;
    const std::string ini = in.path("rw/ini/vn.ini");
    in.remove_ini(ini, "Pathes", "gv_rw_ini");
    in.remove_ini(ini, "Pathes", "gv_rw_lgc");
    str_log log = {"kept", 1, 0, "  "};
    const std::string fatal = "FATAL: SET_LOG_MAIN: ";
    EXPECT_EQ(in_child(in, [&] { v_set_log_main("x", "Y", &log), log_check("Y"); }),
              fatal + "gv_rw_lgc not set" + fatal + "gv_rw_ini not set");
    const std::string rest = " not yet existing - please restart VORNA.";
    const Lines events = {"<time> E003-BASICS [<pid>]: SET_LOG_MAIN > gv_rw_lgc" + rest,
                          "<time> E003-BASICS [<pid>]: LOG_CHECK > gv_rw_ini" + rest};
    EXPECT_EQ(in.protocol(), events);
    EXPECT_EQ(in.error_protocol(), events);
    const std::pair<const char *, LANGUAGES> cases[] = {
        {"de_by", LANG_BY}, {"DE_BY", LANG_BY}, {"de_at", LANG_DE},
        {"DE", LANG_EN},    {"es", LANG_ES},    {"fr", LANG_FR},
        {"hr", LANG_HR},    {"pt", LANG_PT},    {"ptx", LANG_EN}};
    testing::internal::CaptureStderr(); // the record is not configured: it stays as it was
    for (const auto &[value, language] : cases) {
        in.set_ini(ini, "SETUP", "lang", value);
        v_set_log_main("x", "Y", &log);
        EXPECT_EQ(eLang, language) << value;
    }
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::string(log.szFile) + log.szIns, "kept  ");
    eLang = LANG_EN;
}

TEST(Protocol, EventsAndTheirTags) {
    static const std::string text(6000, 'x');
    static const std::string format = "W003-BASICS  " + std::string(2600, 'y');
    static void (*const unchecked)(const char *, ...) = PROT;
    // Time, tag and process id in front of a message; the process id has at least six places.
    const size_t head = 36 + std::max<size_t>(6, std::to_string(getpid()).size());
    const auto cut = [head](const std::string &limit, size_t length) {
        return "<time> E999-BASICS [<pid>]: Error: The following output was shortened (" + limit +
               " <> " + std::to_string(head + length) + ")\n";
    };
    const std::string usage = "<time> W999-BASICS [<pid>]: Invalid usage of PROT: ";
    const std::string mark = "prefix with format argument 'W003-%s     ': >W003-%s      text %s<\n";
    const std::string tiny = "format tag is too short: >short< (5 < 13)\n";
    const std::string warn = "PROT: WARNING: ";
    const std::string e1 = "<time> E001-XYZ    [<pid>]: ";
    const std::string w3 = "<time> W003-BASICS [<pid>]: ";
    const struct {
        void (*report)();
        std::string protocol, errors, err;
    } cases[] = {
        {[] { PROT("E001-XYZ     x %s", "%s%n"); }, e1 + "x %s%n\n", e1 + "x %s%n\n", ""},
        {[] { PROT("E001-XYZ     a\n\nb\n"); }, e1 + "a\n" + e1 + "\n" + e1 + "b\n" + e1 + "\n",
         e1 + "a\n", ""},
        {[] { PROT("W003-BASICS  a\nb"); }, w3 + "a\n" + w3 + "b\n", "", ""},
        {[] { PROT("short"); }, usage + tiny + "<time> short[<pid>]: \n", "", warn + tiny},
        {[] { PROT("W003-%s      text %s", "A", "b"); },
         usage + mark + "<time> W003-A     [<pid>]: text b\n", "",
         warn + "invalid usage of PROT: " + mark},
        {[] { PROT("W003-BASICS  %s", text.c_str()); },
         cut("5120", 6000) + w3 + text.substr(0, 5119 - head) + "\n", "", cut("5120", 6000)},
        {[] { unchecked(format.c_str()); },
         cut("2560", 2600) + w3 + std::string(2559 - head, 'y') + "\n", "", cut("2560", 2600)},
    };
    for (const auto &c : cases) {
        Installation in;
        EXPECT_EQ(in_child(in, c.report), c.err);
        EXPECT_EQ(in.protocol(), lines_of(c.protocol));
        EXPECT_EQ(in.error_protocol(), lines_of(c.errors));
    }
}

TEST(Protocol, WhatCannotBeWrittenIsLost) {
    Installation in;
    const auto report = [] { PROT("E003-BASICS  x"); };
    std::filesystem::create_symlink("/dev/full", in.path("rw/prot/vorna.prot"));
    EXPECT_EQ(in_child(in, report), "");
    EXPECT_EQ(in.error_protocol(), Lines{"<time> E003-BASICS [<pid>]: x"});
    std::filesystem::remove_all(in.path("rw/prot"));
    EXPECT_EQ(in_child(in, report), "");
    in.remove_glbv("gv_prot");
    EXPECT_EQ(in_child(in, report), "\nNo gv_prot defined! vn_start_all necessary!\n");
}

TEST(TimeGet, BaseTimesAndModes) {
    setenv("TZ", "UTC0", 1);
    const auto get = [](const char *request) {
        char time[32];
        text_copy(time, request);
        return std::string(time_get(time));
    };
    const std::string noon = "2010-09-16 12:00:00";
    EXPECT_EQ(get("20100916_120000 D 2"), "2010-09-18 12:00:00");
    EXPECT_EQ(get("2010-09-16 12:00:00 H 13"), "2010-09-17 01:00:00");
    EXPECT_EQ(get("20100916_120000 M -1"), "2010-09-16 11:59:00");
    EXPECT_EQ(get("20101231_235959 S 1"), "2011-01-01 00:00:00");
    EXPECT_EQ(get("20120228_120000 T"), "2012-02-29 12:00:00");
    EXPECT_EQ(get("2010-03-01 12:00:00 Y"), "2010-02-28 12:00:00");
    EXPECT_EQ(get("20100916_120000 D x"), noon);
    EXPECT_EQ(get("20100916_120000"), noon);
    EXPECT_EQ(get("20100916_120000 I"), "20100916120000");
    EXPECT_EQ(get("2010-09-16 12:00:00 N"), "20100916120000000");
    EXPECT_EQ(get("20100916_120000 D 2147483647"), "2038-01-19 03:14:07");
    EXPECT_GT(get("2010-09-16"), "2011"); // a date alone is no base time
    EXPECT_LE(get("Y"), get("D 0"));
}

} // namespace
