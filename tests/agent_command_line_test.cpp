// From the command line to the record: options, help, the order of the checks, the dispatch, what a
// result leaves behind, the trace of a call, and damaged installations.
#include "tests/support/expected.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <pwd.h>
#include <sstream>
#include <thread>
#include <unistd.h>

using namespace vn_test;
namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

namespace {

// Calls the agent with the words of the line; standard error is normalised.
CallResult call(const Installation &in, const std::string &line) {
    std::istringstream words(line);
    CallResult result = in.agent({std::istream_iterator<std::string>(words), {}});
    result.err = in.normalised(result.err);
    return result;
}

std::string record(const std::string &id, int status, const std::string &message) {
    const char *const words[] = {"SUCCESS", "WARNING", "ERROR"};
    return "ID=" + id + "\nSTATUS=" + words[status] + " MSG=" + message + "\n";
}

enum { PRINTED = 1, STORED = 2, BOTH = 3 };

// The result of a call with the identifier 7 stands where it should stand, and nowhere else.
void expect_end(const Installation &in, const std::string &line, int status,
                const std::string &message, int delivered = BOTH, const std::string &before = "") {
    const std::string err = (delivered & PRINTED) != 0 ? record("7", status, message) : "";
    EXPECT_EQ(call(in, line), (CallResult{status, "", before + err})) << line;
    const bool stored = (delivered & STORED) != 0;
    EXPECT_EQ(in.get_glbv("gv_client_sts_7").value_or("-"), stored ? std::to_string(status) : "-");
    EXPECT_EQ(in.get_glbv("gv_client_msg_7").value_or("-"), stored ? message : "-") << line;
    in.remove_glbv("gv_client_sts_7");
    in.remove_glbv("gv_client_msg_7");
}

TEST(CommandLine, RequestsAndTheirResults) {
    Installation in;
    in.set_glbv("a", "value");
    write_file(in.path("rw/work") + "/present", "");
    const struct {
        const char *line;
        int status;
        const char *message;
        int delivered = BOTH;
    } cases[] = {
        {"-f G -i 7 -n a", 0, "value"},
        {"R -f Gxyz -w w -i 6 -i 7 -n b -n a", 0, "value"}, // the last one counts
        {"-r -f G -i 7 -n a", 0, "value", PRINTED},
        {"-f e -i 7 -n present", 0, "present exists"}, // in the work directory
        {"-f e -i 7 -n absent", 1, "absent doesn't exist"},
        {"read_event_log -i 7", 0, ""},
        {"-f c -i 7", 1, "missing option -d"},
        {"-f d -i 7", 1, "missing <directory>"},
        {"-f D -i 7", 1, "missing directory via -n"},
        {"-f e -i 7", 1, "missing option -n"},
        {"-f f -i 7 -n f", 1, "missing mode argument in -m : may be g | p[d]"},
        {"-f f -i 7 -m g", 1, "missing file name in -n"},
        {"-f G -i 7", 1, "missing option -n name of GLBV"},
        {"-f R -i 7 -s a", 1, "missing option -n name of GLBV"},
        {"-f k -i 7", 1, "missing option -s saveset|pattern"},
        {"-f m -i 7", 1, "missing option -s saveset"},
        {"-f p -i 7 -s 1", 1, "missing option -d device"},
        {"-f p -i 7 -d d", 1, "missing option -s VNS number"},
        {"-f t -i 7 -t x", 1, "missing device via -d"},
        {"-f t -i 7 -d x", 1, "missing device via -t"},
        {"-f x -i 7 -s true", 2, "missing option -u user"},
        {"-f g -i 7 -n a", 1, "unknown keyword"},                    // letters are case-sensitive
        {"-f G -i 7 end -n a", 1, "missing option -n name of GLBV"}, // options end at "end"
        {"-f W -i 7 -s x", 1, "missing option -n name of GLBV"},
        {"-f W -i 7 -n a", 1, "missing option -s string value to write"},
        {"-f u -i 7", 1, "missing filename via -n"},
        {"-f u -i 7 -m e", 1, "missing filename via -n", STORED},
        {"-f u -i 7 -m q -n f", 1, "wrong option in command line"},
        {"-f init -i 7", 1, "unknown keyword"},
        {"-i 7 -n a", 1, "no valid function was given in -f", PRINTED},
        {"-i 7 -x foo -f G -n a", 1, "wrong option x in command line", PRINTED},
        {"-i 7 -f G -y", 1, "wrong option ? in command line"},
        {"G -i 7 -n", 1, "wrong option : in command line"},
    };
    for (const auto &c : cases) {
        expect_end(in, c.line, c.status, c.message, c.delivered);
    }
    for (const std::vector<std::string> &empty :
         {std::vector<std::string>{"-f", "", "-i", "7"}, {"", "-i", "7"}}) {
        const std::string unknown = record("7", 1, "unknown keyword");
        EXPECT_EQ(in.agent(empty), (CallResult{1, "", unknown}));
        EXPECT_EQ(in.get_glbv("gv_client_msg_7"), "unknown keyword");
        in.remove_glbv("gv_client_msg_7");
    }
    const std::string refused = record("", 1, "wrong option x in command line");
    EXPECT_EQ(call(in, "-x foo -i 7"), (CallResult{1, "", refused}));
}

TEST(CommandLine, Help) {
    Installation in;
    const CallResult help = call(in, "");
    expect_file("help.txt", help.out);
    EXPECT_EQ(help, (CallResult{1, help.out, ""}));
    EXPECT_EQ(call(in, "-f G -h -x foo"), help);
}

// Without -i it is the local time of the call.
TEST(CommandLine, TheAgentMakesAnIdentifier) {
    Installation in;
    const auto hour_of = [](std::time_t time) {
        std::tm parts = {};
        char text[32];
        gmtime_r(&time, &parts);
        std::strftime(text, sizeof text, "%Y%m%d%H%M%S", &parts);
        return std::string(text);
    };
    const std::time_t zone = 5 * 3600;
    const std::string from = hour_of(std::time(nullptr) + zone);
    const CallResult result = in.agent({"r"}, {"", {"TZ=XXX-5"}, ""});
    const std::string to = hour_of(std::time(nullptr) + zone);
    const std::string id = result.err.substr(3, result.err.find('\n') - 3);
    EXPECT_EQ(result, (CallResult{0, "", record(id, 0, "")}));
    EXPECT_EQ(id.size(), 14u);
    EXPECT_LE(from, id);
    EXPECT_LE(id, to);
    EXPECT_EQ(in.get_glbv("gv_client_sts_" + id), "0");
}

TEST(CommandLine, TheFirstMissingSettingIsReported) {
    Installation in;
    const std::string ini = in.path("rw/ini/vn.ini");
    const std::string no_function = "no valid function was given in -f";
    in.remove_ini(ini, "SERVER", "name");
    expect_end(in, "-i 7", 1, "neither VORNA server was given in -C nor configured in INI",
               PRINTED);
    expect_end(in, "-C srv -i 7", 1, no_function, PRINTED);
    in.set_ini(ini, "SERVER", "vorna_server", "srv");
    expect_end(in, "-i 7", 1, no_function, PRINTED);
    in.remove_ini(ini, "Pathes", "gv_ro_vns"); // only the media server's functions need it
    expect_end(in, "-f r -i 7", 0, "");
    const std::pair<const char *, std::string> keys[] = {{"gv_rw_work", "gv_rw_work"},
                                                         {"gv_rw_tmp", "gv_rw_tmp"},
                                                         {"gv_rw_vbc_log", "gv_rw_vbc"},
                                                         {"gv_rw_ini", "gv_rw_ini"},
                                                         {"gv_rw", "gv_rw"},
                                                         {"gv_ro_bin", "gv_ro_bin"},
                                                         {"gv_ro", "gv_ro"}};
    std::string fatal;
    for (const char *line : {"-f c -i 7", "-f m -i 7", "-f p -i 7", "-f t -i 7"}) {
        expect_end(in, line, 1, "missing gv_ro_vns in INI");
    }
    for (const auto &[key, name] : keys) { // each is missing together with those before
        in.remove_ini(ini, "Pathes", key);
        if (name == "gv_rw_ini") {
            fatal = "FATAL: SET_LOG_MAIN: gv_rw_ini not set\n";
        }
        expect_end(in, "-f r -i 7", 1, "missing " + name + " in INI", BOTH, fatal);
    }
    expect_end(in, "-i 7", 1, "missing gv_ro in INI", PRINTED, fatal);
    expect_end(in, "-i 7 -y", 1, "wrong option ? in command line", PRINTED, fatal);
}

// A directory is one whole directory, or the call is refused.
TEST(CommandLine, ADirectoryThatDoesNotFitIsRefused) {
    for (const std::string key : {"gv_ro_bin", "gv_rw_ini", "gv_rw_vbc_log", "gv_rw_tmp",
                                  "gv_rw_work", "gv_ro_vns", "gv_ro", "gv_rw"}) {
        Installation in;
        const bool only_present = key.size() == 5;
        for (const size_t size : {511, 512, 5000}) {
            const std::string path = in.dir + std::string(size - in.dir.size(), '/');
            in.set_ini(in.path("rw/ini/vn.ini"), "Pathes", key, path);
            const bool whole = size == 511 || only_present;
            expect_end(in, "-f e -n / -i 7", whole ? 0 : 2,
                       whole ? "/ exists" : key + " in INI is too long");
        }
    }
}

TEST(CallTrace, VerboseCallInWhole) {
    Installation in;
    const std::string version = lines_of(call(in, "-h").out).at(0);
    const CallResult result =
        call(in, "-f k -i no -c no -C no -m no -s no -d no -b no -t no -n no " // the last counts
                 "-v -i 7 -c n -C s -l x -p lp -m abc -s s -d d -b b -t t "
                 "-f G -n %s%n rest of");
    std::vector<std::string> lines = {
        "<time># ",
        " " + version + "   User= " + getpwuid(geteuid())->pw_name + " ",
        "<time># Function: G",
        "<time># arguments end with: rest of",
        "<time># First argument non pos argument: rest",
        "<time># Got VTPD_PORT 11001 from vtpd.ini section [VTPD_Server]",
        "<time># <dir>/ro/bin/  <dir>/rw/ini/  <dir>/rw/tmp/  vn_client_.lgc",
        "<time># ID=7 Function=G   RemoteFlag=0  ClientHost=n   CtrlHost=s",
        "<time># Options: m=ab s=s l=lp d=d b=b t=t ",
        "<time># --- ARGUMENTS",
        "<time># chdir to <dir>/rw/work/ ",
        "<time># read GLBV  %s%n ",
        "<time># +++ FINISH Sts= SUCCESS, Msg= ?? GLBV %s%n not existing",
        "<time>#   write GLBV gv_client_sts_ 7",
        "<time># --- FINISH "};
    EXPECT_EQ(in.trace(), lines);
    lines.insert(lines.end() - 1, {"ID=7", "STATUS=SUCCESS MSG=?? GLBV %s%n not existing"});
    EXPECT_EQ(lines_of(result.err), lines);
}

// The variable of the trace switch decides, whatever debug.ini says; -v is above both.
TEST(CallTrace, SwitchedByFunctionLetter) {
    Installation in;
    in.set_glbv("a", "value");
    in.set_ini(in.path("rw/ini/debug.ini"), "", "VN_CLIENT", "1"); // holds until the switch
    std::string text;
    for (const char *letters : {"tG", "tR", "?G", "rfgi", ""}) {
        in.set_glbv("gv_client_trace", letters);
        text += letters + ("\n" + transcript(in, {"-f", "G", "-i", "7", "-n", "a"})) + "\n";
    }
    in.remove_glbv("gv_client_trace");
    text += "none\n" + transcript(in, {"-f", "G", "-i", "7", "-n", "a"}) + "\n";
    text += transcript(in, {"G", "-i", "7", "-n", "a", "-v"});
    expect_file("trace_switch.txt", text);
}

TEST(CommandLine, TheServerLocalIsThisHost) {
    Installation in;
    write_file(in.path("ro/bin/vbc"), "#!/bin/sh\necho \"$*\"\n");
    EXPECT_NE(call(in, "-v -i 7 -c LOCAL -C LOCAL -f r").err.find("ClientHost=   CtrlHost=\n"),
              std::string::npos);
    EXPECT_EQ(call(in, "-r -i 7 -f f -C LOCAL -m p -s . -n x"),
              (CallResult{0, "-p -S localhost:11001 x x\n", record("7", 0, "x")}));
}

// The port of the transfer daemon: where it is read, what stands for a missing one, and that it
// stays one word.
TEST(CommandLine, ThePortOfTheTransferDaemon) {
    Installation in;
    const std::string ini = in.path("rw/ini/vtpd.ini");
    write_file(in.path("ro/bin/vbc"), "#!/bin/sh\necho \"$*\"\n");
    const auto expect = [&in](const std::string &port, const Lines &traced) {
        CallResult copied = call(in, "-v -r -i 7 -f f -m p -s . -n x");
        EXPECT_EQ(copied.out, "-p -S localhost:" + port + " x x\n");
        for (const char *letter : {"f", "c", "m", "p", "t"}) {
            fs::remove(in.path("rw/lgc/vn_client_.lgc"));
            call(in, std::string("-v -r -i 7 -f ") + letter);
            Lines told;
            for (const std::string &line : in.trace()) {
                if (line.find("VTPD") != line.npos) {
                    told.push_back(line.substr(line.find("# ") + 2));
                }
            }
            const bool other = *letter == 'f' && traced.size() > 1;
            EXPECT_EQ(told, other ? Lines(traced.begin(), traced.end() - 2) : traced) << letter;
        }
    };
    const auto got = [](const std::string &port) {
        return Lines{"Got VTPD_PORT " + port + " from vtpd.ini section [VTPD_Server]"};
    };
    const auto missing = [](const std::string &reason) {
        return Lines{
            "READ_INI: VTPD_INI [VTPD_Server] VTPD_PORT not found",
            "WARNING: Couldn't get VTPD_PORT from vtpd.ini section [VTPD_Server]: " + reason + " ",
            "WARNING: Using default VTPD_PORT value 11001 "};
    };
    const std::string reader = "i_GetPrivateProfileString: ";
    expect("11001", got("11001"));
    in.set_ini(ini, "VTPD_Server", "VTPD_PORT", "12x;echo $$");
    expect("12x;echo $$", got("12x;echo $$"));
    in.remove_ini(in.path("vorna.ini"), "", "VTPD_INI"); // the file beside the others is read
    expect("12x;echo $$", got("12x;echo $$"));
    in.remove_ini(ini, "VTPD_Server", "VTPD_PORT");
    expect("", missing(reader + "KEY NOT FOUND: VTPD_PORT"));
    fs::remove(ini);
    expect("", missing(reader + "FILE NOT FOUND OR ACCESS PROBLEM: <dir>/rw/ini/vtpd.ini."));
    in.set_ini(in.path("vorna.ini"), "", "VTPD_INI", in.path("no.ini"));
    expect("", missing(reader + "FILE NOT FOUND OR ACCESS PROBLEM: <dir>/no.ini."));
}

// What a call makes anew is open to whom the caller's mask leaves it open.
TEST(CommandLine, TheCallersMaskHolds) {
    for (const auto &[mask, file, directory] :
         {std::tuple(0, 0666, 0770), {027, 0640, 0750}, {077, 0600, 0700}}) {
        Installation in;
        std::ostringstream line;
        line << "umask " << std::oct << mask << "; for words in '-f D -n new/dir' '-f u -m c -n "
             << "file -s x' '-f G -n " << std::string(300, 'n') << "'; do \"$0\" -v $words; done";
        run_program({"/bin/sh", "-c", line.str(), VN_CLIENT_PROGRAM},
                    {"PATH=/usr/bin:/bin", "VORNA_INI=" + in.path("vorna.ini")}, {});
        for (const char *name :
             {"lgc/vn_client_.lgc", "prot/vorna.prot", "prot/vorna.prot.err", "work/file"}) {
            EXPECT_EQ(fs::status(in.path("rw/") + name).permissions(), fs::perms(file)) << name;
        }
        EXPECT_EQ(fs::status(in.path("rw/work") + "/new/dir").permissions(), fs::perms(directory));
    }
}

// Whatever signals and streams the caller left: children are waited for, what is started has all
// signals as they are by default, and no file takes the place of a closed stream.
TEST(CommandLine, TheCallersSignalsAndStreamsDoNotMatter) {
    Installation in;
    write_file(in.path("ro/bin/signals"),
               "#!/bin/sh\ngrep SigIgn /proc/self/status >'" + in.path("ignored") + "'\nexit 3\n");
    fs::permissions(in.path("ro/bin/signals"), fs::perms(0755));
    const auto shell = [&in](const std::string &line) {
        return run_program({"/bin/sh", "-c", line, VN_CLIENT_PROGRAM},
                           {"PATH=/usr/bin:/bin", "VORNA_INI=" + in.path("vorna.ini")}, {});
    };
    const std::string failed = record("7", 2, "Program returned exit state 3");
    for (const char *words : {"-s signals", "-- signals"}) {
        EXPECT_EQ(shell(std::string("trap '' CHLD; \"$0\" -i 7 -f x -u root ") + words),
                  (CallResult{2, "", failed}));
        EXPECT_EQ(read_file(in.path("ignored")), "SigIgn:\t0000000000000000\n");
    }
    EXPECT_EQ(shell("\"$0\" -i 7 -f e -n / <&- >&- 2>&-"), (CallResult{0, "", ""}));
    EXPECT_EQ(in.get_glbv("gv_client_msg_7"), "/ exists");
    EXPECT_EQ(shell("\"$0\" -i 7 -f u -m c -n f -s - <&- >&- 2>&-"), (CallResult{2, "", ""}));
    EXPECT_EQ(in.get_glbv("gv_client_msg_7"), "read from standard input: Bad file descriptor");
    write_file(in.path("ro/bin/vn_main"), "#!/bin/sh\nkill -9 $$\n"); // nothing to wait for
    std::string media[2]; // the second time the trace has nowhere to go but into the file
    for (const char *closed : {"", " 2>&-"}) {
        in.set_glbv("gv_client_c_0", "0 /dev/nst4 LTO TAPE FILE 4");
        EXPECT_EQ(shell(std::string("\"$0\" -v -i 7 -f c -d 1") + closed).status, 0);
        media[*closed == ' '] = read_file(in.path("rw/ini/vns.ini")).value_or("none");
    }
    EXPECT_EQ(media[1], media[0]);
    EXPECT_EQ(shell("\"$0\" -h >&-"), (CallResult{1, "", ""}));
}

// A standard error that takes nothing for a while gets the record when it does, and ends no call
// that has nobody to tell it to.
TEST(Record, WaitsForAStandardErrorThatWouldBlock) {
    Installation in;
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
    std::string filling(1 << 16, '.'), read;
    while (write(ends[1], filling.data(), filling.size()) > 0) {
        ;
    }
    const auto call_with_pipe = [&] {
        return run_program({"/bin/sh", "-c", "exec \"$0\" -f r -i 7 2>&" + std::to_string(ends[1]),
                            VN_CLIENT_PROGRAM},
                           {"VORNA_INI=" + in.path("vorna.ini")}, {})
            .status;
    };
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(call_with_pipe(), 0); // nobody reads
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(2900));
    std::thread reader([&] {
        usleep(200000);
        for (ssize_t got = 0; (got = ::read(ends[0], filling.data(), filling.size())) > 0;) {
            read.append(filling.data(), static_cast<size_t>(got));
        }
    });
    EXPECT_EQ(call_with_pipe(), 0);
    reader.join();
    for (ssize_t got = 0; (got = ::read(ends[0], filling.data(), filling.size())) > 0;) {
        read.append(filling.data(), static_cast<size_t>(got));
    }
    EXPECT_EQ(read.substr(read.find_last_of('.') + 1), record("7", 0, ""));
    close(ends[0]);
    close(ends[1]);
}

