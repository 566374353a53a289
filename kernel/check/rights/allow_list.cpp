// The allow list of function x, see allow_list.h. A line permits a program when it contains it
// behind the user: what else that lets through is what is sought here.
#include "kernel/check/rights/allow_list.h"

#include "common/common/text.h"
#include "common/unix/files/line_reader.h"
#include "common/unix/files/regular_file.h"
#include "kernel/check/programs.h"
#include "kernel/check/rights/owner.h"
#include "kernel/unix_hal/user_command.h"

#include <algorithm>
#include <cerrno>
#include <pwd.h>
#include <string>
#include <string_view>

namespace {

constexpr char kWholePath[] = "write a line of the user, one blank and the program's whole path";

// What a line is meant to say.
struct s_ENTRY {
    std::string line; // as far as it counts
    std::string user;
    std::string rest; // all behind the user and one blank
    std::string program;
};

s_ENTRY entry_of(std::string_view line) {
    s_ENTRY entry;
    entry.line = text_stripped(line.substr(0, ALLOW_LINE_LENGTH));
    const std::size_t blank = std::min(entry.line.find(' '), entry.line.size());
    entry.user = entry.line.substr(0, blank);
    entry.rest = entry.line.substr(std::min(blank + 1, entry.line.size()));
    entry.program = entry.rest.substr(0, entry.rest.find_first_of(" \t"));
    return entry;
}

// Why no program is permitted.
std::string idle_reason(std::string_view line, const s_ENTRY &entry) {
    if (line.find_first_of(" \t") == 0) {
        return "it begins with a blank";
    }
    if (entry.user.find('\t') != std::string::npos) {
        return "a tab stands where a blank has to";
    }
    if (entry.rest.empty()) {
        return "it names no program";
    }
    if (entry.user.front() == '-') {
        return "no user may begin with \"-\"";
    }
    if (entry.rest.front() == ' ' || entry.rest.front() == '\t') {
        return "more than one blank stands before the program";
    }
    return entry.rest.front() == '/' || entry.rest.front() == '*'
               ? ""
               : "it names the program without its path";
}

// The programs of this machine that the line permits beside the one that it names.
std::string others_of(const s_CHECK &check, const s_ENTRY &entry) {
    std::string others;
    const std::string start = entry.user + " /";
    for (std::size_t at = entry.line.find(start); at != std::string::npos;
         at = entry.line.find(start, at + 1)) {
        const std::string rest = entry.line.substr(at + entry.user.size() + 1);
        for (std::size_t length = 1; length <= rest.size(); ++length) {
            const std::string program = rest.substr(0, length);
            if (program != entry.program && program_fault(check, program).what.empty() &&
                allow_line_rule(entry.line, entry.user, program) == COMMAND_BY_LINE) {
                others = joined(others, program);
            }
        }
    }
    return others;
}

// What the line lets through that nobody would think.
s_FAULT wide_fault(const s_CHECK &check, const s_ENTRY &entry) {
    const e_COMMAND_RULE eRule = allow_line_rule(entry.line, entry.user, entry.program);
    if (eRule == COMMAND_BY_JOKER) {
        return {"permits every program to the user " + entry.user +
                    (entry.rest == "*" ? "" : ", though it says " + entry.rest),
                "name the programs, a line for each", DOUBTFUL};
    }
    const std::string others = others_of(check, entry);
    if (!others.empty()) {
        return {"also permits " + others + ", because it contains it",
                "use a program whose path does not begin with another's", DOUBTFUL};
    }
    if (entry.program != entry.rest) {
        return {"permits " + entry.program + " with any arguments, not only with" +
                    entry.rest.substr(entry.program.size()),
                "end the line behind the program", DOUBTFUL};
    }
    return {};
}

// What makes it a line that does not do what it says.
s_FAULT useless_fault(const s_CHECK &check, const s_ENTRY &entry) {
    if (entry.user == "vbccopy") {
        return {"is not asked: vbccopy may run everything", "remove the line", DOUBTFUL};
    }
    if (::getpwnam(entry.user.c_str()) == nullptr) {
        return {"permits something to the user " + entry.user + ", whom this machine does not know",
                "correct the user, or remove the line", DOUBTFUL};
    }
    s_FAULT fault = program_fault(check, entry.program);
    fault.eVerdict = DOUBTFUL;
    return fault;
}

s_FAULT fault_of(const s_CHECK &check, std::string_view line, const s_ENTRY &entry) {
    if (line.size() > ALLOW_LINE_LENGTH) {
        return {"is cut behind " + std::to_string(ALLOW_LINE_LENGTH) + " bytes", "shorten it"};
    }
    const std::string idle = idle_reason(line, entry);
    if (!idle.empty()) {
        return {"permits nothing: " + idle, kWholePath};
    }
    const s_FAULT fault = wide_fault(check, entry);
    return fault.what.empty() ? useless_fault(check, entry) : fault;
}

} // namespace

void CHECK_ALLOW_LIST(s_CHECK *check) {
    const std::string file = gcpAllowList;
    line_reader reader(gcpAllowList);
    if (!reader.is_open()) {
        const int iErrno = errno;
        if (iErrno == ENOENT) {
            say_right(check, "allow list " + file +
                                 " is not there: x runs programs of the program "
                                 "directory only");
        } else {
            say_fault(check, "allow list", reading_fault(*check, file, iErrno));
        }
        return;
    }
    std::string_view line;
    for (int iNumber = 1; reader.next(&line); ++iNumber) {
        const std::string place = "line " + std::to_string(iNumber) + " of " + file;
        const s_ENTRY entry = entry_of(line);
        if (!entry.line.empty() && entry.line.front() != '#' &&
            !say_fault(check, place, fault_of(*check, line, entry))) {
            say_right(check, place + " permits " + entry.user + " to run " + entry.program);
        }
    }
}
