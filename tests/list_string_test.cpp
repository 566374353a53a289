// The list and the string helpers, and the text of a call's parameters that is built with them.
#include "common/common/LL.h"
#include "common/common/cm_message.h"
#include "common/common/strlib.h"
#include "common/unix/cm_kernel.h"
#include "tests/support/installation.h"

#include <gtest/gtest.h>
#include <new>
#include <sys/resource.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <vector>

using namespace vn_test;

namespace {

using Texts = std::vector<std::string>;

Texts texts_of(t_LL list) {
    Texts texts;
    for (void *element = FirstElmLL(list); IsElmLL(element) != 0; element = NextElmLL(element)) {
        texts.emplace_back(static_cast<const char *>(element), IsElmLL(element));
    }
    return texts;
}

TEST(List, KeepsCopiesInOrderOfInsertion) {
    t_LL list = ConsLL();
    EXPECT_EQ(texts_of(list), Texts{});
    char data[] = "two";
    void *two = InsLastLLf(list, 3, data);
    data[0] = 'x';
    InsLastLLf(list, 4, "four");
    InsLLf(two, 3, "one", LINK_BEFORE);
    InsLLf(two, 3, "t\0e", LINK_AFTER);
    const std::string binary("t\0e", 3);
    EXPECT_EQ(texts_of(list), (Texts{"one", "two", binary, "four"}));
    EXPECT_EQ(list->links.backward->backward->backward + 1, two); // the other links' way
    EmptyLL(list);
    EXPECT_EQ(FirstElmLL(list), reinterpret_cast<char *>(list) + sizeof(s_list));
    EXPECT_EQ(IsElmLL(FirstElmLL(list)), 0U);
    InsLastLLf(list, 5, "again");
    EXPECT_EQ(texts_of(list), Texts{"again"});
    DestLL(list);

    s_LL head = {{nullptr, nullptr, 7}};
    InitLL(&head);
    EXPECT_EQ(texts_of(&head), Texts{});
}

// A program may have an end of its own for a lack of memory; without one the list ends it.
TEST(List, OutOfMemory) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer ends a program that asks for too much";
#endif
    const auto insert = [] { InsLastLLf(ConsLL(), ~0UL >> 2, nullptr); };
    const char *text = "^In InsLLf: malloc returned NULL \n$";
    EXPECT_EXIT(insert(), testing::ExitedWithCode(255), text);
    EXPECT_EXIT((std::set_new_handler([] { _exit(2); }), insert()), testing::ExitedWithCode(2),
                text);
    const auto exhaust = [] {
        const rlimit none = {0, 0};
        setrlimit(RLIMIT_AS, &none);
        for (;;) {
            ConsLL();
        }
    };
    EXPECT_EXIT(exhaust(), testing::ExitedWithCode(255), "^In CreatLL: malloc returned NULL \n$");
}

TEST(StrChain, LeavesOutAndReportsWhatDoesNotFit) {
    Installation installation;
    char text[STR_CHAIN_SIZE] = "old";
    EXPECT_STREQ(str_chain(text, 0, "a", "b", ""), "oldab");
    EXPECT_STREQ(str_chain(text, 1, "a", "b", "", "never"), "ab");

    const std::string filled(500, 'f');
    testing::internal::CaptureStderr();
    str_chain(text, 1, filled.c_str(), "%s%n%s%n%s%n", "01234567890", "");
    EXPECT_EQ(text, filled + "01234567890"); // 511 characters are the most
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "FATAL: STR_CHAIN: string overflow strlen(filled_string) + strlen(new_string) > 512\n"
              "  filled_string: " +
                  filled + "\n  new_string: %s%n%s%n%s%n\n");
    testing::internal::CaptureStderr();
    for (const LANGUAGES language : {LANG_DE, LANG_BY}) {
        eLang = language;
        str_chain(text, 0, "x", "");
    }
    eLang = LANG_EN;
    testing::internal::GetCapturedStderr();
    const std::string head = "<time> E001-BASICS [<pid>]: STR_CHAIN ";
    const Texts events = {head + "string overflow", head + "Zeichenkette zu lang",
                          head + "de Zeichnkettn is z'lang"};
    EXPECT_EQ(installation.protocol(), events);
    EXPECT_EQ(installation.error_protocol(), events);
}

TEST(StringHelpers, WorkInPlace) {
    const auto squeeze_slash = [](char *s) { return squeeze(s, '/'); };
    const auto escape_5 = [](char *s) { return szChar2EscapeChar(s, '\'', 5); };
    const auto escape_1 = [](char *s) { return szChar2EscapeChar(s, '\'', 1); };
    const auto escape_0 = [](char *s) { return szChar2EscapeChar(s, '\'', 0); };
    struct {
        const char *before;
        char *(*helper)(char *);
        const char *after;
    } const cases[] = {{" \t a \tb\t ", str_trim, "a \tb"},
                       {" \t ", str_trim, ""},
                       {"//aa/b///", squeeze_slash, "/aa/b/"},
                       {"a'b", escape_5, "a\\'b"},
                       {"''", escape_5, "\\'\\'"},
                       {"a''b", escape_5, "a\\'\\"},
                       {"abcdef", escape_5, "abcd"},
                       {"abc'", escape_5, "abc\\"},
                       {"a'", escape_1, ""},
                       {"a'", escape_0, "a'"},
                       {"aB-Z_z9", lowercase, "ab-z_z9"},
                       {"aB-Z_z9", uppercase, "AB-Z_Z9"},
                       {"/a\\b/", szPath2Dos, "\\a\\b\\"},
                       {"\\a/b\\", szPath2Unix, "/a/b/"}};
    for (const auto &c : cases) {
        std::vector<char> text(c.before, c.before + std::strlen(c.before) + 1);
        text.resize(std::max<size_t>(text.size(), 5));
        EXPECT_EQ(c.helper(text.data()), text.data());
        EXPECT_STREQ(text.data(), c.after) << "from \"" << c.before << '"';
    }
    const char *first = intoas(LONG_MIN);
    EXPECT_STREQ(longtoasc(-7), "-7");
    EXPECT_EQ(first, std::to_string(LONG_MIN));
}