// Out of memory while reading the configuration, while working, and at the very end.
TEST(Record, TellsALackOfMemory) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer needs more address space than the limits leave";
#endif
    Installation in;
    write_file(in.path("rw/work") + "/big", "");
    fs::resize_file(in.path("rw/work") + "/big", 300 << 20);
    const auto limited = [&in](int kilobytes, const std::string &words) {
        return run_program(
            {"/bin/sh", "-c",
             "ulimit -v " + std::to_string(kilobytes) + "; exec \"$0\" -i 7 -f " + words,
             VN_CLIENT_PROGRAM},
            {"VORNA_INI=" + in.path("vorna.ini")}, {});
    };
    const std::string told = "ID=7\nSTATUS=ERROR MSG=out of memory\n";
    EXPECT_EQ(limited(100000, "u -m C -n gv_rw_work:big -s A -t k -d v"),
              (CallResult{2, "", told}));
    EXPECT_EQ(in.get_glbv("gv_client_sts_7"), "2");
    EXPECT_EQ(in.get_glbv("gv_client_msg_7"), "out of memory");
    int ended = 0;
    for (int kilobytes = 3000; kilobytes < 8000; kilobytes += 40) {
        const CallResult result = limited(kilobytes, "r");
        if (result.status == 127) { // not even loaded
            continue;
        }
        const std::string early = "ID=\nSTATUS=ERROR MSG=out of memory\n";
        EXPECT_TRUE(result == (CallResult{2, "", early}) || result == (CallResult{2, "", told}) ||
                    result == (CallResult{0, "", record("7", 0, "")}))
            << kilobytes << ": " << result.status << result.err;
        ended += result.status == 2 ? 1 : 0;
    }
    EXPECT_GT(ended, 0);
}

