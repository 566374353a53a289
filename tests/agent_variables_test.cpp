// The functions on single values: global variables (G, R, W) and INI values (u, modes i and C).
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

using namespace vn_test;
using Lines = std::vector<std::string>;

namespace {

// Calls the agent for a record with the identifier 7, which is compared in whole.
void expect_record(const Installation &in, Lines arguments, int status, const std::string &message,
                   const std::string &before = "") {
    SCOPED_TRACE(testing::PrintToString(arguments));
    arguments.insert(arguments.begin(), {"-i", "7"});
    CallResult result = in.agent(arguments);
    result.err = in.normalised(result.err);
    EXPECT_EQ(result, (CallResult{status, "",
                                  before + "ID=7\nSTATUS=" + (status == 0 ? "SUCCESS" : "ERROR") +
                                      " MSG=" + message + "\n"}));
}

TEST(Variables, AreWrittenReadAndDeleted) {
    Installation in;
    const std::string value = "two  words %s%n \\ / ' \"";
    expect_record(in, {"-f", "W", "-n", "a/b", "-s", value}, 0, value);
    EXPECT_EQ(in.get_glbv("a_b"), value);
    expect_record(in, {"-f", "G", "-n", "a\\b"}, 0, value);
    EXPECT_EQ(in.get_glbv("gv_client_msg_7"), value);
    expect_record(in, {"-f", "R", "-n", "a_b"}, 0, value);
    EXPECT_EQ(in.get_glbv("a_b"), std::nullopt);
    expect_record(in, {"-f", "R", "-n", "a_b"}, 0, "?? GLBV a_b not existing");
    expect_record(in, {"-f", "G", "-n", ".."}, 0, "?? GLBV .. not existing");
    const std::string full(511, 'x'); // an option and a variable hold as much
    expect_record(in, {"-f", "W", "-n", "a", "-s", full + "yyy"}, 0, full);
    expect_record(in, {"-f", "G", "-n", "a"}, 0, full);
}

TEST(Variables, FailuresReachRecordAndProtocol) {
    Installation in;
    std::filesystem::create_directory(in.path("rw/glbv/%s%n.sgv"));
    const std::string reply = "?? GLBV %s%n cannot be created: Is a directory";
    expect_record(in, {"-f", "W", "-n", "%s%n", "-s", "x"}, 0, reply,
                  "glbv() write <dir>/rw/glbv/%s%n.sgv failed: Is a directory (21)\n");
    const std::string overlong(5000, 'n');
    const std::string name = overlong.substr(0, 511);
    const std::string missing = "?? GLBV " + overlong.substr(0, 503);
    expect_record(in, {"-f", "G", "-n", overlong}, 0, missing,
                  "glbv() read <dir>/rw/glbv/" + name + ".sgv failed: File name too long (" +
                      std::to_string(ENAMETOOLONG) + ")\n");
    const Lines events = {"<time> Error: GLBV:[<pid>]: " + reply,
                          "<time> Error: GLBV:[<pid>]: " + missing};
    EXPECT_EQ(in.protocol(), events);
    EXPECT_EQ(in.error_protocol(), events);
    const std::string ini = in.path("rw/ini/vn.ini");
    in.remove_ini(ini, "Pathes", "gv_rw_glbv");
    const std::string place = "( error reading vn_ini)";
    expect_record(in, {"-f", "G", "-n", "a"}, 0,
                  "?? Fatal software error FILE=../cm_hal_unix LINE=259 " + place);
    in.set_ini(ini, "SETUP", "lang", "de");
    expect_record(in, {"-f", "W", "-n", "a", "-s", "x"}, 0,
                  "?? Fataler Software Fehler FILE=../cm_hal_unix ZEILE=259 " + place);
}

TEST(IniValues, AreRead) {
    Installation in;
    const std::string file = in.path("rw/ini/x.ini");
    write_file(file, "top=1\n[A]\nk=  %s%n ;#  \nd=%(k)!\nlong=" + std::string(300, 'x') + "\n");
    const std::string who = "i_GetPrivateProfileString: ";
    const auto expect = [&](const Lines &place, int status, const std::string &message) {
        expect_record(in, {"-f", "u", "-m", "iX", "-n", place[0], "-s", place[1], "-t", place[2]},
                      status, message);
    };
    expect({"VN_INI", "[SETUP]", "lang"}, 0, "en");
    expect({"gv_rw_ini:x.ini", "[a]", "K"}, 0, "  %s%n ;#");
    expect({file, "[A]", "d"}, 0, "  %s%n ;#!");
    expect({file, "", "top"}, 0, "1");
    expect({file, "[A]", "long"}, 0, std::string(255, 'x'));
    expect({file, "[A]", "none"}, 2, who + "KEY NOT FOUND: none");
    expect({file, "[%s%n]", "k"}, 2, who + "SECTION NOT FOUND: [%s%n].");
    expect({"/none", "[A]", "k"}, 2, who + "FILE NOT FOUND OR ACCESS PROBLEM: /none.");
}

TEST(IniValues, AreChanged) {
    Installation in;
    const std::string file = in.path("rw/ini/x.ini");
    const auto change = [&](const std::string &name, const char *section, int status) {
        expect_record(in, {"-fu", "-mC", "-n", name, "-s", section, "-t", "Key", "-d", "%s%n"},
                      status, "");
    };
    write_file(file, "; comment\n[A]\nKey=1\nkey = \"q r\"\n[B]\nx=/a#b\n");
    change("gv_rw_ini:x.ini", "A", 0);
    EXPECT_EQ(read_file(file), "\n[A]\nKey=%s%n\nkey=q r\n\n[B]\nx=/a\n\n");
    write_file(file, "[A]\nKey=1\nno entry\n");
    change(file, "A", 2);
    EXPECT_EQ(read_file(file), "[A]\nKey=1\nno entry\n");
    change("/none/x.ini", "A", 2);
}

} // namespace
