// Every form of quoting, by every short text, through the shells that may run our commands. A text
// that comes back changed is an injection or a lost file somewhere.
#include "common/common/shell_quote.h"
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>

using namespace vn_test;

namespace {

constexpr char kSpecial[] = " \t\n\r\\'\"$`!*?[]{}()<>|&;#~=%^-+,.:/@_a0\x01\x7f\x80\xff";
constexpr size_t kBatch = 5000; // words of one command

// The empty text, all of one and two bytes, and every byte around each special character.
std::vector<std::string> short_texts() {
    std::vector<std::string> texts = {""};
    for (int a = 1; a < 256; a++) {
        const std::string first(1, static_cast<char>(a));
        texts.push_back(first);
        for (int b = 1; b < 256; b++) {
            texts.push_back(first + static_cast<char>(b));
        }
        for (const char special : std::string_view(kSpecial)) {
            texts.push_back(first + special + first);
        }
    }
    return texts;
}

struct Form {
    e_QUOTES quotes;
    const char *mark; // the quotes that the command has
};
constexpr Form kForms[] = {{QUOTES_NONE, ""}, {QUOTES_SINGLE, "'"}, {QUOTES_DOUBLE, "\""}};

// A command inside of another, as of `su -c`; at depth 2 between double quotes as well.
std::string nested(const std::string &command, size_t depth) {
    switch (depth) {
    case 0:
        return command;
    case 1:
        return "eval '" + shell_quoted(command, QUOTES_SINGLE) + "'";
    default:
        return "eval \"" + shell_quoted(nested(command, 1), QUOTES_DOUBLE) + '"';
    }
}

// Shows where two texts part, which may be millions of bytes long.
void expect_same(const std::string &got, const std::string &wanted) {
    if (got != wanted) {
        const size_t parts = static_cast<size_t>(
            std::mismatch(got.begin(), got.end(), wanted.begin(), wanted.end()).first -
            got.begin());
        const size_t from = parts - std::min<size_t>(parts, 8);
        ADD_FAILURE() << "at byte " << parts << ": " << testing::PrintToString(got.substr(from, 24))
                      << " instead of " << testing::PrintToString(wanted.substr(from, 24));
    }
}

// What every shell prints for the commands, each part behind a NUL byte, must be what is wanted.
struct Quoting : testing::Test {
    const Installation in;
    std::string script, wanted;
    std::vector<std::string> words;

    void add_word(const std::string &word, const std::string &means) {
        std::vector<std::string> ours;
        if (!shell_words(word, &ours) || ours != std::vector<std::string>{means}) {
            ADD_FAILURE() << testing::PrintToString(word);
        }
        words.push_back(word);
        wanted += means + '\0';
    }
    void add_command(size_t depth) {
        std::string command = "printf '%s\\0'";
        for (const std::string &word : words) {
            command += ' ' + word;
        }
        script += nested(command, depth) + '\n';
        words.clear();
    }
    void run(const std::vector<std::string> &program, const std::string &locale) const {
        if (access(program[0].c_str(), X_OK) != 0) {
            return; // this system has another shell
        }
        SCOPED_TRACE(program[0] + ' ' + locale);
        const CallResult result = run_program(program, {"LC_ALL=" + locale}, {});
        EXPECT_EQ(result.status, 0) << result.err;
        expect_same(result.out, wanted);
    }
    void run_everywhere() {
        add_command(0);
        write_file(in.path("script"), script);
        run({"/bin/sh", in.path("script")}, "C");
        if (std::filesystem::canonical("/bin/sh").filename() != "dash") {
            run({"/bin/dash", in.path("script")}, "C");
        }
        run({"/bin/bash", in.path("script")}, "C");
        run({"/bin/bash", in.path("script")}, "C.UTF-8");
        run({"/bin/busybox", "sh", in.path("script")}, "C");
    }
};

TEST_F(Quoting, GivesEveryShortTextBack) {
    size_t count = 0;
    for (const std::string &text : short_texts()) {
        const bool option = text.starts_with('-');
        for (const Form &form : kForms) {
            add_word(form.mark + shell_quoted(text, form.quotes) + form.mark, text);
            EXPECT_TRUE(option || shell_file(text, form.quotes) == shell_quoted(text, form.quotes));
            if (option) { // for the program it must be none
                add_word(form.mark + shell_file(text, form.quotes) + form.mark, "./" + text);
            }
        }
        if (words.size() >= kBatch) {
            add_command(count++ % 3);
        }
    }
    run_everywhere();
    const std::string plain = "plain_1./:,@%+-Z"; // a command shows an ordinary name as it is
    EXPECT_EQ(shell_quoted(plain, QUOTES_NONE), plain);
}

// Every text of these letters, for as long as its quotes have their partners.
TEST_F(Quoting, TakesAwayWhatAShellTakesAway) {
    constexpr std::string_view kLetters = "a '\"\\$";
    std::vector<std::string> texts = {""};
    for (size_t i = 0; i < texts.size(); i++) {
        const std::string text = texts[i];
        std::vector<std::string> ours;
        if (shell_words(text, &ours) && !text.ends_with('\\')) {
            words.push_back(text + " .");
            ours.emplace_back(".");
            for (const std::string &word : ours) {
                wanted += word + '\0';
            }
        }
        if (words.size() >= kBatch) {
            add_command(0);
        }
        // A shell takes the letter behind a bare dollar for a variable, or for a form of quotes.
        const bool expands =
            text.ends_with('$') && (!text.ends_with("\\$") || text.ends_with("\\\\$"));
        for (const char letter : std::string_view(text.size() < 6 ? kLetters : "")) {
            if (!expands || letter == ' ') {
                texts.push_back(text + letter);
            }
        }
    }
    run_everywhere();
}

} // namespace
