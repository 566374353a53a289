// Reading INI files: which line holds a value, references, lists, and where the files are found.
#include "common/unix/cm_kernel.h"
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sys/stat.h>

using namespace vn_test;
using namespace std::string_literals;

namespace {

const std::string kReader = "!i_GetPrivateProfileString: ";
const std::string kList = "!i_GetPrivateProfileList: ";

// The outcome as one text: "=" and the value, or "!" and the message.
template <typename Function>
std::string read(Function function, const char *from, const char *section, const char *key,
                 int size = 2048, int message_size = 512) {
    std::vector<char> value(static_cast<size_t>(size), '~'),
        msg(static_cast<size_t>(message_size), '~');
    const int status = function(from, section, key, value.data(), size, msg.data(), message_size);
    return (status == 1 ? "=" : "!") + std::string(value.data()) + msg.data();
}

// The same for a list: its number, every value behind a "|".
template <typename Function>
std::string read_list(Function function, const char *from, const char *section, const char *key) {
    t_LL list = ConsLL();
    char message[512] = "~";
    const int status = function(from, section, key, list, message, sizeof message);
    std::string outcome = status == 0 ? "!" : std::to_string(status);
    for (void *e = FirstElmLL(list); IsElmLL(e) != 0; e = NextElmLL(e)) {
        outcome += '|' + std::string(static_cast<const char *>(e), IsElmLL(e) - 1);
    }
    DestLL(list);
    return outcome + message;
}

struct Ini : testing::Test {
    Installation installation;
    const std::string file = installation.path("x.ini");
    const s_INI_PLACES previous = gIniPlaces;
    void TearDown() override { gIniPlaces = previous; }
};

TEST_F(Ini, DefaultPlacesOfTheCentralFile) {
    EXPECT_EQ(previous.cpCentral[0], std::string("/etc/opt/vorna/vorna.ini"));
    EXPECT_EQ(previous.cpCentral[1], std::string("/etc/vorna2000.ini"));
}

TEST_F(Ini, ValueOfAKeyInASection) {
    const std::string key_missing = kReader + "KEY NOT FOUND: k", large(1 << 20, 'x');
    const std::string empty = kReader + "KEY VALUE NOT FOUND.",
                      ended = kReader + "KEY NOT FOUND [a]k";
    const std::string no_section = kReader + "SECTION NOT FOUND: [a].";
    const struct {
        std::string content, outcome;
    } cases[] = {{"[a] more\nK=V\n", "=V"},
                 {"  [A]\nk=v\n", no_section},
                 {"", no_section},
                 {"[A]", key_missing},
                 {"k=0\n[B]\nk=1\n[A]\nx=2\n", key_missing},
                 {"[A]\nx=2\n[B]\nk=1\n", ended},
                 {"[A]\nx=2\n[A]\nk=1\n", ended},
                 {"#[A]\n\n[A]\n#k=1\n k=1\nk =1\nkk=1\n\nk=2\nk=3\n", "=2"},
                 {"[A]\nk=/a#b;c=%s%n\n", "=/a#b;c=%s%n"},
                 {"[A]\nk=  v w\t  \n", "=  v w\t"},
                 {"[A]\nk=   \nk=v\n", empty},
                 {"[A]\r\nk=v\r\n", "=v\r"},
                 {"[A]\n\0k=1\nk=v\0w\nk=3\n"s, "=v"},
                 {"[A]\nk=" + large.substr(0, 1021) + "\n", "=" + large.substr(0, 1021)},
                 {"[A]\nx=" + large + "\nk=v\n", "=v"},
                 {"[A]\nk=" + large, "=" + large.substr(0, 1021)},
                 // References: the first one of a value, in its section, else in the default one.
                 {"[A]\nk=%(rw)tmp/\nrw=/x/\n", "=/x/tmp/"},
                 {"[A]\nk=a%(R)b\n[Default]\nr=D\n", "=aDb"},
                 {"[DEFAULT]\nr=D\n[A]\nk=%(r)\nr=own\n", "=own"},
                 {"[DEFAULT]\nr=D\n[A]\nk=%(r)\nr=\n", "=D"},
                 {"[A]\nk=%(b)%(b)\nb={%(c)}\nc=C\n", "={C}%(b)"},
                 {"[A]\nk=%(r)\nc=C\n[DEFAULT]\nr=%(c)\nc=D\n", "=D"},
                 {"[A]\nk=%(r)\n", kReader + "SECTION NOT FOUND: [default]."},
                 {"[A]\nk=%(r)\n[DEFAULT]\nx=1\n", kReader + "KEY NOT FOUND: r"},
                 {"[A]\nk=x%(k)\n", key_missing},
                 {"[DEFAULT]\nk=%(k)%(k)\n[A]\nk=%(k)%(k)\n", key_missing}};
    for (const auto &c : cases) {
        write_file(file, c.content);
        EXPECT_EQ(read(i_GetPrivateProfileString, file.c_str(), "[A]", "k"), c.outcome)
            << c.content.substr(0, 80);
    }
    // Up to sixteen references are followed from one to the next.
    std::string chain = "[A]\n";
    for (int i = 0; i < 17; i++) {
        chain += "a" + std::to_string(i) + "=%(a" + std::to_string(i + 1) + ")\n";
    }
    write_file(file, chain + "a17=end\n");
    EXPECT_EQ(read(i_GetPrivateProfileString, file.c_str(), "[A]", "a1"), "=end");
    EXPECT_EQ(read(i_GetPrivateProfileString, file.c_str(), "[A]", "a0"),
              kReader + "KEY NOT FOUND: a17");
    write_file(file, "x=0\n[B]\nx=1\n[C]\nK=2\nk=3\n");
    for (const char *section : {"", static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(read(i_GetPrivateProfileString, file.c_str(), section, "k"), "=2");
    }
}

TEST_F(Ini, OutcomesAreCutToTheCallersBuffers) {
    write_file(file, "[A]\nk=%(r)>\nr=123456789\n");
    EXPECT_EQ(read(i_GetPrivateProfileString, file.c_str(), "[A]", "k", 5, 1), "=1234");
    EXPECT_EQ(read(i_GetPrivateProfileString, file.c_str(), "[A]", "x", 1, 8), "!i_GetPr");
    const std::string name(5000, 'k');
    EXPECT_EQ(read(i_GetPrivateProfileString, file.c_str(), "[A]", name.c_str())[0], '!');
    EXPECT_EQ(read(i_GetPrivateProfileString, file.c_str(), name.c_str(), "k")[0], '!');
}

TEST_F(Ini, LongNamesAreNotTakenForOthers) {
    const std::string name(63, 'k'), section = '[' + std::string(61, 's') + ']';
    write_file(file, section + "\n" + name + "=own\n" + name + "k=other\nr=%(" + name + "k)\n" +
                         name + "1=a\n");
    const auto outcome = [&](const std::string &s, const std::string &k) {
        return read(i_GetPrivateProfileString, file.c_str(), s.c_str(), k.c_str());
    };
    EXPECT_EQ(outcome(section, name), "=own");
    EXPECT_EQ(outcome(section, name + 'k'), kReader + "KEY NOT FOUND: " + name + 'k');
    EXPECT_EQ(outcome(section, "r"), kReader + "SECTION NOT FOUND: [default].");
    EXPECT_EQ(outcome(section + 'x', name), kReader + "SECTION NOT FOUND: " + section + "x.");
    EXPECT_EQ(read_list(i_GetPrivateProfileList, file.c_str(), "", (name + '#').c_str()), "1|a");
    EXPECT_EQ(read_list(i_GetPrivateProfileList, file.c_str(), "", (name + "k#").c_str())[0], '!');
}

TEST_F(Ini, NothingButARegularFileIsRead) {
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    const std::string reason = "i_GetPrivateProfileString: FILE NOT FOUND OR ACCESS PROBLEM";
    for (const std::string &path : {installation.path("none"), installation.dir, file}) {
        const std::string outcome = "!" + reason + ": " + path + ".";
        EXPECT_EQ(read(i_GetPrivateProfileString, path.c_str(), "[A]", "k"), outcome);
        EXPECT_EQ(read_list(i_GetPrivateProfileList, path.c_str(), "[A]", "k"), outcome);
    }
    for (const char *path : {"", static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(read(i_GetPrivateProfileString, path, "[A]", "k"), "!" + reason + ".");
    }
}

TEST_F(Ini, IdentifierIsLookedUpInTheCentralFiles) {
    const std::string first = installation.path("1.ini"), second = installation.path("2.ini");
    gIniPlaces = {{first.c_str(), second.c_str()}};
    write_file(file, "[any]\nA=/a0\nC=\n");
    write_file(first, "A=/a1\nB=/b1\nC=/c1\n");
    write_file(second, "A=/a2\nB=/b2\nD=/d2\n");
    const std::string none = "!i_GET_ROOT_FOR_INI: NO VORNA CONFIGURATION FILE FOUND: ";
    const struct {
        const char *vorna_ini, *identifier;
        std::string outcome;
    } cases[] = {{file.c_str(), "A", "=/a0"},
                 {file.c_str(), "b", "=/b1"},
                 {file.c_str(), "C", "=/c1"},
                 {file.c_str(), "D", "=/d2"},
                 {file.c_str(), "E", none + first},
                 {nullptr, "A", "=/a1"},
                 {nullptr, "D", "=/d2"},
                 {nullptr, "%s%n", none + second},
                 {installation.dir.c_str(), "A", "=/a1"},
                 {nullptr, "/not/looked/up", "=/not/looked/up"}};
    const auto root = [](const char *id, auto, auto, auto... rest) {
        return i_GET_ROOT_FOR_INI(id, rest...);
    };
    for (const auto &c : cases) {
        c.vorna_ini ? setenv("VORNA_INI", c.vorna_ini, 1) : unsetenv("VORNA_INI");
        EXPECT_EQ(read(root, c.identifier, nullptr, nullptr), c.outcome) << c.identifier;
    }
}

TEST_F(Ini, VariableThatDoesNotFitIsNamed) {
    const std::string longest = '/' + std::string(126, 'v'), first = installation.path("1.ini");
    gIniPlaces = {{first.c_str(), "/nowhere"}};
    write_file(first, "A=/a1\n");
    for (const std::string &name : {longest, longest + 'v'}) {
        setenv("VORNA_INI", name.c_str(), 1);
        char value[64], msg[64];
        testing::internal::CaptureStderr();
        EXPECT_EQ(i_GET_ROOT_FOR_INI("A", value, sizeof value, msg, sizeof msg), 1);
        EXPECT_EQ(i_GET_ROOT_FOR_INI("A", value, sizeof value, msg, sizeof msg), 1);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  name == longest
                      ? ""
                      : "VORNA_INI is longer than 127 characters and not used: " + name + '\n');
    }
}

TEST_F(Ini, WithoutIdentifierTheMainFileIsRead) {
    for (const char *identifier : {"VN_INI", "", static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(read(i_READ_INI, identifier, "[SETUP]", "lang"), "=en");
    }
    EXPECT_EQ(read(i_READ_INI, "VTPD_INI", "[VTPD_Server]", "vtpd_port"), "=11001");
    EXPECT_EQ(read(i_READ_INI, "VN_INI", "[q]", "%s%n"), kReader + "SECTION NOT FOUND: [q].");
}

TEST_F(Ini, ListHoldsAllLinesOfAKey) {
    const std::string large(600, 'r'), drives = "|a| b|-|" + large.substr(0, 511) + "/c";
    write_file(file, "drive9=no\n[S]\ndrive1=a\nDrive12= b \ndrive=x\ndrive01=no\ndrivex=no\n"
                     "drive2147483648=no\ndrive-0=no\ndrive-7=-\ndrive "
                     "3=no\n#drive4=no\ndrive3=%(r)/c\ndrive=y\nr=" +
                         large +
                         "\n[T]\ndrive5=no\nmy_d1=a\nMY_D2=%s%n\nb1=1\nb2=%(none)\nb3=3\nc1=%(c1)");
    const struct {
        const char *section, *key;
        std::string outcome;
    } cases[] = {{"[S]", "drive", "1|x|y"},
                 {"[s]", "DRIVE#", "1" + drives},
                 {"[S]", "drive##", "1" + drives},
                 {"[T]", "my_d#", "1|a|%s%n"},
                 {"[T]", "my_d##", "1|d1:a|D2:%s%n"},
                 {"[S]", "none", kList + "KEY NOT FOUND [s]none"},
                 {"[T]", "none", kList + "KEY NOT FOUND: none"},
                 {"[Q]", "drive#", kList + "SECTION NOT FOUND: [q]."},
                 {"[T]", "b#", "1|1|3"}, // a value whose reference fails is left out
                 {"[T]", "c#", kReader + "KEY NOT FOUND: c1"}};
    for (const auto &c : cases) {
        EXPECT_EQ(read_list(i_GetPrivateProfileList, file.c_str(), c.section, c.key), c.outcome);
    }

    EXPECT_EQ(read_list(i_READ_INI_LIST, file.c_str(), "[S]", "drive"), "4" + drives);
    EXPECT_EQ(read_list(i_READ_INI_LIST, file.c_str(), "[T]", "my_d#"), "2|d1:a|D2:%s%n");
    EXPECT_EQ(read_list(i_READ_INI_LIST, nullptr, "[SETUP]", "none"),
              "!i_READ_INI_LIST: No values for [none#] found in VN_INI");
    gIniPlaces = {{"/nowhere", "/nowhere"}};
    EXPECT_EQ(read_list(i_READ_INI_LIST, "OTHER", "[S]", "drive"),
              "!i_READ_INI_LIST: i_GET_ROOT_FOR_INI() failed");
}

} // namespace
