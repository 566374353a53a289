// Line by line through a file: every length around the line's limit and the block's, at every place
// around the block's end.
#include "common/unix/files/line_reader.h"
#include "tests/support/installation.h"

#include <gtest/gtest.h>

using namespace vn_test;

namespace {

using Texts = std::vector<std::string>;

Texts read_with_reader(const std::string &file) {
    line_reader reader(file.c_str());
    Texts lines;
    for (std::string_view line; reader.next(&line);) {
        lines.emplace_back(line);
    }
    return lines;
}

TEST(LineReader, KeepsTheBeginningOfEveryLine) {
    Installation in;
    const std::string file = in.path("x");
    for (const size_t before : {0, 1, 1023, 7166, 7167, 7168, 7169, 8190, 8191, 8192}) {
        for (const size_t length : {0, 1, 1022, 1023, 1024, 1025, 8191, 8192, 8193, 20000}) {
            for (const char *end : {"", "\n", "\nend"}) {
                const std::string text =
                    std::string(before, 'b') + '\n' + std::string(length, 'x') + end;
                write_file(file, text);
                Texts expected = lines_of(text);
                for (std::string &whole : expected) {
                    whole.resize(std::min<size_t>(whole.size(), 1023));
                }
                EXPECT_EQ(read_with_reader(file), expected)
                    << before << ' ' << length << ' ' << end;
            }
        }
    }
    write_file(file, std::string("a\0b\n\0\nc\0", 8) + std::string(2000, 'x') + "\nd" +
                         std::string("\0e", 2));
    EXPECT_EQ(read_with_reader(file), (Texts{"a", "", "c", "d"}));
}

} // namespace