TEST(BadInstallation, WithoutConfiguration) {
    const std::string fatal = "\nNo gv_prot defined! vn_start_all necessary!\n"
                              "FATAL: SET_LOG_MAIN: gv_rw_lgc not set";
    const std::string rest = "# +++ ARGUMENTS  \"" VN_CLIENT_PROGRAM "\" \"-ri7\" \"-fG\" \n"
                             "<time>#   +++ FINISH Sts= WARNING, Msg= missing gv_ro in INI\n" +
                             record("7", 1, "missing gv_ro in INI") + "<time>#   --- FINISH \n";
    const bool elsewhere =
        fs::exists("/etc/opt/vorna/vorna.ini") || fs::exists("/etc/vorna2000.ini");
    for (const std::string file : {"rw/ini/vn.ini", "vorna.ini"}) {
        if (file == "vorna.ini" && elsewhere) {
            break; // a real installation answers in its place
        }
        Installation in;
        const auto expect_refusal = [&] {
            CallResult result = call(in, "-ri7 -fG");
            if (result.err.starts_with(fatal)) {
                result.err.erase(fatal.size(), 8); // the time, not at the beginning of a line
            }
            EXPECT_EQ(result, (CallResult{1, "", fatal + rest})) << file;
        };
        write_file(in.path(file), std::string(1 << 20, '\0') + "\n[Pathes");
        expect_refusal();
        fs::remove(in.path(file));
        expect_refusal();
        fs::create_directory(in.path(file));
        expect_refusal();
    }
}

