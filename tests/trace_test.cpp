// The trace file, the operator protocol and time stamps. What configures a trace record runs in a
// process of its own, because a process has one first record for good.
#include "common/unix/cm_hal_unix.h"
#include "common/unix/cm_trace.h"

#include "common/common/text.h"
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <functional>
#include <regex>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace vn_test;
using namespace std::string_literals;
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
    const std::string cut(255, 'x'), piece(1022, 'p'); // more than 1022 bytes come in pieces
    write_file(in.path("f"), "%s one\n\n" + cut + "\n" + cut + "x\n" + cut + "xx\n" + piece +
                                 piece.substr(0, 255) + "\nlast");
    const std::string err = in_child(in, [&] {
        void (*const unchecked)(str_log *, const char *, ...) = WRITE_TRACE;
        unchecked(&log, "COPY_FILE", in.path("f").c_str());
        unchecked(&log, "COPY_FILE", in.path("g").c_str());
    });
    const auto copied = [&](const std::string &mark) {
        std::string text;
        for (const std::string &line :
             {"%s one"s, ""s, cut, cut, cut, piece.substr(0, 255), piece.substr(0, 255), "last"s}) {
            text += mark + line + '\n';
        }
        return text;
    };
    EXPECT_EQ(log_file(in, "x.lgc"),
              "<time># COPY_FILE [<dir>/f]\n" + copied("<time>#    ") +
                  "<time># COPY_FILE [<dir>/g]\n<time>#   File <dir>/g not found\n");
    EXPECT_EQ(err, "<time># COPY_FILE\n<time># COPY_FILE [<dir>/f]\n" + copied("<time># ") +
                       "<time># COPY_FILE\n<time># COPY_FILE [<dir>/g]\n"
                       "<time># File <dir>/g not found\n");
}

// A file larger than what is written at once is there whole; the trace's own copy ends.
TEST(Trace, CopiesALargeFileAndItself) {
    Installation in;
    str_log log = {"", 1, 0, ""};
    text_copy(log.szFile, in.path("rw/lgc/vn_client_.lgc"));
    std::string large;
    for (int i = 0; i < 20000; i++) {
        large += std::to_string(i) + '\n';
    }
    write_file(in.path("f"), large);
    void (*const unchecked)(str_log *, const char *, ...) = WRITE_TRACE;
    unchecked(&log, "COPY_FILE", in.path("f").c_str());
    std::string text =
        "<time># COPY_FILE [<dir>/f]\n<time>#    " +
        std::regex_replace(large.substr(0, large.size() - 1), std::regex("\n"), "\n<time>#    ");
    EXPECT_EQ(in.trace(), lines_of(text));
    write_file(log.szFile, "one\ntwo\n");
    unchecked(&log, "COPY_FILE", log.szFile);
    // What is copied is as long as the file was, the line before it included.
    EXPECT_EQ(in.trace().size(), 2U + 1 + 3) << testing::PrintToString(in.trace());
}

// What cannot be written to the file is still shown; a line's format has 1024 bytes, a library's
// line 4096.
TEST(Trace, LongLinesAndMissingFiles) {
    Installation in;
    str_log log = {"", 1, 1, "  "};
    text_copy(log.szFile, in.path("none/x.lgc"));
    void (*const unchecked)(str_log *, const char *, ...) = WRITE_TRACE;
    EXPECT_EQ(in_child(in,
                       [&] {
                           unchecked(&log, "COPY_FILE", "/none");
                           unchecked(&log, "shown");
                       }),
              "<time>#   COPY_FILE\n<time>#   shown\n");
    text_copy(log.szFile, in.path("rw/lgc/vn_client_.lgc"));
    log.iVerify = 0;
    v_SET_LOCAL_LOG(log);
    const std::string format(1008, 'f'), text(5000, 't');
    unchecked(&log, (format + "%d").c_str(), 77);
    unchecked(&log, (format + "f%d").c_str(), 77);
    unchecked(&log, "%s", text.c_str());
    trace("%l1 %s", text.c_str());
    trace_at(TRACE_EVENTS, "%s", text.c_str());
    trace_at(TRACE_DETAILS, "not at this level");
    trace("not at this level");
    trace("%l9 nor this");
    log.iFlg = 9;
    v_SET_LOCAL_LOG(log);
    trace("%l9 but now");
    trace("%ld is no level", 2L);
    const std::string mark = "<time>#   ", cut = mark + text.substr(0, 4095);
    EXPECT_EQ(in.trace(), (Lines{mark + format + "77", mark + format + "f", mark + text, cut, cut,
                                 mark + "but now", mark + "2 is no level"}));
    v_SET_LOCAL_LOG({});
}