Texts tokens_of(const std::string &text, int delimiter) {
    Texts tokens;
    for (char *t = cm_strtok(text.c_str(), delimiter); t; t = cm_strtok(nullptr, delimiter)) {
        tokens.emplace_back(t);
    }
    EXPECT_EQ(cm_strtok(nullptr, delimiter), nullptr);
    return tokens;
}

TEST(Tokenizer, ReturnsEmptyTokens) {
    EXPECT_EQ(tokens_of("a::b", ':'), (Texts{"a", "", "b"}));
    EXPECT_EQ(tokens_of(":a:", ':'), (Texts{"", "a", ""}));
    EXPECT_EQ(tokens_of("ab", ':'), (Texts{"ab"}));
    EXPECT_STREQ(cm_strtok("a:b c", ':'), "a"); // split once, by the first call's delimiter
    EXPECT_STREQ(cm_strtok(nullptr, ' '), "b c");
    cm_strtok("a:b:c", ':');
    cm_strtok("x", ':');
    EXPECT_EQ(cm_strtok(nullptr, ':'), nullptr); // the second tokenization ends the first

    const std::string fits(8191, 'x');
    testing::internal::CaptureStderr();
    EXPECT_EQ(tokens_of(fits, ':'), Texts{fits});
    EXPECT_EQ(tokens_of(fits + ":%n", ':'), Texts{fits});
    EXPECT_EQ(tokens_of(fits + "y", ':'), Texts{fits});
    const std::string report = "string shortend to 8191 chars bcs. of string overflow: strlen(";
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              report + fits + ":%n) > 8191\n" + report + fits + "y) > 8191\n");
}

TEST(StrElem, PicksOneElement) {
    const std::string longest(767, 'x');
    struct {
        int index;
        std::string text;
        int found;
        std::string element;
    } const cases[] = {{1, ":a:b", 1, "b"},
                       {2, "a::b", 1, "b"},
                       {1, "a::b", 1, ""},
                       {0, "all", 1, "all"},
                       {0, "", 0, ""},
                       {0, ":", 0, ""},
                       {1, "a:", 1, ""},
                       {1, "::a", 1, "a"},
                       {0, longest + ":a", 1, longest},
                       {1, longest + ":a", 0, ""},
                       {0, longest + "y", 1, longest},
                       {0, ":" + longest, 1, longest},
                       {1, longest.substr(1) + ":a", 1, ""},
                       {-1, "a:b", 0, ""},
                       {0, "::", 1, ""},
                       {2, "a:b:", 1, ""},
                       {3, "a:b:", 0, ""}};
    for (const auto &c : cases) {
        char element[768] = "stale";
        EXPECT_EQ(str_elem(c.index, ':', c.text.c_str(), element), c.found);
        EXPECT_EQ(element, c.element) << c.index << " of " << c.text;
    }
    char same[768] = "a:b:c"; // source and destination
    EXPECT_EQ(str_elem(2, ':', same, same), 1);
    EXPECT_STREQ(same, "c");
    EXPECT_EQ(str_elem(1, ' ', "x y", same), 1);
    EXPECT_STREQ(same, "y");
}

TEST(CallParameters, AreQuotedUntilTheBufferIsFull) {
    const auto quoted = [](const std::string &text) { return '"' + text + "\" "; };
    const std::string full(2044, 'f'), late(2031, 'l'), early(2030, 'e'), more(100, 'm');
    struct {
        Texts arguments;
        std::string text;
    } const cases[] = {
        {{"vn_client", "-f", "t"}, "\"vn_client\" \"-f\" \"t\" "},
        {{"%s%n", "\"", ""}, "\"%s%n\" \"\"\" \"\" "},
        {{full}, quoted(full)},
        {{full + "f"}, ""},
        // The mark stands at a fixed place: seen only behind a text that reaches it.
        {{late, more}, quoted(late) + "... truncated"},
        {{late + "l", more}, quoted(late + "l").substr(0, 2034) + "... truncated"},
        {{early, std::string(100000, 'z'), "x"}, quoted(early) + quoted("x")},
    };
    for (const auto &c : cases) {
        std::vector<char *> argv;
        for (const std::string &argument : c.arguments) {
            argv.push_back(const_cast<char *>(argument.c_str()));
        }
        EXPECT_EQ(GET_CALL_PARAM(static_cast<int>(argv.size()), argv.data()), c.text);
    }
}

} // namespace
