// Every session of tests/sessions is one case.
#include "tests/support/session.h"

#include <gtest/gtest.h>

namespace {

struct Session : testing::TestWithParam<std::string> {};

TEST_P(Session, ShowsItsText) {
    vn_test::play_session(GetParam());
}

INSTANTIATE_TEST_SUITE_P(All, Session, testing::ValuesIn(vn_test::session_names()),
                         [](const auto &test) { return test.param; });

} // namespace
