// The functions k, m and x, and a request for every function as the server makes it: record, exit
// status, result variables and trace. No test changes the user: a stand-in
// for su records how it was called.
#include "common/common/text.h"
#include "kernel/unix_hal/vn_hal_unix.h"
#include "tests/support/expected.h"

#include <filesystem>
#include <gtest/gtest.h>

using namespace vn_test;
namespace fs = std::filesystem;

namespace {

struct AgentSavesets : testing::Test {
    AgentSavesets() {
        fs::create_directory(in.path("ro/bin2"));
        for (const char *name : {"ro/bin/tool", "ro/tool", "ro/bin2/tool", "ro/drive/su"}) {
            write_file(in.path(name), "#!/bin/sh\nprintf '[%s]' ${0##*/} \"$@\" >'" + ran +
                                          "'\n[ \"$1\" != 3 ] || exit 3\n");
            fs::permissions(in.path(name), fs::perms(0755));
        }
        setenv("PATH", (in.path("ro/drive:") + getenv("PATH")).c_str(), 1);
    }
    Installation in;
    const std::string ran = in.path("ran"), bin = in.path("ro/bin/"), ini = in.path("rw/ini/"),
                      work = in.path("rw/work/");

    // All that a call leaves, with the words of a shell.
    void expect(const std::string &words, int sts, const std::string &text,
                const std::string &trace) const {
        const std::string state = sts == 0 ? "SUCCESS" : sts == 1 ? "WARNING" : "ERROR";
        const std::string lgc = in.path("rw/lgc/vn_client_.lgc"), no = "no file";
        const std::string end = "+++ FINISH Sts= " + state + ", Msg= " + text;
        fs::remove(lgc);
        const CallResult result =
            run_program({"/bin/sh", "-c", "\"$0\" -v -i 7 -f " + words, VN_CLIENT_PROGRAM},
                        {"PATH=/usr/bin:/bin", "VORNA_INI=" + in.path("vorna.ini")}, {});
        const std::string all = in.get_glbv("gv_client_sts_7").value_or(no) + "\n" +
                                in.get_glbv("gv_client_msg_7").value_or(no) + "\n" + result.err +
                                read_file(lgc).value_or(no);
        EXPECT_EQ(result, (CallResult{sts & 255, "", result.err})) << words;
        EXPECT_TRUE(all.starts_with(std::to_string(sts) + "\n" + text + "\n")) << words << all;
        for (const std::string &part : {"ID=7\nSTATUS=" + state + " MSG=" + text, trace, end}) {
            EXPECT_NE(all.find(part + "\n"), all.npos) << words << ": " << part << "\n" << all;
        }
    }
    // Runs a command for a user: "<result> <message>", and what ran.
    std::string run(const std::string &user, const std::string &cmd,
                    const char **argv = nullptr) const {
        char szMsg[256] = "", **args = const_cast<char **>(argv);
        fs::remove(ran);
        const int result = i_EXECUTE_USER_COMMAND(user.c_str(), cmd.c_str(), args, szMsg, {});
        return std::to_string(result) + " " + szMsg + read_file(ran).value_or("");
    }
};

TEST_F(AgentSavesets, EveryFunction) {
    const std::string no = "could not open file ", trailer = no + ini + "mtf_trailer.dat to read",
                      lis = work + "vnslis/";
    in.set_glbv("gv_client_c_0", "0 /dev/nst4 LTO TAPE FILE 4");
    write_file(ini + "mtf_extended_header.dat", std::string("h\0\xff", 3));
    const std::tuple<std::string, int, std::string, std::string> cases[] = {
        {"W -n a -s 'b  c'", 0, "b  c", "write GLBV a = b  c "},
        {"G -n a", 0, "b  c", "read GLBV  a "},
        {"R -n a", 0, "b  c", "read & delete GLBV  a "},
        {"e -n no", 1, "no doesn't exist", "check existence of file no "},
        {"D -n d", 0, "d newly created", ""},
        {"u -m c -n d/f -s x", 0, "create and write to d/f successful", ""},
        {"f -m p -s d -n f", 0, "f", ""},
        {"t -d disk9 -t /", 0, "Drive tape online", ""},
        {"p -d /dev/nst4", 1, "missing option -s VNS number", ""},
        {"r", 0, "", "read event log"},
        {"c -d 1", 0, "Configured 1 VNS-drives", ""},
        {"k -s a7.", 2, "There are no vbc processes", "kill with pattern a7. "},
        {"m -s SS1", 1, trailer, "--- COPY_MTF_HDR_TRL   " + trailer + " "},
        {"W -n x -s x; echo t >" + ini + "mtf_trailer.dat", 0, "x", ""},
        {"m -s 'S $(x)'", 0, "copy ok", "copy MTF-header & trailer file"},
        {"m -s no/SS", 1, no + lis + "no/SS.hdr to write", "+++ COPY_MTF_HDR_TRL"},
        {"m -s '..\\..\\evil'", 1, "invalid saveset name ..\\..\\evil", ""},
        {"W -n x -s x; mkdir " + lis + "dir.trl", 0, "x", ""},
        {"m -s dir", 1, no + lis + "dir.trl to write", ""},
        {"W -n x -s x; rm " + ini + "mtf_trailer.dat; mkdir " + ini + "mtf_trailer.dat", 0, "x",
         ""},
        {"m -s SS2", 1, trailer, ""},
        {"x -s tool", 2, "missing option -u user", ""},
        {"x -u root -s 'tool 1'", 0, "success", "+++ EXECUTE_COMMAND  root  tool 1 "},
        {"x -u root -- tool 3", 2, "Program returned exit state 3",
         "Use command from argv: [tool]"},
        {"x -u root -s 'tool;tool 3'", 2, "Program returned exit state 3", "Cmd2: [tool]"},
        {"x -u vbccopy -s 'tool 1'", 0, "Saveset successfully copied", "Start saveset copy"},
        {"x -u vbccopy -- true", 2, "missing option -s command", "+++ EXECUTE_COMMAND  vbccopy   "},
        {"x -u vbccopy -s 'kill -1 $$'", 1, "Saveset successfully copied", ""},
        {"x -u vbccopy -s 'exit 1'", 256, "Error during saveset copy", "unexpected exit code 256"}};
    for (const auto &[words, status, message, trace] : cases) {
        expect(words, status, message, trace);
    }
    EXPECT_EQ(read_file(lis + "SS1.hdr"), std::string("h\0\xff", 3));
    EXPECT_EQ(read_file(lis + "S $(x).trl"), "t\n");
    EXPECT_TRUE(in.agent({"dir", work + "d"}).out.starts_with('"' + work + "d/f\" f_ "));
}

TEST_F(AgentSavesets, CommandsOfUsers) {
    const std::string list = in.path("allow"), bin2 = in.path("ro/bin2/tool"),
                      ok = "0 success[su][-]";
    const char *argv[] = {"tool", "a b", "$x", nullptr};
    gcpAllowList = list.c_str();
    const auto refused = [&](const std::string &user, const std::string &words) {
        const std::string program =
            (words[0] == '/' ? "" : bin) + words.substr(0, words.find_first_of(" ;|<"));
        EXPECT_EQ(run(user, words), "2 Command " + program + " with user " + user + " not allowed");
    };
    EXPECT_EQ(run("bob", "/bin/ls"), "2 could not open file " + list);
    EXPECT_EQ(run("root", bin + "tool 3"), "2 Program returned exit state 3[tool][3]");
    EXPECT_EQ(run("b;x", "tool it's \"$x\""), ok + "[b;x][-c][" + bin + "tool it's \"$x\"]");
    EXPECT_EQ(run("root", "", argv), "0 success[tool][a b][$x]");
    EXPECT_EQ(run("bob", "", argv), ok + "[bob][-c][" + bin + "tool 'a b' '$x']");
    write_file(list, "bob *\neve /bin/echo\n# amy *\nann  *\nroot /bin/tru\n");
    EXPECT_EQ(run("bob", "/bin/ls /"), ok + "[bob][-c][/bin/ls /]");
    EXPECT_EQ(run("eve", "/bin/ech *"), ok + "[eve][-c][/bin/ech *]"); // the line contains it
    for (const char *user : {"amy", "ann", "bo", "root"}) {
        refused(user, "/bin/true");
    }
    for (const char *user : {"", "-", "-x"}) {
        refused(user, "tool");
    }
    for (const std::string program : {"../tool", "\"..\"/tool", "x/../../tool", "$(tool)",
                                      "tool\t3", "`tool`;", "'tool'|", "to*<"}) {
        refused("root", program + " x");
    }
    refused("root", bin + "../tool");
    for (const std::string rest : {";:", "&&:", "|:", ">/dev/null", "</dev/null", "&wait"}) {
        EXPECT_EQ(run("root", "tool" + rest), "0 success[tool]") << rest;
    }
    EXPECT_EQ(run("root", ";tool"), "2 Command  with user root not allowed");
    // The program's word is bounded, the line only where su gets it.
    const std::string too_long = "2 command is too long", x(1018, 'x'), y = x + "yyyyy",
                      z = y + "y";
    const char *fitting[] = {"tool", x.c_str(), nullptr}, *longer[] = {"tool", y.c_str(), nullptr},
               *program[] = {y.c_str(), nullptr}, *over[] = {z.c_str(), nullptr};
    EXPECT_EQ(run("bob", "", fitting), ok + "[bob][-c][" + bin + "tool " + x + "]");
    EXPECT_EQ(run("bob", "", longer), too_long);
    EXPECT_EQ(run("root", "", longer), "0 success[tool][" + y + "]");
    EXPECT_EQ(run("root", "", program),
              "2 Program returned exit state 164"); // its name is too long
    EXPECT_EQ(run("root", "", over), too_long);
    EXPECT_EQ(run("root", z), too_long);
    in.set_ini(ini + "vn.ini", "Pathes", "gv_ro_bin", in.path("ro/bin"));
    refused("root", bin2);
    EXPECT_EQ(run("root", bin + "tool"), "0 success[tool]");
    // A program of the directory above is not one of the directory, however long its name is.
    const std::string cut_here = in.path("ro/") + std::string(255 - in.path("ro/").size(), '/');
    in.set_ini(ini + "vn.ini", "Pathes", "gv_ro_bin", cut_here + "bin/");
    write_file(bin + "tool", "#!/bin/sh\nexit 4\n");
    EXPECT_EQ(run("root", "tool"), "2 Program returned exit state 4");
    in.remove_ini(ini + "vn.ini", "Pathes", "gv_ro_bin");
    EXPECT_EQ(run("root", "tool"), "2 Command tool with user root not allowed");
}

// What each decision leaves in the trace.
TEST_F(AgentSavesets, DecisionsOnCommandsAreTraced) {
    const std::string list = in.path("allow"), lgc = in.path("rw/lgc/x.lgc");
    const char *argv[] = {"tool", "3", nullptr};
    gcpAllowList = list.c_str();
    std::string text;
    const auto add = [&](const std::string &user, const std::string &cmd, bool args = false) {
        char szMsg[256] = "";
        str_log log = {"", 2, 0, ""};
        text_copy(log.szFile, lgc);
        fs::remove(lgc);
        fs::remove(ran);
        const int result = i_EXECUTE_USER_COMMAND(
            user.c_str(), cmd.c_str(), args ? const_cast<char **>(argv) : nullptr, szMsg, log);
        text += "$ " + user + ": " + cmd + "\n" + std::to_string(result) + " " + szMsg + "\n" +
                read_file(lgc).value_or("no trace\n") + read_file(ran).value_or("nothing") +
                " ran\n\n";
    };
    add("bob", "/bin/ls");
    write_file(list, "bob *\neve /bin/echo\nroot /bin/true\n");
    add("bob", "/bin/ls /");
    add("eve", "/bin/echo x");
    add("eve", "/bin/ls");
    add("root", "/bin/true");
    add("bob", "tool it's");
    add("root", " tool 1");
    add("root", "tool 3");
    add("bob", "", true);
    add("root", "", true);
    add("root", "");
    add("root", std::string(1024, 'x'));
    expect_file("user_commands.txt", in.comparable(text));
}

TEST_F(AgentSavesets, ALineOfTheAllowListHolds255Bytes) {
    const std::string list = in.path("allow"), end = "bob /bin/true", ok = "0 success[su][-]";
    gcpAllowList = list.c_str();
    for (const size_t size : {255, 256}) {
        write_file(list, "bob " + std::string(size - 4 - end.size(), '-') + end + "\nbob /bin/tr");
        EXPECT_EQ(run("bob", "/bin/true"), size == 255
                                               ? ok + "[bob][-c][/bin/true]"
                                               : "2 Command /bin/true with user bob not allowed");
    }
    const std::string program = "/" + std::string(300, 'p'); // and a message 255
    EXPECT_EQ(run("bob", program), ("2 Command " + program).substr(0, 257));
}

// A disk of this platform has no label: there is nothing to be set, and that is well.
TEST(VolumeLabel, IsNothingToSet) {
    char szMsg[8] = "before";
    EXPECT_EQ(i_SET_VOLUME_LABEL("/dev/sda1", "label", 'w', szMsg, sizeof szMsg), 1);
    EXPECT_STREQ(szMsg, "");
}

} // namespace
