// Every session of tests/sessions is one case, and so is every document with commands.
#include "tests/support/session.h"

#include <algorithm>
#include <cctype>
#include <gtest/gtest.h>

namespace {

struct Session : testing::TestWithParam<std::string> {};

TEST_P(Session, ShowsItsText) {
#ifdef __SANITIZE_ADDRESS__
    if (GetParam().ends_with("_memory")) {
        GTEST_SKIP() << "the sanitizer needs the memory that is not there";
    }
#endif
    vn_test::play_session(GetParam());
}

INSTANTIATE_TEST_SUITE_P(All, Session, testing::ValuesIn(vn_test::session_names()),
                         [](const auto &test) { return test.param; });

struct Document : testing::TestWithParam<const char *> {};

TEST_P(Document, ShowsWhatTheCommandsPrint) {
    vn_test::play_document(std::string(VN_SESSIONS_DIR "/../../") + GetParam());
}

INSTANTIATE_TEST_SUITE_P(All, Document,
                         testing::Values("README.md", "docs/functions.md", "docs/interfaces.md",
                                         "docs/operators.md"),
                         [](const auto &test) {
                             std::string name = test.param;
                             std::replace_if(
                                 name.begin(), name.end(),
                                 [](char c) { return !std::isalnum((unsigned char)c); }, '_');
                             return name;
                         });

} // namespace
