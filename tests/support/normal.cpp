// What a test masks in the texts that it compares: all that differs from run to run or from machine
// to machine, and nothing else.
#include "tests/support/installation.h"

#include <span>

#include <pwd.h>
#include <regex.h>
#include <unistd.h>

namespace vn_test {
namespace {

void replace_all(std::string &text, std::string_view from, std::string_view to) {
    for (size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

// What stands between the two groups of a pattern is replaced in every line.
struct Mask {
    Mask(const char *pattern, const char *text) : by(text) {
        regcomp(&compiled, pattern, REG_EXTENDED);
    }
    ~Mask() { regfree(&compiled); }
    Mask(const Mask &) = delete;
    Mask &operator=(const Mask &) = delete;
    void apply(std::string &line) const;

    regex_t compiled;
    std::string by;
};

void Mask::apply(std::string &line) const {
    regmatch_t found[3];
    for (size_t at = 0;
         regexec(&compiled, line.c_str() + at, 3, found, at > 0 ? REG_NOTBOL : 0) == 0;) {
        const auto begin = at + (size_t)found[1].rm_eo, end = at + (size_t)found[2].rm_so;
        line.replace(begin, end - begin, by);
        at = begin + by.size();
    }
}

#define CLOCK "[0-9]{2}:[0-9]{2}"
const Mask kMasks[] = {{"(^)[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:" CLOCK "([# ])", "<time>"},
                       {"(^) ?[ 0-9][0-9]:" CLOCK "([# ])", "<time>"},
                       {"(PID=) *[0-9]+($|[^0-9])", "<pid>"},
                       {"(\\[) *[0-9]+(\\])", "<pid>"}};
const Mask kMoreMasks[] = {
    {"(kill -[29] ) *[0-9]+(;)", "<pid>"},
    {"(^|[^0-9])[0-9]{14}($|[^0-9])", "<id>"},
    {"(^|[^0-9])[0-9]{4}\\.[0-9]{2}\\.[0-9]{2} [0-9]{2}:" CLOCK "($|[^0-9])", "<date>"}};
#undef CLOCK

std::string masked(std::string_view text, std::span<const Mask> masks) {
    std::string result;
    for (std::string line : lines_of(text)) {
        for (const Mask &mask : masks) {
            mask.apply(line);
        }
        result += line + "\n";
    }
    result.resize(result.size() - (text.ends_with('\n') || text.empty() ? 0 : 1));
    return result;
}

} // namespace

std::string Installation::normalised(std::string_view text) const {
    std::string result = masked(text, kMasks);
    replace_all(result, dir, "<dir>");
    return result;
}

std::string Installation::comparable(std::string_view text) const {
    std::string result = masked(normalised(text), kMoreMasks);
    replace_all(result, VN_CLIENT_PROGRAM, "<agent>");
    replace_all(result, "vn_client " VN_VERSION, "vn_client 1.0.0"); // as the texts have it
    replace_all(result, "cm_semaphore " VN_VERSION, "cm_semaphore 1.0.0");
    replace_all(result, "<dir>/rw/work/", "<work>/");
    if (const passwd *user = getpwuid(geteuid())) {
        replace_all(result, std::string("User= ") + user->pw_name + " ", "User= <user> ");
    }
    return result;
}

} // namespace vn_test
