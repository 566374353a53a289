// From the command line to the record: options, help, the order of the checks, the dispatch, what a
// result leaves behind, the trace of a call, and damaged installations.
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <pwd.h>
#include <sstream>
#include <thread>
#include <unistd.h>

using namespace vn_test;
namespace fs = std::filesystem;

namespace {

// Calls the agent with the words of the line; standard error is normalised.
CallResult call(const Installation &in, const std::string &line) {
    std::istringstream words(line);
    CallResult result = in.agent({std::istream_iterator<std::string>(words), {}});
    result.err = in.normalised(result.err);
    return result;
}

std::string record(const std::string &id, int status, const std::string &message) {
    return "ID=" + id + "\nSTATUS=" + (status == 0 ? "SUCCESS" : "WARNING") + " MSG=" + message +
           "\n";
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
        {"-f e -i 7", 1, "missing option -n"},
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
    const CallResult unnamed = call(in, "r"); // its identifier is the time
    const std::string id = unnamed.err.substr(3, unnamed.err.find('\n') - 3);
    EXPECT_EQ(unnamed, (CallResult{0, "", record(id, 0, "")}));
    EXPECT_TRUE(id.size() == 14 && id.find_first_not_of("0123456789") == id.npos) << id;
    EXPECT_EQ(in.get_glbv("gv_client_sts_" + id), "0");
}

TEST(CommandLine, Help) {
    Installation in;
    const CallResult help = call(in, "");
    EXPECT_EQ(call(in, "-f G -h -x foo"), help);
    EXPECT_EQ(help, (CallResult{1, help.out, ""}));
    const std::vector<std::string> lines = lines_of(help.out);
    ASSERT_EQ(lines.size(), 43u);
    for (size_t i = 1; i < lines.size(); i++) { // behind the version
        EXPECT_EQ(lines[i].size(), 79u) << lines[i];
    }
    EXPECT_TRUE(lines[41].starts_with(R"(<device> is the HW device, e.g. "\.\Tape0" or "/dev/n)"));
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
    expect_end(in, "-f t -i 7", 1, "missing gv_ro_vns in INI");
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

TEST(CallTrace, VerboseCallInWhole) {
    Installation in;
    const std::string version = lines_of(call(in, "-h").out).at(0);
    const CallResult result =
        call(in, "-v -i 7 -c node -C srv -l x -p lp -m abc -s s -d d -b b -t t "
                 "-f G -n %s%n rest of");
    std::vector<std::string> lines = {
        "<time># ",
        " " + version + "   User= " + getpwuid(geteuid())->pw_name + " ",
        "<time># Function: G",
        "<time># arguments end with: rest of",
        "<time># First argument non pos argument: rest",
        "<time># Got VTPD_PORT 11001 from vtpd.ini section [VTPD_Server]",
        "<time># <dir>/ro/bin/  <dir>/rw/ini/  <dir>/rw/tmp/  vn_client_.lgc",
        "<time># ID=7 Function=G   RemoteFlag=0  ClientHost=node   CtrlHost=srv",
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

TEST(CallTrace, SwitchedByFunctionLetter) {
    Installation in;
    in.set_glbv("a", "value");
    in.set_ini(in.path("rw/ini/debug.ini"), "", "VN_CLIENT", "1"); // holds until the switch
    for (const auto &[value, traced] : {std::pair("tG", true), {"tR", false}, {"?G", false}}) {
        in.set_glbv("gv_client_trace", value);
        EXPECT_EQ(call(in, "-r -f G -i 7 -n a").err != record("7", 0, "value"), traced) << value;
        const std::vector<std::string> lines = in.trace();
        EXPECT_EQ(lines.size() > 3, traced) << value;
        const std::string port =
            "<time>#   Got VTPD_PORT 11001 from vtpd.ini section [VTPD_Server]";
        EXPECT_EQ(std::find(lines.begin(), lines.end(), port) != lines.end(), traced) << value;
        EXPECT_EQ(in.trace().at(2), "<time>#   v_set_log: Set loglevel 1, verbose 0");
        fs::remove(in.path("rw/lgc/vn_client_.lgc"));
    }
}

TEST(CommandLine, TheServerLocalIsThisHost) {
    Installation in;
    write_file(in.path("ro/bin/vbc"), "#!/bin/sh\necho \"$*\"\n");
    EXPECT_EQ(call(in, "-r -i 7 -f f -C LOCAL -m p -s . -n x"),
              (CallResult{0, "-p -S localhost:11001 x x\n", record("7", 0, "x")}));
}

TEST(CallTrace, ThePortIsNamedByItsIdentifier) {
    Installation in;
    in.remove_ini(in.path("vorna.ini"), "", "VTPD_INI"); // the file beside the others is read
    const auto traced = [&in](const std::string &text) {
        const std::vector<std::string> lines = in.trace();
        return std::find(lines.begin(), lines.end(), "<time># " + text) != lines.end();
    };
    call(in, "-v -r -i 7 -f r");
    EXPECT_TRUE(traced("Got VTPD_PORT 11001 from vtpd.ini section [VTPD_Server]"));
    fs::remove(in.path("rw/ini/vtpd.ini"));
    call(in, "-v -r -i 7 -f p");
    EXPECT_TRUE(traced("READ_INI: VTPD_INI [VTPD_Server] VTPD_PORT not found"));
    EXPECT_TRUE(traced("WARNING: Using default VTPD_PORT value 11001 "));
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
    EXPECT_EQ(call_with_pipe(), 0); // nobody reads
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