// Trace and protocol are open to the group as far as the umask lets them, variables are not; none
// of them changes the caller's errno.
TEST(Trace, ModesOfWhatIsWritten) {
    Installation in;
    str_log log = {"", 1, 0, ""};
    text_copy(log.szFile, in.path("rw/lgc/x.lgc"));
    const mode_t mask = umask(002);
    errno = E2BIG;
    WRITE_TRACE(&log, "x");
    PROT("E003-BASICS  x");
    EXPECT_EQ(errno, E2BIG);
    char name[] = "x", value[256] = "v";
    glbv('w', name, value);
    umask(mask);
    const std::pair<const char *, mode_t> files[] = {{"rw/lgc/x.lgc", 0664},
                                                     {"rw/prot/vorna.prot", 0664},
                                                     {"rw/prot/vorna.prot.err", 0664},
                                                     {"rw/glbv/x.sgv", 0644}};
    for (const auto &[file, mode] : files) {
        struct stat status = {};
        stat(in.path(file).c_str(), &status);
        EXPECT_EQ(status.st_mode & 07777, mode) << file;
    }
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
        v_set_log(0, 0, &second);
        v_set_log(1, 0, &second); // said by nobody; library lines still go to the first
        trace("still");
        in.remove_ini(in.path("rw/ini/vn.ini"), "SETUP", "lang");
        v_set_log_main("d.lgc", "VN_CLIENT", &first); // from level 2: not said in the old file
    });
    const std::string in_a = "<time># set language to en\n<time># to a\n"
                             "<time># Logging switched to c.lgc, module OTHER, Loglevel 1\n";
    const std::string in_c = "<time># to c\n<time># v_set_log: Set loglevel 1, verbose 1\n";
    const std::string in_b = "<time># v_set_log: Set loglevel 1, verbose 1\n";
    const std::string in_d = "<time># READ_INI: VN_INI [SETUP] lang not found\n"
                             "<time># didn't find key lang in vn.ini > set language to en\n";
    const std::string other = first_line("switched for module OTHER", 1);
    EXPECT_EQ(log_file(in, "a.lgc"), first_line("enabled for module VN_CLIENT", 3) + in_a);
    EXPECT_EQ(log_file(in, "b.lgc"), other + in_b);
    EXPECT_EQ(log_file(in, "c.lgc"), other + in_c + "<time># quiet\n<time># still\n");
    EXPECT_EQ(log_file(in, "d.lgc"), first_line("switched for module VN_CLIENT", 3) + in_d);
    EXPECT_EQ(err, in_a + in_c + in_b + in_d);
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
    const std::string module(50, 'm'), directory = in.path(std::string(118, 'd')).substr(0, 118);
    write_file(in.path("rw/ini/debug.ini"), std::string(49, 'M') + "=4");
    EXPECT_EQ(log_check(module.c_str()), 4); // 49 characters count
    EXPECT_EQ(log_check(module.c_str() + 2), 0);
    write_file(directory + "debug.ini", "M=5"); // 127 bytes of a path
    write_file(directory + "ddebug.ini", "M=6");
    for (const auto &[path, level] : {std::pair(directory, 5), {directory + 'd', 0}}) {
        in.set_ini(in.path("rw/ini/vn.ini"), "Pathes", "gv_rw_ini", path);
        EXPECT_EQ(log_check("M"), level);
    }
    in.set_ini(in.path("rw/ini/vn.ini"), "Pathes", "gv_rw_ini", in.path("rw/ini/"));
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
    for (const auto &[language, text] :
         {std::pair(LANG_DE, " noch nicht vorhanden - bitte VORNA neu starten."),
          {LANG_BY, " gibt's no net - bitschee VORNA nei startn."},
          {LANG_FR, rest.c_str()}}) {
        eLang = language;
        log_check("Y");
        EXPECT_EQ(in.protocol().back(), events[1].substr(0, events[1].size() - rest.size()) + text);
    }
    in.remove_ini(ini, "SETUP", "lang");
    v_set_log_main("x", "Y", &log);
    EXPECT_EQ(eLang, LANG_EN);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::string(log.szFile) + log.szIns, "kept  ");
    eLang = LANG_EN;
}

