// Changing a value of an INI file: the layout that is written, and files that must stay as they
// are.
#include "common/unix/cm_kernel.h"
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace vn_test;
using namespace std::string_literals;

namespace {

TEST(IniChange, RewritesTheWholeFile) {
    Installation installation;
    const std::string file = installation.path("x.ini");
    const std::string large(1 << 20, 'x');
    struct {
        std::string before;
        std::string section, key, value;
        std::string after;
    } const cases[] = {
        {"# c\n; d\n[Pathes]\ngv_rw = /opt/x/ ; why\nq=\"a;b#c\"\ns = 'x y'\nempty=\n\n"
         "[SETUP]\nlang=en\n",
         "SETUP", "lang", "de",
         "\n[Pathes]\ngv_rw=/opt/x/\nq=a;b#c\ns=x y\nempty=\n\n[SETUP]\nlang=de\n\n"},
        {"[A]\nro=/a#b\nk=1\n", "A", "k", "2", "\n[A]\nro=/a\nk=2\n\n"},
        {"[A]\nk=1\n", "A", "new", "%s%n %d", "\n[A]\nk=1\nnew=%s%n %d\n\n"},
        {"[A]\nKey=1\n", "A", "key", "2", "\n[A]\nKey=1\nkey=2\n\n"},
        {"[A]\nk=1\n", "a", "k", "2", "\n[A]\nk=1\n\n"}, // no such section
        {"[E]\n[A]\nk=1\n", "E", "k", "2", "\n[E]\nk=2\n\n[A]\nk=1\n\n"},
        {"[E]\n[A]\nk=1\n", "A", "k", "", "\n[E]\n\n[A]\nk=\n\n"},
        {"[A]\r\nk=1\r\nl=2", "A", "k", "3", "\n[A]\nk=3\nl=2\n\n"},
        {"[A]\nk=1\n[B]\nk=2\n[A]\nl=3\n", "A", "l", "4", "\n[A]\nk=1\nl=4\n\n[B]\nk=2\n\n"},
        {"#" + large + "\n[A]\nk=" + large + "\nl=1\n", "A", "l", "2",
         "\n[A]\nk=" + large + "\nl=2\n\n"},
        {"[A]\nk=1\n", "A", std::string(300, 'n'), "2", // "A:" and the name have 255 characters
         "\n[A]\nk=1\n" + std::string(253, 'n') + "=2\n\n"},
    };
    for (const auto &c : cases) {
        write_file(file, c.before);
        EXPECT_EQ(i_change_ini(file.c_str(), c.section.c_str(), c.key.c_str(), c.value.c_str()), 1);
        EXPECT_EQ(read_file(file), c.after) << "from " << c.before.substr(0, 80);
    }
}

TEST(IniChange, LeavesAloneWhatItCannotTakeIn) {
    Installation installation;
    const std::string file = installation.path("x.ini");
    for (const std::string &content :
         {"[A]\nk=1\nneither section nor entry\n"s, "[A\nk=1\n"s, "[A]\nk=1\n=v\n"s, "k=1\n"s, ""s,
          "[A]\nk=1\0\n"s, "[A]\nk=1\n" + std::string(1 << 20, 'x')}) {
        write_file(file, content);
        EXPECT_EQ(i_change_ini(file.c_str(), "A", "k", "2"), 0) << content.substr(0, 80);
        EXPECT_EQ(read_file(file), content);
    }
    const std::string pipe = installation.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string &path : {pipe, installation.dir, installation.path("none"), "/dev/full"s,
                                    "/" + std::string(5000, 'n')})
        EXPECT_EQ(i_change_ini(path.c_str(), "A", "k", "2"), 0) << path;
    EXPECT_EQ(read_file(installation.path("none")), std::nullopt);
}

TEST(IniChange, IsSeenByTheReader) {
    Installation installation;
    for (const char *identifier : {"VN_INI", "", static_cast<const char *>(nullptr)}) {
        const std::string language = std::string("x") + (identifier ? identifier : "(null)");
        EXPECT_EQ(i_change_ini(identifier, "SETUP", "lang", language.c_str()), 1);
        char value[64], message[256];
        EXPECT_EQ(i_READ_INI("VN_INI", "[SETUP]", "lang", value, 64, message, 256), 1) << message;
        EXPECT_EQ(value, language);
    }
}

} // namespace
