// The functions on files end to end: dir, u in all its modes, D and f.
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <sys/stat.h>
#include <tuple>

using namespace vn_test;
namespace fs = std::filesystem;

namespace {

// Calls the agent from a shell, in which "$1" is the name. What it prints and its record, if it
// has a message, are compared in whole.
void expect(const Installation &in, const std::string &command, int status, const std::string &out,
            const std::string &message, const std::string &name = "") {
    std::string err = "ID=7\nSTATUS=";
    err += (status == 0   ? "SUCCESS"
            : status == 1 ? "WARNING"
                          : "ERROR") +
           (" MSG=" + message) + "\n";
    EXPECT_EQ(
        run_program({"/bin/sh", "-c", "\"$0\" -r -i 7 -f " + command, VN_CLIENT_PROGRAM, name},
                    {"PATH=/usr/bin:/bin", "LC_ALL=C", "VORNA_INI=" + in.path("vorna.ini")},
                    {"", {}, in.path("rw/work")}),
        (CallResult{status, out, message.empty() ? "" : err}))
        << command << name;
}

TEST(AgentFiles, UseFileDirAndCreate) {
    Installation in;
    const std::string f = in.path("rw/work/f"), old = in.path("rw/work/old"), x(200000, '\xff');
    const std::string over = f.substr(0, f.size() - 1) + std::string(511 - f.size(), '/') + "ff";
    const std::string work = in.path("rw/work");
    const std::string rest = std::string(509 - work.size(), '/') + "f";
    const std::string none = work + "/none" + std::string(500, '/'); // no file is below it
    in.set_glbv("long", none.substr(0, 500));
    in.set_glbv("cut", none.substr(0, 512)); // more than a variable holds
    write_file(in.path("rw/work/in"), x + '\0');
    write_file(work + "/wide", "[A]\nk=" + x.substr(0, 300) + "\n");
    write_file(old, "");
    fs::last_write_time(old, fs::file_time_type::clock::now() - std::chrono::hours(96));
    ASSERT_EQ(mkfifo(in.path("rw/work/p").c_str(), 0600), 0);
    const std::tuple<std::string, int, std::string, std::string> cases[] = {
        {"u -m c -n f -s - <in", 0, "", "create and write to f successful"},
        {"u -m w -n f -s 'a %s%n'", 0, "", "write to f successful"},
        {"u -m r -n f", 0, x + '\0' + "a %s%n\n", ""},
        {"u -m r -n f >/dev/full", 2, "", ""},
        {"u -m r -n f >&-", 2, "", ""},
        {"u -m r -n f | :", 0, "", ""},
        {"u -m r -n f >>f", 2, "", ""},
        {"u -m c -n f -s - <f", 2, "", "write to f: input file is output file"},
        {"u -m w -n f -s - <f", 2, "", "write to f: input file is output file"},
        {"u -m c -n f -s - <.", 2, "", "read from standard input: Is a directory"},
        {"u -m c -n f -s - <&-", 2, "", "read from standard input: Bad file descriptor"},
        {"u -m r -n f", 0, x + '\0' + "a %s%n\n", ""}, // as it was
        {"u -m c -n new -s - <.", 2, "", "read from standard input: Is a directory"},
        {"u -n new", 2, "", ""},
        {"u -m r -n p & echo a >p; wait", 0, "a\n", ""},
        {"u -n p", 0, "", ""},
        {"u -n /", 0, "", ""},
        {"u -m c -n gv_rw_work:f -s 'a b\nc'", 0, "", "create and write to " + f + " successful"},
        {"u -m f -n f -s 'z|OR|b^'", 0, "", "a b"},
        {"u -m x -n f", 0, "", "f is existing"},
        {"u -m f -n wide -s k=^", 0, "", "k=" + x.substr(0, 253)},
        {"u -m i -n gv_rw_work:wide -s '[A]' -t k", 0, "", x.substr(0, 255)},
        {"u -m i -n ini -s '[A]' -t k 2>&-", 2, "", ""},
        {"u -m C -n no/ini -s A -t k -d v 2>&-", 2, "", ""},
        {"u -m m -n f -s 741", 0, "", "chmod f successful"},
        {"u -m m -n f -s '7;echo >x' 2>&-", 2, "", ""},
        {"u -m c -n /dev/full -s x 2>&-", 2, "", ""},
        {"u -m c -n /dev/null -s x", 0, "", "create and write to /dev/null successful"},
        {"u -m c -n . -s x", 2, "", "write to .: Is a directory"},
        {"u -m w -n . -s x", 2, "", "write to .: Is a directory"},
        {"u -m w -n x -s x", 2, "", "x not found"},
        {"u -m d -n " + over, 2, "", "option -n is too long"}, // cut, it is f
        {"u -m e -n gv_rw_work:" + rest, 0, "", ""},
        {"u -n gv_rw_work:" + rest + "f", 2, "", ""},
        {"u -m d -n gv_rw_work:" + rest + "f", 2, "",
         ("gv_rw_work:" + rest).substr(0, 235) + ": File name too long"},
        {"u -m d -n cut:f", 2, "", "cut:f: File name too long"},
        {"u -m d -n 'long:0123456789*'", 2, "", "long:0123456789* is not deleted"},
        {"u -m d -n 'long:0123456789a*'", 2, "", "long:0123456789a*: File name too long"},
        {"D -n cut:f", 2, "", "File name too long"},
        {"u -m d -n '*' -t 3", 0, "", "* successfully deleted"}, // all match, one is old
        {"u -n old", 2, "", ""},
        {"u -m d -n f -t 0x", 0, "", "f successfully deleted"},
        {"u -m d -n f", 2, "", "f is not deleted"},
        {"u", 1, "", "missing filename via -n"},
        {"u -m m -n none -s 7 2>&-", 2, "", ""},
        {"u -m f -n none -s x", 2, "", "none not found"},
        {"u -m x -n none", 2, "", "none not found"},
        {"D", 1, "", "missing directory via -n"},
        {"D -n .", 0, "", "."},
        {"D -n 'a  b/c/'", 0, "", "a  b/c newly created"},
        {"D -n in/x", 1, "", "Not a directory"}};
    for (const auto &[command, status, out, message] : cases) {
        expect(in, command, status, out, message);
    }

    for (const char *name : {"young1", "young2", "young3"}) {
        write_file(work + "/" + name, "");
    }
    fs::last_write_time(work + "/young3",
                        fs::file_time_type::clock::now() - std::chrono::hours(96));
    EXPECT_NE(in.agent({"-v", "-f", "u", "-m", "d", "-n", "young*", "-t", "3"})
                  .err.find("found 1 files; too young were 2\n"),
              std::string::npos);
}

TEST(AgentFiles, AListingThatIsNotWholeIsAnError) {
    Installation in;
    write_file(in.path("zarafa-admin"),
               "#!/bin/sh\nprintf 'a\\nb\\n\\n\\nx\\tX Y\\n\\t\\n%0300d\\tZ\\n' 0\n");
    fs::permissions(in.path("zarafa-admin"), fs::perms(0755));
    for (const auto &[arguments, reason] :
         {std::pair(". >/dev/full", "No space left on device"),
          std::pair(". >&-", "Bad file descriptor"), std::pair(". | :", "Broken pipe"),
          std::pair("mount >/dev/full", "No space left on device"),
          std::pair("mount >&-", "Bad file descriptor")}) {
        const std::string name(arguments, std::strcspn(arguments, " "));
        const std::string command = std::string("{ sleep 0.1; \"$0\" d ") + name +
                                    "; echo $? >&2; }" + (arguments + name.size());
        EXPECT_EQ(
            run_program({"/bin/sh", "-c", command, VN_CLIENT_PROGRAM},
                        {"PATH=/usr/bin:/bin", "LC_ALL=C", "VORNA_INI=" + in.path("vorna.ini")},
                        {"", {}, in.path("rw/work")})
                .err,
            "ERROR: listing of " + name + " is incomplete: " + reason + "\n2\n");
    }
    std::string stores;
    for (const auto &[name, full] :
         {std::pair<std::string, std::string>("PUBLIC_FOLDER", "Public Folders"),
          {"x", "X Y"},
          {std::string(255, '0'), ""}}) {
        stores += "\"/Zarafa/" + name + "\" fb 2000.01.01 00:00:00 2000.01.01 00:00:00 4096 -, " +
                  full + "\n";
    }
    EXPECT_EQ(in.agent({"d", "/Zarafa"}, {"", {"PATH=" + in.dir + ":/usr/bin:/bin"}, ""}),
              (CallResult{0, "", stores}));
    for (const std::string root : {"/Zarafa", "/MySQL"}) { // a descriptor is left, a pipe takes two
        const std::string reason =
            root == "/Zarafa" ? "Could not find zarafa-admin -l.\n"
                              : "ERROR: listing of /MySQL is incomplete: Too many open files\n";
        EXPECT_EQ(run_program({"/bin/sh", "-c", "exec 3>&-; ulimit -n 4; exec \"$0\" d " + root,
                               VN_CLIENT_PROGRAM},
                              {"VORNA_INI=" + in.path("vorna.ini")}, {}),
                  (CallResult{2, "", reason}));
    }
    write_file(in.path("zarafa-admin"), "exit 3\n");
    EXPECT_EQ(in.agent({"d", "/Zarafa"}, {"", {"PATH=" + in.dir + ":/usr/bin:/bin"}, ""}),
              (CallResult{2, "",
                          lines_of(stores)[0] +
                              "\nERROR: listing of /Zarafa is incomplete: exit status 3\n"}));
}

TEST(AgentFiles, NetWareIsHandedOver) {
    Installation in;
    write_file(in.path("ro/bin/vn_sho"), "#!/bin/sh\nprintf '[%s]' \"$@\"; exit 5\n");
    write_file(in.path("ro/bin/vbc_vndr"), "#!/bin/sh\necho vbc_vndr\n");
    for (const char *program : {"ro/bin/vn_sho", "ro/bin/vbc_vndr"}) {
        fs::permissions(in.path(program), fs::perms(0755));
    }
    EXPECT_EQ(in.agent({"-f", "d", "/NetWare a/x", "b"}),
              (CallResult{0, "[-f][d][/NetWare a/x][b]", ""}));
    EXPECT_EQ(in.agent({"d", "-r", "/NetWare"}), (CallResult{0, "[d][-r][/NetWare]", ""}));
    EXPECT_EQ(in.agent({"d", "/NetWare"}), (CallResult{0, "vbc_vndr\n", ""})); // the third word
    EXPECT_EQ(in.agent({"-f", "d", "-r", "/NetWare"}), (CallResult{0, "vbc_vndr\n", ""}));
}

TEST(AgentFiles, AFullDiskStopsTheServices) {
    Installation in;
    for (const std::string tool : {"ro/bin/vn_alarm", "ro/bin/vn_os_startup"}) {
        write_file(in.path(tool), "#!/bin/sh\necho \"${0##*/} $*\" >&2\n");
        fs::permissions(in.path(tool), fs::perms(0755));
    }
    EXPECT_EQ(
        in.agent({"-r", "-i", "7", "-f", "u", "-m", "c", "-n", "/dev/full", "-s", "x"}),
        (CallResult{2, "",
                    "\nFILE_CLOSE error: No space left on device\n"
                    "vn_alarm FILE_SYSTEM No space left on device\nvn_os_startup STOP\n\n\n"
                    "SHUTDOWN vorna2000 - problems with file system (No space left on device) \n\n"
                    "ID=7\nSTATUS=ERROR MSG=write to /dev/full: No space left on device\n"}));
}

TEST(AgentFiles, TheBackupClientGetsEveryNameAsItIs) {
    Installation in;
    const std::string vbc = in.path("ro/bin/vbc"), dir = in.path("rw/work/s p/");
    write_file(vbc, "#!/bin/sh\nprintf '[%s]' \"${PWD##*/}\" \"$@\"\n[ \"$5\" != 3 ] || exit 3\n");
    fs::permissions(vbc, fs::perms(0755));
    fs::create_directory(dir);
    fs::create_directory(in.path("rw/work/work"));
    for (const char *name :
         {"3", "-rf", "a  $(touch x)`touch x`", "';touch x;'\"", "n\nl\xff%s%n"}) {
        const std::string word = std::string("[") + (*name == '-' ? "./" : "") + name + "]";
        const std::string words = "[-S][localhost:11001]" + word + word;
        const int status = *name == '3' ? 3 : 0;
        write_file(dir + name, "");
        expect(in, "f -m gd -n \"$1\"", status, "[work][-g]" + words, name, name);
        EXPECT_TRUE(fs::exists(dir + name));
        expect(in, "f -m Pd -s 's p' -n \"$1\"", status, "[s p][-p]" + words, name, name);
        EXPECT_EQ(fs::exists(dir + name), status == 3);
    }
    write_file(vbc, "#!/bin/sh\nrm \"$5\"\n");
    write_file(dir + "a", "");
    expect(in, "f -m pd -s 's p' -n a", 2, "",
           "a is on the server, but not deleted here: No such file or directory");
    expect(in, "f -m g -n a -t no", 1, "", "FILE_COPY \"get\" cannot change dir to no");
    expect(in, "f -n a", 1, "", "missing mode argument in -m : may be g | p[d]");
    expect(in, "f -m g", 1, "", "missing file name in -n");
    expect(in, "f -m x -n a", 1, "", "Wrong option x - only 'g,p' are allowed");
    EXPECT_FALSE(fs::exists(dir + "x"));
}

} // namespace
