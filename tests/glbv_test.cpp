// The store of global variables, looked at from both sides: by its calls and in its directory.
#include "common/common/cm_message.h"
#include "common/unix/cm_hal_unix.h"
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

using namespace vn_test;
using namespace std::string_literals;

namespace {

// One call with buffers of just the size that the store may fill.
std::string call(int letter, const std::string &name, const std::string &input = "") {
    std::vector<char> name_buffer(name.c_str(), name.c_str() + name.size() + 1);
    std::vector<char> value(letter == 'w' ? std::max<size_t>(256, input.size() + 1) : 512);
    input.copy(value.data(), value.size() - 1);
    EXPECT_EQ(glbv(letter, name_buffer.data(), value.data()), value.data());
    return value.data();
}

struct Store : testing::Test {
    Installation installation;
    const std::string directory = installation.path("rw/glbv/");

    void SetUp() override { testing::internal::CaptureStderr(); }
    void TearDown() override {
        EXPECT_EQ(installation.normalised(testing::internal::GetCapturedStderr()), expected_stderr);
        eLang = LANG_EN;
    }
    std::string expected_stderr;

    // The variables' files that are there now, without those of the installation itself.
    std::set<std::string> files() const {
        std::set<std::string> names;
        for (const auto &entry : std::filesystem::directory_iterator(directory)) {
            if (std::string name = entry.path().filename(); !name.starts_with("gv_")) {
                names.insert(name);
            }
        }
        return names;
    }
};

TEST_F(Store, KeepsAVariableInOneFile) {
    char name[] = "a/b\\c", value[256] = "%s%n value";
    glbv('w', name, value);
    EXPECT_STREQ(name, "a_b_c");
    EXPECT_STREQ(value, "%s%n value");
    EXPECT_EQ(installation.get_glbv("a_b_c"), "%s%n value");
    EXPECT_EQ(call('r', "a\\b/c"), "%s%n value");
    EXPECT_EQ(call('R', "a_b_c"), "%s%n value");
    EXPECT_EQ(call('R', "a_b_c"), "?? GLBV a_b_c not existing");

    const mode_t mask = umask(0);
    for (const char *outside : {"..", "../../ini/vn", "/etc/x"}) {
        call('w', outside, "v");
    }
    umask(mask);
    EXPECT_EQ(files(), (std::set<std::string>{"...sgv", ".._.._ini_vn.sgv", "_etc_x.sgv"}));
    struct stat status = {};
    EXPECT_EQ(stat((directory + "...sgv").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0644U);
}

TEST_F(Store, JoinsTheLinesOfAValueAndMarksACut) {
    const std::string longest(511, 'x'), cut = std::string(510, 'x') + ">";
    const struct {
        std::string content;
        std::string value;
    } cases[] = {{"a\nb\n\nc\n", "abc"},
                 {"\n", ""},
                 {"a\r\nb", "a\rb"},
                 {"a\0b\nc"s, "ac"},
                 {longest, longest},
                 {longest + "\n\n", longest},
                 {longest + "x", cut},
                 {std::string(300, 'x') + "\n" + std::string(211, 'x'), longest},
                 {std::string(300, 'x') + "\n" + std::string(212, 'x') + "\ny", cut},
                 {std::string(1 << 20, 'x'), cut}};
    for (const auto &c : cases) {
        installation.set_glbv("v", c.content);
        EXPECT_EQ(call('r', "v"), c.value) << c.content.substr(0, 80);
    }
    const std::string written(600, 'x');
    EXPECT_EQ(call('w', "v", written), written);
    EXPECT_EQ(installation.get_glbv("v"), written);
    call('w', "v", "short");
    EXPECT_EQ(installation.get_glbv("v"), "short");
}

TEST_F(Store, TakesAnEmptyVariableForMissing) {
    call('w', "v", "");
    EXPECT_EQ(installation.get_glbv("v"), "");
    EXPECT_EQ(call('r', "v"), "?? GLBV v not existing");
    EXPECT_EQ(call('R', "v"), "?? GLBV v not existing");
    EXPECT_EQ(files(), std::set<std::string>{});
    expected_stderr = "glbv() read failed: empty file\nglbv() read failed: empty file\n";
}

TEST_F(Store, DeletesOneOrAllThatMatch) {
    for (const char *name : {"c_1", "c_2", "cx", "d[1]", "d1"}) {
        installation.set_glbv(name, "v");
    }
    EXPECT_EQ(call('d', "none", "kept"), "kept");
    EXPECT_EQ(call('d', "d[1]", "kept"), "kept"); // no pattern without "*"
    EXPECT_EQ(call('d', "c*_1", "kept"), "kept"); // the pattern must allow for the ending
    EXPECT_EQ(files(), (std::set<std::string>{"c_1.sgv", "c_2.sgv", "cx.sgv", "d1.sgv"}));
    EXPECT_EQ(call('d', "c_*", "kept"), "kept");
    EXPECT_EQ(files(), (std::set<std::string>{"cx.sgv", "d1.sgv"}));
    installation.set_ini(installation.path("rw/ini/vn.ini"), "Pathes", "gv_rw_glbv",
                         installation.path("none/"));
    call('d', "*");
    expected_stderr = "glbv: Error in opendir( <dir>/none/ ): No such file or directory\n";
}

TEST_F(Store, SaysInTheLanguageWhatIsWrongWithTheCall) {
    const std::string main_file = installation.path("rw/ini/vn.ini");
    const std::string english = "Fatal software error FILE=../cm_hal_unix LINE=259 (";
    const struct {
        LANGUAGES language;
        std::string letter, store;
    } cases[] = {{LANG_EN, "invalid service x", english},
                 {LANG_ES, "invalid service x", english},
                 {LANG_DE, "ungültiger Parameter x",
                  "Fataler Software Fehler FILE=../cm_hal_unix ZEILE=259 ("},
                 {LANG_BY, "an Parameter x gibt's net",
                  "Do hod's wos in da Software zrissn DATEI=../cm_hal_unix ZEIN=259 ("},
                 {LANG_FR, "Le Parametre x est erroné", english},
                 {LANG_PT, "invalid service x", english}};
    for (const auto &c : cases) {
        eLang = c.language;
        EXPECT_EQ(call('x', "v"), "?? " + c.letter);
        installation.remove_ini(main_file, "Pathes", "gv_rw_glbv");
        for (int letter : {'r', 'R', 'w', 'x'}) {
            EXPECT_EQ(call(letter, "v", "lost"), "?? " + c.store + " error reading vn_ini)");
        }
        EXPECT_EQ(call('d', "*", "kept"), "kept");
        installation.set_ini(main_file, "Pathes", "gv_rw_glbv", directory);
    }
}

TEST_F(Store, ReportsWhatCannotBeOpened) {
    std::filesystem::create_directory(directory + "%s%n.sgv");
    EXPECT_EQ(call('R', "%s%n"), "?? GLBV %s%n not existing: Is a directory");
    EXPECT_EQ(call('w', "%s%n", "v"), "?? GLBV %s%n cannot be created: Is a directory");
    EXPECT_EQ(files(), std::set<std::string>{"%s%n.sgv"});
    const std::string file =
        "<dir>/rw/glbv/%s%n.sgv failed: Is a directory (" + std::to_string(EISDIR) + ")\n";
    expected_stderr = "glbv() read " + file + "glbv() write " + file;
    const std::string event = "<time> Error: GLBV:[<pid>]: ?? GLBV %s%n ";
    const std::vector<std::string> events = {event + "not existing: Is a directory",
                                             event + "cannot be created: Is a directory"};
    EXPECT_EQ(installation.protocol(), events);
    EXPECT_EQ(installation.error_protocol(), events);
}

TEST_F(Store, SurvivesANameLongerThanAnyFileName) {
    const std::string name(5000, 'n'), reply = "?? GLBV " + name;
    EXPECT_EQ(call('r', name), reply.substr(0, 511));
    EXPECT_EQ(call('w', name, "v"), reply.substr(0, 255));
    EXPECT_EQ(call('d', name, "kept"), "kept");
    const std::string failed = " <dir>/rw/glbv/" + name + ".sgv failed: File name too long (" +
                               std::to_string(ENAMETOOLONG) + ")\n";
    expected_stderr = "glbv() read" + failed + "glbv() write" + failed;
}

// A call that would never end is ended by an alarm, and that fails the test.
void expect_reply(int letter, const std::string &name, const std::string &begin) {
    const auto reply = [&] {
        alarm(3);
        const std::string value = call(letter, name, "v");
        _exit(value.starts_with(begin) ? 0 : 1);
    };
    EXPECT_EXIT(reply(), testing::ExitedWithCode(0), "")
        << static_cast<char>(letter) << ' ' << name;
}

TEST(StoreFiles, NeverHangACall) {
    Installation installation;
    const std::string directory = installation.path("rw/glbv/");
    ASSERT_EQ(mkfifo((directory + "pipe.sgv").c_str(), 0600), 0);
    std::filesystem::create_symlink("/dev/full", directory + "full.sgv");
    expect_reply('r', "pipe", "?? GLBV pipe not existing");
    expect_reply('w', "pipe", "?? GLBV pipe cannot be created: ");
    expect_reply('r', "full", "");
    expect_reply('w', "full", "?? GLBV full cannot be created: No space left on device");
}

} // namespace
