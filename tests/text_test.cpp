// What everything stands on: text in buffers, quoting for the shell, formats, error texts, lines.
#include "common/common/shell_quote.h"
#include "common/common/text.h"
#include "common/unix/configuration/directories.h"
#include "common/unix/files/line_reader.h"
#include "common/unix/trace/format.h"
#include "common/unix/trace/screen.h"
#include "common/unix/trace/system_error.h"
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <netdb.h>

using namespace vn_test;
using namespace std::string_literals;

namespace {

using Texts = std::vector<std::string>;

TEST(TextBuffer, TakesWhatFitsAndTellsACut) {
    const struct {
        long size;
        const char *text;
        bool fits;
        const char *result;
    } cases[] = {{4, "abc", true, "abc"}, {3, "abc", false, "ab"},   {1, "", true, ""},
                 {1, "a", false, ""},     {0, "", false, "~~~~~~~"}, {-1, "", false, "~~~~~~~"}};
    for (const auto &c : cases) {
        char copied[] = "~~~~~~~", printed[] = "~~~~~~~", appended[] = "+\0~~~~~~";
        EXPECT_EQ(text_copy(copied, c.size, c.text), c.fits);
        EXPECT_EQ(text_print(printed, c.size, "%s", c.text), c.fits);
        EXPECT_EQ(text_append(appended, c.size > 0 ? c.size + 1 : c.size, c.text), c.fits);
        EXPECT_STREQ(copied, c.result);
        EXPECT_STREQ(printed, c.result);
        EXPECT_EQ(appended, c.size > 0 ? "+"s + c.result : "+"s);
        const size_t end = static_cast<size_t>(std::max(c.size, 0L));
        EXPECT_EQ(copied[end] + printed[end] + appended[end + 2], 3 * '~') << "overrun";
    }
    char full[] = "~~~~~~~";
    EXPECT_FALSE(text_append(full, 4, "a")); // without an end of its own
    EXPECT_STREQ(full, "~~~");
    EXPECT_FALSE(text_copy(nullptr, 4, "") || text_append(nullptr, 4, "") ||
                 text_print(nullptr, 4, " "));
    EXPECT_FALSE(text_print(full, "%ls", L"\xd800")); // no character
    EXPECT_STREQ(full, "");
}

TEST(Text, IsTakenApart) {
    const std::pair<const char *, bool> paths[] = {
        {"..", true},     {"a/..", true}, {"../a", true}, {"a/../b", true}, {"", false},
        {"a/..b", false}, {"a..", false}, {".", false},   {"...", false}};
    for (const auto &[path, up] : paths) {
        EXPECT_EQ(path_goes_up(path), up) << path;
    }
    const struct {
        std::string_view text;
        std::string first, rest;
    } lines[] = {{"a\nb\nc", "a", "b\nc"},
                 {"a", "a", ""},
                 {"a\n", "a", ""},
                 {"\n\n", "", "\n"},
                 {"", "", ""}};
    for (const auto &c : lines) {
        std::string_view text = c.text;
        EXPECT_EQ(text_take_line(&text), c.first);
        EXPECT_EQ(text, c.rest);
    }
    const auto fields = text_fields("::a::b c:", ':');
    EXPECT_EQ(Texts(fields.begin(), fields.end()), (Texts{"a", "b c"}));
    EXPECT_EQ(text_stripped(" \t\r\n\v\fa b\f "), "a b");
    EXPECT_EQ(text_stripped(" \t"), "");
    EXPECT_EQ(text_file_part("/a\\b*c.d"), "_a_b_c.d");
    std::string all;
    for (char letter = '@'; letter <= '{'; letter++) {
        all += std::string{text_lower(letter), text_upper(letter)};
    }
    EXPECT_EQ(all, "@@aAbBcCdDeEfFgGhHiIjJkKlLmMnNoOpPqQrRsStTuUvVwWxXyYzZ"
                   "[[\\\\]]^^__``aAbBcCdDeEfFgGhHiIjJkKlLmMnNoOpPqQrRsStTuUvVwWxXyYzZ{{");
    EXPECT_TRUE(text_begins_with_nocase("aB", "Ab") && text_begins_with_nocase("a", ""));
    EXPECT_FALSE(text_begins_with_nocase("a", "ab") || text_begins_with_nocase("ab", "b"));
}

TEST(ShellQuoting, SplitsAsAShellDoes) {
    const std::pair<std::string, Texts> cases[] = {
        {"", {}},
        {" \t\n", {}},
        {"a  b\tc\nd", {"a", "b", "c", "d"}},
        {"a'b c'\"d e\"f", {"ab cd ef"}},
        {R"(a\ b \'x \\ "\"\a\$" '\')", {"a b", "'x", "\\", "\"\\a$", "\\"}},
        {"'' \"\"", {"", ""}},
        {"a\\", {"a\\"}}};
    for (const auto &[text, expected] : cases) {
        Texts words;
        EXPECT_TRUE(shell_words(text, &words)) << text;
        EXPECT_EQ(words, expected) << text;
    }
    for (const char *open : {"a 'b", "\"", "\"a\\\""}) {
        Texts words;
        EXPECT_FALSE(shell_words(open, &words)) << open;
    }
}