TEST(Protocol, EventsAndTheirTags) {
    static const std::string text(6000, 'x');
    static const std::string format = "W003-BASICS  " + std::string(2600, 'y');
    static void (*const unchecked)(const char *, ...) = PROT;
    static size_t sHead;
    // Time, tag and process id in front of a message; the process id has at least six places.
    const size_t head = 36 + std::max<size_t>(6, std::to_string(getpid()).size());
    sHead = head;
    const auto cut = [head](const std::string &limit, size_t length) {
        return "<time> E999-BASICS [<pid>]: Error: The following output was shortened (" + limit +
               " <> " + std::to_string(head + length) + ")\n";
    };
    const std::string usage = "<time> W999-BASICS [<pid>]: Invalid usage of PROT: ";
    const std::string mark = "prefix with format argument 'W003-%s     ': >W003-%s      text %s<\n";
    const std::string tiny = "format tag is too short: >short< (5 < 13)\n";
    const std::string twelve = "format tag is too short: >W003-BASICS < (12 < 13)\n";
    const std::string open =
        "prefix with format argument 'W003-BASICS%': >W003-BASICS% text<\n"; // no conversion
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
        // At the edge: as much as fits, and one more. A tag of 13 characters is whole.
        {[] { PROT("W003-BASICS  %s", text.c_str() + 6000 - 5119 + sHead); },
         w3 + text.substr(0, 5119 - head) + "\n", "", ""},
        {[] { PROT("W003-BASICS  %s", text.c_str() + 6000 - 5120 + sHead); },
         cut("5120", 5120 - head) + w3 + text.substr(0, 5119 - head) + "\n", "",
         cut("5120", 5120 - head)},
        {[] { unchecked(format.substr(0, 13 + 2559 - sHead).c_str()); },
         w3 + std::string(2559 - head, 'y') + "\n", "", ""},
        {[] { unchecked(format.substr(0, 13 + 2560 - sHead).c_str()); },
         cut("2560", 2560 - head) + w3 + std::string(2559 - head, 'y') + "\n", "",
         cut("2560", 2560 - head)},
        {[] { PROT("W003-BASICS  "); }, w3 + "\n", "", ""},
        {[] { PROT("W003-BASICS "); }, usage + twelve + w3 + "\n", "", warn + twelve},
        {[] { unchecked("W003-BASICS% text"); },
         usage + open + "<time> W003-BASICS%[<pid>]: text\n", "",
         warn + "invalid usage of PROT: " + open},
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
    std::filesystem::remove(in.path("rw/prot/vorna.prot"));
    std::filesystem::remove(in.path("rw/prot/vorna.prot.err"));
    std::filesystem::create_directory(in.path("rw/prot/vorna.prot.err"));
    EXPECT_EQ(in_child(in, report), ""); // both files or none
    EXPECT_EQ(in.protocol(), Lines{});
    std::filesystem::remove_all(in.path("rw/prot"));
    EXPECT_EQ(in_child(in, report), "");
    in.remove_glbv("gv_prot");
    const std::string undefined = "\nNo gv_prot defined! vn_start_all necessary!\n";
    EXPECT_EQ(in_child(in, report), undefined);
    // A failure of the store that the protocol itself meets is not reported in the protocol.
    std::filesystem::create_directory(in.path("rw/glbv/gv_prot.sgv"));
    EXPECT_EQ(in_child(in, report),
              "glbv() read <dir>/rw/glbv/gv_prot.sgv failed: Is a directory (21)\n" + undefined);
}

std::string time_of(const std::string &request) {
    char time[64];
    text_copy(time, request);
    EXPECT_EQ(time_get(time), time);
    return time;
}