TEST(BadInstallation, WhatIsMissingOrFullDoesNotStopTheCall) {
    Installation in;
    in.set_glbv("a", "value");
    for (const char *name :
         {"rw/ini/debug.ini", "rw/ini/vtpd.ini", "rw/lgc", "rw/prot", "rw/work"}) {
        fs::remove_all(in.path(name));
    }
    expect_end(in, "-f G -i 7 -n a", 0, "value");
    fs::create_directory(in.path("rw/lgc"));
    fs::create_symlink("/dev/full", in.path("rw/lgc/vn_client_.lgc"));
    fs::create_symlink("/dev/full", in.path("rw/glbv/gv_client_sts_7.sgv"));
    const CallResult full = call(in, "-v -f G -i 7 -n a");
    EXPECT_NE(full.err.find("\n" + record("7", 0, "value")), std::string::npos) << full.err;
    EXPECT_EQ(in.get_glbv("gv_client_msg_7"), "value");
    fs::remove_all(in.path("rw/glbv"));
    const auto lost = [](const std::string &name) {
        return "glbv() write <dir>/rw/glbv/gv_client_" + name +
               "_7.sgv failed: No such file or "
               "directory (2)\n\nNo gv_prot defined! vn_start_all necessary!\n";
    };
    const std::string missing = record("7", 0, "?? GLBV a not existing");
    EXPECT_EQ(call(in, "-f G -i 7 -n a"), (CallResult{0, "", lost("sts") + lost("msg") + missing}));
}

