// Searching output lines with a regular expression (i_LL_search of search.h).
#include "kernel/remote/search.h"

#include "common/common/LL.h"
#include "common/common/text.h"
#include "common/unix/trace/trace.h"

#include <memory>
#include <pcre2.h>
#include <string>

namespace {

constexpr int kSearchSize = 512;

struct pattern_freer {
    void operator()(pcre2_code *code) const { pcre2_code_free(code); }
};
struct match_freer {
    void operator()(pcre2_match_data *data) const { pcre2_match_data_free(data); }
};
using unique_pattern = std::unique_ptr<pcre2_code, pattern_freer>;
using unique_match = std::unique_ptr<pcre2_match_data, match_freer>;

PCRE2_SPTR bytes_of(const char *cpText) {
    return reinterpret_cast<PCRE2_SPTR>(cpText);
}

unique_pattern compile(const std::string &pattern) {
    int iError = 0;
    PCRE2_SIZE iPlace = 0;
    return unique_pattern(
        pcre2_compile(bytes_of(pattern.c_str()), pattern.size(), 0, &iError, &iPlace, nullptr));
}

} // namespace

int i_LL_search(t_LL LL_Lines, char *cpSearch, str_log strLog) {
    std::string search = cpSearch;
    const bool bReturnLine = !search.empty() && search.back() == '^';
    if (bReturnLine) {
        search.pop_back();
    }
    const unique_pattern pattern = compile(search);
    if (!pattern) {
        return 0;
    }
    const unique_match match(pcre2_match_data_create_from_pattern(pattern.get(), nullptr));
    int iResult = 0;
    for (void *line = FirstElmLL(LL_Lines); IsElmLL(line) != 0; line = NextElmLL(line)) {
        const char *cpLine = static_cast<const char *>(line);
        const int iMatch = pcre2_match(pattern.get(), bytes_of(cpLine), PCRE2_ZERO_TERMINATED, 0, 0,
                                       match.get(), nullptr);
        trace_log(&strLog, TRACE_DETAILS, "Return from regex: %d: [%s]", iMatch, cpLine);
        if (iMatch >= 0) {
            if (bReturnLine) {
                text_copy(cpSearch, kSearchSize, cpLine);
            }
            return 1;
        }
        iResult = iMatch;
    }
    return iResult;
}
