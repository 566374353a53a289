// The lines of a check, see report.h.
#include "kernel/check/report.h"

#include "common/common/text.h"

#include <algorithm>
#include <cstdio>

namespace {

// A line stays a line, and a terminal is told nothing else, whatever a name holds.
std::string printable(std::string_view text) {
    std::string shown;
    for (const char letter : text) {
        const auto byte = static_cast<unsigned char>(letter);
        char szCode[8];
        text_print(szCode, "\\x%02x", byte);
        shown += byte < ' ' || byte == 0x7f ? std::string(szCode) : std::string(1, letter);
    }
    return shown;
}

void say(s_CHECK *check, e_VERDICT eVerdict, const std::string &text) {
    constexpr const char *kVerdicts[] = {"right", "doubtful", "wrong"};
    check->eWorst = std::max(check->eWorst, eVerdict);
    if (eVerdict != RIGHT || !check->bQuiet) {
        std::printf("%s: %s\n", kVerdicts[eVerdict], printable(text).c_str());
    }
}

} // namespace

void say_right(s_CHECK *check, const std::string &what) {
    say(check, RIGHT, what);
}

void say_doubtful(s_CHECK *check, const std::string &what, const std::string &mend) {
    say(check, DOUBTFUL, what + "; mend: " + mend);
}

void say_wrong(s_CHECK *check, const std::string &what, const std::string &mend) {
    say(check, WRONG, what + "; mend: " + mend);
}

bool say_fault(s_CHECK *check, const std::string &subject, const s_FAULT &fault) {
    if (!fault.what.empty() && (!fault.bShared || tell_once(check, fault.what))) {
        say(check, fault.eVerdict, subject + ": " + fault.what + "; mend: " + fault.mend);
    }
    return !fault.what.empty();
}

bool tell_once(s_CHECK *check, const std::string &place) {
    return check->told.insert(place).second;
}

std::string joined(const std::string &list, const std::string &next) {
    return list.empty() || next.empty() ? list + next : list + ", " + next;
}