// What names something to act on, or is stored, is used whole or refused before anything is done.
TEST(BadInput, WhatNamesSomethingIsWholeOrRefused) {
    Installation in;
    in.set_ini(in.path("rw/ini/vn.ini"), "SERVER", "name", std::string(159, 's'));
    const std::pair<const char *, size_t> cases[] = {
        {"D -n", 511},
        {"e -n", 511},
        {"f -m p -n", 511},
        {"f -m p -n no -s", 511},
        {"f -m p -n no -t", 511},
        {"f -m p -n no -C", 159},
        {"k -s", 511},
        {"m -s", 511},
        {"p -s 1 -d", 511},
        {"p -d d -s", 511},
        {"t -t /no -d", 511},
        {"t -d d -t", 511},
        {"t -d d -t / -n", 511},
        {"u -m d -n", 511},
        {"u -m x -n", 511},
        {"u -m c -n no/no -s", 511},
        {"u -m w -n no -s", 511},
        {"u -m d -n no -t", 511},
        {"u -m f -n no -s", 511},
        {"u -m i -n no -t k -s", 511},
        {"u -m i -n no -s s -t", 511},
        {"u -m C -n no -t k -d v -s", 511},
        {"u -m C -n no -s s -d v -t", 511},
        {"u -m C -n no -s s -t k -d", 511},
        {"u -m m -n no -s", 511},
        {"x -u root -s", 511},
        {"x -s true -u", 255},
        {"d", 4095},
    };
    for (const auto &[line, size] : cases) {
        const std::string words = std::string("-r -i 7 -f ") + line + " " + std::string(size, 'x');
        const std::string what =
            line[1] == '\0' ? "arguments are"
                            : "option " + std::string(line).substr(strlen(line) - 2) + " is";
        const std::string refused = "ID=7\nSTATUS=ERROR MSG=" + what + " too long\n";
        EXPECT_EQ(call(in, words + "x"), (CallResult{2, "", refused})) << line;
        EXPECT_EQ(call(in, words).err.find("MSG=" + what), std::string::npos) << line;
    }
}