TEST(TimeGet, BaseTimesAndModes) {
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1); // 28 March and 31 October in 2010
    const std::pair<const char *, const char *> cases[] = {
        {"20100916_120000 D 2", "2010-09-18 12:00:00"},
        {"20100916_120000 D -16", "2010-08-31 12:00:00"},
        {"20101231_235959 D+1", "2011-01-01 23:59:59"},
        {"20100327_120000 D 1", "2010-03-28 12:00:00"}, // the same time of the day
        {"20101030_120000 D 1", "2010-10-31 12:00:00"},
        {"2010-09-16 12:00:00 H 13", "2010-09-17 01:00:00"},
        {"2010-01-01 00:30:00 H -1", "2009-12-31 23:30:00"},
        {"20100328_013000 H 1", "2010-03-28 03:30:00"}, // there is no 2:30
        {"20100916_120000 M -1", "2010-09-16 11:59:00"},
        {"20100228_235900 M 1", "2010-03-01 00:00:00"},
        {"20101231_235959 S 1", "2011-01-01 00:00:00"},
        {"20120301_000000 S -1", "2012-02-29 23:59:59"},
        {"20120228_120000 T", "2012-02-29 12:00:00"},
        {"20101231_120000 T 5", "2011-01-01 12:00:00"},
        {"2010-03-01 12:00:00 Y", "2010-02-28 12:00:00"},
        {"2010-01-01 12:00:00 Y", "2009-12-31 12:00:00"},
        {"20100916_120000 D x", "2010-09-16 12:00:00"},
        {"20100916_120000 d 1", "2010-09-16 12:00:00"},
        {"20100916_120000", "2010-09-16 12:00:00"},
        {"20100916_", nullptr},           // what is missing is that of now
        {"20100916120000 D 1", nullptr},  // no base time, and no mode
        {"2010-09-16 12:00:00", nullptr}, // the separator behind it is missing
        {"2010.09-16 12:00:00 D 1", nullptr},
        {"2010-09.16 12:00:00 D 1", nullptr},
        {"2010-09-16.12:00:00 D 1", nullptr},
        {"2010-09-16 12.00:00 D 1", nullptr},
        {"02010916_120000 D 1", nullptr},
        {"20100916_120000 I", "20100916120000"},
        {"2010-09-16 12:00:00 N", "20100916120000000"},
        // What no clock can hold is the end of time.
        {"20100916_120000 D 2147483647", "2038-01-19 04:14:07"},
        {"20100916_120000 S 2147483647", "2078-10-04 15:14:07"},
        {"20100916_120000 S 2147483648", "2038-01-19 04:14:07"},
        {"20100916_120000 H -99999999999999999999", "2038-01-19 04:14:07"}};
    for (const auto &[request, expected] : cases) {
        const std::string found = time_of(request);
        EXPECT_TRUE(expected == nullptr ? found.substr(0, 16) == time_of("").substr(0, 16) ||
                                              std::string(request) == "20100916_"
                                        : found == expected)
            << request << " gives " << found;
    }
    EXPECT_EQ(time_of("20100916_").substr(0, 11), "2010-09-16 ");
}

// From now on: hours, minutes and seconds pass, days and their neighbours keep the time of day.
TEST(TimeGet, ModesFromNow) {
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    const auto after = [](long seconds, bool digits) {
        char text[64];
        cm_strftime(std::time(nullptr) + seconds, "%Y-%m-%d %H:%M:%S", text, sizeof text);
        std::string time = text;
        std::erase_if(time, [&](char letter) { return digits && std::strchr("- :", letter); });
        return time;
    };
    const struct {
        const char *request;
        long seconds;
        bool digits;
    } cases[] = {
        {".", 0, false},           {"I", 0, true},   {"N", 0, true}, {"H 4392", 4392 * 3600, false},
        {"M -300", -18000, false}, {"S 7", 7, false}};
    for (const auto &c : cases) {
        const std::string end = c.request[0] == 'N' ? "000" : "";
        const std::string first = after(c.seconds, c.digits) + end, found = time_of(c.request);
        EXPECT_TRUE(first <= found && found <= after(c.seconds, c.digits) + end)
            << c.request << ' ' << found;
    }
    for (const auto &[request, days] :
         {std::pair("D 183", 183), {"D -183", -183}, {"T", 1}, {"Y", -1}}) {
        const std::string before = time_of("."), found = time_of(request), then = time_of(".");
        EXPECT_TRUE(before.substr(11) <= found.substr(11) && found.substr(11) <= then.substr(11))
            << request << ' ' << found;
        std::tm noon = {};
        strptime((before.substr(0, 11) + "12:00:00").c_str(), "%Y-%m-%d %H:%M:%S", &noon);
        noon.tm_mday += days;
        noon.tm_isdst = -1;
        char day[16];
        cm_strftime(std::mktime(&noon), "%Y-%m-%d", day, sizeof day);
        EXPECT_EQ(found.substr(0, 10), day) << request;
    }
    char text[5] = "~~~~";
    cm_strftime(0, "%Y", text, 5);
    EXPECT_STREQ(text, "1970");
    cm_strftime(0, "%Y!", text, 5);
    EXPECT_STREQ(text, ""); // what does not fit
    cm_strftime(0, "%Y", text, 0);
}

} // namespace