// The formatted text; "!" before it when that failed.
__attribute__((format(printf, 2, 3))) std::string formatted(size_t limit, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::string text = "stale";
    const bool done = format_text(&text, format, limit, arguments);
    va_end(arguments);
    return (done ? "" : "!") + text;
}

TEST(Format, TextOfAnyLengthAndFormatsThatAreCut) {
    for (const size_t length : {2046, 2047, 2048, 9000}) {
        const std::string text(length - 1, 'x');
        EXPECT_EQ(formatted(9, "%s!", text.c_str()), text + '!');
    }
    EXPECT_EQ(formatted(9, "%ls", L"\xd800"), "!");
    EXPECT_EQ(formatted(4, "ab%d", 7), "ab7");
    EXPECT_EQ(formatted(3, "ab%d", 7), "ab");
    const std::pair<size_t, const char *> cuts[] = {{0, ""},         {1, "a"},        {2, "a"},
                                                    {5, "a"},        {6, "a%-5ld"},   {7, "a%-5ld"},
                                                    {8, "a%-5ld%%"}, {99, "a%-5ld%%"}};
    for (const auto &[limit, text] : cuts) {
        EXPECT_EQ(format_cut("a%-5ld%%%", limit), text) << limit;
    }
}

TEST(SystemError, NamesClassNumberAndText) {
    EXPECT_STREQ(syserrtxt(SYSERR_SYSTEM, 0, "open %s", "%s"), "open %s");
    EXPECT_STREQ(syserrtxt(SYSERR_SYSTEM, ENOENT, "open %d", 1),
                 "open 1 (system error 2: No such file or directory)");
    EXPECT_STREQ(syserrtxt(SYSERR_SOCKET, EPIPE, "send"), "send (socket error 32: Broken pipe)");
    EXPECT_EQ(syserrtxt(SYSERR_RESOLVER, HOST_NOT_FOUND, "host"),
              "host (resolver error 1: "s + hstrerror(HOST_NOT_FOUND) + ')');
    const std::string large(2000, 'x');
    EXPECT_EQ(syserrtxt(SYSERR_SYSTEM, ENOENT, "%s", large.c_str()), large.substr(0, 1023));
}

TEST(Screen, KnowsAnOpenLine) {
    testing::internal::CaptureStderr();
    for (const auto &[text, end] : {std::pair("a", "\n"), {"", "\n"}, {"b\n", ""}, {"", ""}}) {
        write_screen(text);
        EXPECT_STREQ(screen_line_end(), end);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "ab\n");
}

// Every length around the line's limit and the block's, at every place around the block's end.
TEST(LineReader, KeepsTheBeginningOfEveryLine) {
    Installation in;
    const std::string file = in.path("x");
    for (const size_t before : {0, 1, 1023, 7166, 7167, 7168, 7169, 8190, 8191, 8192}) {
        for (const size_t length : {0, 1, 1022, 1023, 1024, 1025, 8191, 8192, 8193, 20000}) {
            for (const char *end : {"", "\n", "\nend"}) {
                const std::string line(length, 'x'), text = std::string(before, 'b') + '\n' + line;
                write_file(file, text + end);
                line_reader reader(file.c_str());
                Texts lines, expected = lines_of(text + end);
                for (std::string &whole : expected) {
                    whole.resize(std::min<size_t>(whole.size(), 1023));
                }
                std::string_view found;
                while (reader.next(&found)) {
                    lines.emplace_back(found);
                }
                EXPECT_EQ(lines, expected) << before << ' ' << length << ' ' << end;
            }
        }
    }
    write_file(file, "a\0b\n\0\nc\0"s + std::string(2000, 'x') + "\nd\0e"s);
    line_reader reader(file.c_str());
    std::string_view found;
    for (const char *line : {"a", "", "c", "d"}) {
        EXPECT_TRUE(reader.next(&found));
        EXPECT_EQ(found, line);
    }
    EXPECT_FALSE(reader.next(&found));
}

TEST(Directories, OfTheInstallation) {
    const std::pair<const char *, bool> paths[] = {
        {"a", true},   {"ab/c", true},   {"", true},      {"/a", false},
        {"d:", false}, {"d:\\x", false}, {"\\\\x", false}};
    for (const auto &[path, relative] : paths) {
        EXPECT_EQ(is_relative_path(path), relative) << path;
    }
    Installation in;
    in.set_glbv("gv_rw_work", "/w//");
    EXPECT_EQ(work_directory(), "/w//");
    EXPECT_EQ(disk_mount_point("a//b/"), "/w/diskmnt/a/b/");
    const std::string longest(255 - std::strlen("/w///diskmnt/"), 'd');
    EXPECT_EQ(disk_mount_point(longest), "/w/diskmnt/" + longest);
    EXPECT_EQ(disk_mount_point(longest + 'd'), "");
    in.remove_glbv("gv_rw_work");
    EXPECT_EQ(work_directory(), in.path("rw/work") + "/"); // that of the main INI file
    EXPECT_EQ(database_directory(), in.path("ro/db/"));
    in.remove_ini(in.path("rw/ini/vn.ini"), "Pathes", "gv_rw_work");
    EXPECT_EQ(work_directory() + disk_mount_point("a"), "");
}

} // namespace
