// What a test masks in the texts that it compares: all that differs from run to run or from machine
// to machine, and nothing else.
#include "tests/support/installation.h"

#include <algorithm>
#include <cctype>

#include <pwd.h>
#include <unistd.h>

namespace vn_test {
namespace {

void replace_all(std::string &text, std::string_view from, std::string_view to) {
    for (size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

// The length of the text at "at" that has the form of the pattern: "0" stands for a digit, "_" for
// a digit or a blank, "#" for one digit or more, every other character for itself. 0: another form.
size_t matching(std::string_view text, size_t at, std::string_view pattern) {
    const size_t begin = at;
    auto is_digit = [&] { return at < text.size() && std::isdigit((unsigned char)text[at]) != 0; };
    for (char form : pattern) {
        if (at >= text.size()) {
            return 0;
        }
        if (form == '#') {
            if (!is_digit()) {
                return 0;
            }
            while (is_digit()) {
                at++;
            }
            continue;
        }
        bool fits = form == '0'   ? is_digit()
                    : form == '_' ? is_digit() || text[at] == ' '
                                  : text[at] == form;
        if (!fits) {
            return 0;
        }
        at++;
    }
    return at - begin;
}

// Replaces all that has the form and is not part of a longer number.
void replace_forms(std::string &text, std::string_view form, std::string_view by) {
    for (size_t at = 0; at < text.size(); at++) {
        const bool begins = at == 0 || std::isdigit((unsigned char)text[at - 1]) == 0;
        const size_t length = begins ? matching(text, at, form) : 0;
        if (length > 0 && matching(text, at + length, "0") == 0) {
            text.replace(at, length, by);
        }
    }
}

// Replaces every number between prefix and suffix, blanks before it included, by "<pid>".
void replace_pids(std::string &line, std::string_view prefix, std::string_view suffix) {
    for (size_t at = line.find(prefix); at != std::string::npos; at = line.find(prefix, at + 1)) {
        size_t begin = at + prefix.size();
        size_t blanks = std::min(line.find_first_not_of(' ', begin), line.size()) - begin;
        size_t digits = matching(line, begin + blanks, "#");
        if (digits > 0 && line.compare(begin + blanks + digits, suffix.size(), suffix) == 0) {
            line.replace(begin, blanks + digits, "<pid>");
        }
    }
}

// The command line of a process as ps shows it, blanks squeezed; "" when there is no such process.
std::string command_of(const std::string &pid) {
    std::string command;
    for (char letter : read_file("/proc/" + pid + "/cmdline").value_or("")) {
        const char shown = letter == '\0' ? ' ' : letter;
        command += shown != ' ' || !command.ends_with(' ') ? std::string(1, shown) : "";
    }
    command.resize(command.find_last_not_of(' ') + 1);
    return command;
}

// Replaces a parent that is shown as it has to be by "<parent>"; a wrong one stays to be seen.
void mask_parent(std::string &line) {
    constexpr std::string_view start = "parent process: ", number = " (PPID=";
    const size_t begin = line.find(start), end = line.rfind(number);
    if (begin == line.npos || end == line.npos || end < begin + start.size()) {
        return;
    }
    const size_t digits = matching(line, end + number.size(), "#");
    const std::string pid = line.substr(end + number.size(), digits);
    const std::string text = line.substr(begin + start.size(), end - begin - start.size());
    const std::string command = command_of(pid);
    const bool cut = text.size() > 490 && command.starts_with(text);
    if (!text.empty() && (text == command || cut)) {
        line.replace(begin + start.size(), line.npos, "<parent>");
    }
}

void normalise_line(std::string &line) {
    for (std::string_view form : {"0000-00-00 00:00:00", "_0:00:00", " _0:00:00"}) {
        if (size_t length = matching(line, 0, form); length > 0) {
            line.replace(0, length, "<time>");
            break;
        }
    }
    mask_parent(line);
    replace_pids(line, "PID=", "");
    replace_pids(line, "[", "]");
}

} // namespace

std::string Installation::normalised(std::string_view text) const {
    std::string result;
    for (size_t begin = 0; begin < text.size();) {
        size_t end = text.find('\n', begin);
        std::string line(text.substr(begin, end == text.npos ? text.npos : end - begin));
        normalise_line(line);
        replace_all(line, dir, "<dir>");
        result += line;
        if (end == text.npos) {
            break;
        }
        result += '\n';
        begin = end + 1;
    }
    return result;
}

std::string Installation::comparable(std::string_view text) const {
    std::string result = normalised(text);
    replace_pids(result, "kill -2 ", ";");
    replace_pids(result, "kill -9 ", ";");
    replace_all(result, VN_CLIENT_PROGRAM, "<agent>");
    const std::string work = "<dir>/rw/work";
    replace_all(result, work + "/", "<work>/");
    replace_forms(result, "00000000000000", "<id>");
    replace_forms(result, "0000.00.00 00:00:00", "<date>");
    if (const passwd *user = getpwuid(geteuid())) {
        replace_all(result, std::string("User= ") + user->pw_name + " ", "User= <user> ");
    }
    return result;
}

} // namespace vn_test