TEST(BadInput, TheLastValueDecidesWhetherAnOptionIsWhole) {
    Installation in;
    const std::string over = " -n " + std::string(512, 'x'), refused = "option -n is too long";
    write_file(in.path("rw/work") + "/present", "");
    expect_end(in, "-f e -i 7" + over + " -n present", 0, "present exists");
    EXPECT_EQ(call(in, "-r -f e -i 7 -n present" + over),
              (CallResult{2, "", "ID=7\nSTATUS=ERROR MSG=" + refused + "\n"}));
    EXPECT_EQ(call(in, "-f u -i 7" + over), (CallResult{2, "", ""})); // mode e prints no record
    EXPECT_EQ(in.get_glbv("gv_client_msg_7"), refused);
    EXPECT_EQ(call(in, "-f u -m c -s s -i 7" + over).err,
              "ID=7\nSTATUS=ERROR MSG=" + refused + "\n");
    // The configured server is refused where it is used.
    in.set_ini(in.path("rw/ini/vn.ini"), "SERVER", "name", std::string(160, 's'));
    EXPECT_EQ(call(in, "-r -i 7 -f f -m p -n no"),
              (CallResult{2, "", "ID=7\nSTATUS=ERROR MSG=option -C is too long\n"}));
    expect_end(in, "-f r -i 7", 0, "");
}

TEST(BadInput, WhatIsOnlyTracedIsCut) {
    Installation in;
    std::string line = "-r -v -f r";
    for (const char letter : std::string("bCcdilmnstu")) {
        line += std::string(" -") + letter + " " + std::string(5000, letter);
    }
    const std::string err = call(in, line + " " + std::string(5000, 'z')).err;
    const std::string i(255, 'i'), c(159, 'c'), C(159, 'C'), s(511, 's'), d(511, 'd'), t(511, 't');
    for (const std::string &part :
         {record(i, 0, ""),
          "<time># ID=" + i + " Function=r   RemoteFlag=1  ClientHost=" + c + "   CtrlHost=" + C +
              "\n",
          "<time># Options: m=mm s=" + s + " l=" + std::string(255, 'l') + " d=" + d +
              " b=" + std::string(15, 'b') + " t=" + t + " \n"}) {
        EXPECT_NE(err.find("\n" + part), std::string::npos) << part;
    }
}

} // namespace
