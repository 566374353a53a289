// The lines of INI files, see ini_lines.h.
#include "kernel/check/configuration/ini_lines.h"

#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/configuration/ini.h"
#include "common/unix/files/line_reader.h"
#include "common/unix/files/regular_file.h"

#include <algorithm>

namespace {

constexpr char kBlanks[] = " \t";

std::string lower(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), text_lower);
    return result;
}

// Compares as the reader does, and without what keeps the reader from finding the name.
bool is_same(std::string_view left, std::string_view right) {
    return lower(text_stripped(left)) == lower(text_stripped(right));
}

std::string place_of(const std::string &file, int iLine) {
    return "line " + std::to_string(iLine) + " of " + file;
}

bool read_entry(const std::string &file, const std::string &section, const std::string &key,
                std::string *value, std::string *reason) {
    char szValue[4096];
    char szMsg[kMessageSize];
    const bool bFound =
        i_GetPrivateProfileString(file.c_str(), section.c_str(), key.c_str(), szValue,
                                  sizeof szValue, szMsg, sizeof szMsg) == 1;
    *value = szValue;
    *reason = szMsg;
    return bFound;
}

// The fault of the reference in a value, which the reader resolves in the value's section.
s_FAULT reference_fault(const std::string &file, const s_INI_LINE &line, std::string_view key) {
    const std::size_t begin = line.text.find("%(");
    const std::size_t end = line.text.find(')', std::min(begin, line.text.size()));
    if (begin == std::string::npos) {
        return {};
    }
    if (end == std::string::npos) {
        return {"its reference %( has no ) behind it and stays as it is", "close the reference"};
    }
    std::string value;
    std::string reason;
    const std::string name = line.text.substr(begin, end - begin + 1);
    if (!read_entry(file, line.section, std::string(key), &value, &reason)) {
        return {"its reference " + name + " does not resolve (" + reason + ")",
                "set " + name.substr(2, name.size() - 3) + " in " +
                    (line.section.empty() ? "the file" : line.section) + " or in [DEFAULT]"};
    }
    if (line.text.find("%(", end) != std::string::npos) {
        return {"only its first reference is resolved, the others stay as they are",
                "write the second in full"};
    }
    return {};
}

// What keeps the reader from taking a line as it is meant.
s_FAULT line_fault(const std::string &file, const s_INI_LINE &line) {
    const std::string_view text = line.text;
    const std::string_view key = text.substr(0, text.find('='));
    const std::string_view value = text.substr(std::min(key.size() + 1, text.size()));
    if (text.find_first_of(kBlanks) == 0) {
        return {"begins with a blank, so it is not read", "remove the blank"};
    }
    if (!key.empty() && key.find_last_of(kBlanks) == key.size() - 1) {
        return {"has a blank before \"=\", so it is not read", "remove the blank"};
    }
    if (value.find_first_of(kBlanks) == 0) {
        return {"has a blank behind \"=\", which becomes part of the value", "remove the blank"};
    }
    if (!value.empty() && (value.back() == '\r' || value.back() == '\t')) {
        return {std::string("ends with a ") + (value.back() == '\t' ? "tab" : "carriage return") +
                    ", which becomes part of the value",
                "remove it"};
    }
    if (line.bCut) {
        return {"is cut behind " + std::to_string(line_reader::kLineLength) + " bytes",
                "shorten it"};
    }
    return reference_fault(file, line, key);
}

// The lines that are meant to set the key in the section.
std::vector<s_INI_LINE> lines_of(const std::vector<s_INI_LINE> &entries, const std::string &section,
                                 const std::string &key) {
    std::vector<s_INI_LINE> lines;
    for (const s_INI_LINE &line : entries) {
        const std::string_view opened = text_stripped(line.section);
        if (is_same(entry_key(line.text), key) &&
            (section.empty() || is_same(opened.substr(0, section.size()), section))) {
            lines.push_back(line);
        }
    }
    return lines;
}

// Why the reader finds nothing, though the section's lines have no fault.
s_FAULT missing_fault(const std::string &file, const std::string &section, const std::string &key,
                      const std::vector<s_INI_LINE> &entries) {
    if (!lines_of(entries, section, key).empty()) {
        return {"has no value in " + file, "give it one"};
    }
    const std::vector<s_INI_LINE> others = lines_of(entries, "", key);
    if (!others.empty()) {
        const std::string other = others[0].section.empty() ? "no section" : others[0].section;
        return {"stands in " + other + " (" + place_of(file, others[0].iNumber) + "), not in " +
                    section,
                "move the line to " + section};
    }
    return {"is missing in " + file,
            "add the line " + key + "=..." + (section.empty() ? "" : " to section " + section)};
}

// The fault that keeps the reader from a line as it is meant, with the place where it is: the line
// itself, or the one that opens its section.
s_FAULT fault_of(const std::string &file, const s_INI_LINE &line, std::string *place) {
    if (line.bReturns) {
        *place = file;
        return {"all lines end with carriage returns, which become part of the values",
                "remove them, for instance by sed 's/\\r$//'"};
    }
    *place = place_of(file, line.iNumber);
    const s_FAULT fault = line_fault(file, line);
    if (fault.what.empty() && !line.unreadable.empty()) {
        *place = place_of(file, line.iSectionLine);
        return {line.unreadable, "let the section begin once, at the beginning of a line"};
    }
    return fault;
}

// Says the fault of a line that sets the key, if nobody has. False when it has none.
bool say_line(s_CHECK *check, const std::string &file, const s_INI_LINE &line,
              const std::string &subject, const std::string &need) {
    std::string place;
    s_FAULT fault = fault_of(file, line, &place);
    if (fault.what.empty()) {
        return false;
    }
    if (tell_once(check, place)) {
        fault.what += need.empty() ? "" : ": " + need;
        const bool bOwn = place == place_of(file, line.iNumber);
        say_fault(check, bOwn ? subject + ": " + place : place, fault);
    }
    return true;
}

// A section that the whole file lacks is said once for all its keys.
bool say_section(s_CHECK *check, const std::string &file, const std::string &section,
                 const std::vector<s_INI_LINE> &lines, const std::string &reason) {
    if (!lines.empty() || reason.find("SECTION NOT FOUND") == std::string::npos) {
        return false;
    }
    if (tell_once(check, section + " of " + file)) {
        say_wrong(check, "section " + section + " is missing in " + file,
                  "add a line " + section + " with its keys below");
    }
    return true;
}

// True for the line from which the reader takes the key.
bool is_read(const s_INI_LINE &line, const std::string &key) {
    return line.unreadable.empty() && text_begins_with_nocase(line.text, key + '=');
}

// The first line of a key counts.
s_FAULT repeated_fault(const std::vector<s_INI_LINE> &entries, const s_INI_LINE &line) {
    const std::vector<s_INI_LINE> same =
        lines_of(entries, line.section, std::string(entry_key(line.text)));
    const bool bRepeated =
        !same.empty() && same[0].iNumber != line.iNumber && same[0].section == line.section;
    return bRepeated ? s_FAULT{"sets " + std::string(entry_key(line.text)) + " again, line " +
                                   std::to_string(same[0].iNumber) + " counts",
                               "remove one of them", DOUBTFUL}
                     : s_FAULT{};
}

} // namespace

std::string_view entry_key(std::string_view line) {
    const std::size_t equal = line.find('=');
    return equal == std::string_view::npos ? "" : text_stripped(line.substr(0, equal));
}

std::vector<s_INI_LINE> ini_entries(const std::string &file) {
    std::vector<s_INI_LINE> entries;
    std::set<std::string> sections;
    line_reader reader(file.c_str());
    std::string_view text;
    std::string whole;
    read_regular(file.c_str(), &whole);
    std::string_view rest = whole;
    s_INI_LINE line;
    while (reader.next(&text)) {
        ++line.iNumber;
        line.text = text;
        line.bCut = text_take_line(&rest).size() > line_reader::kLineLength;
        const std::string_view stripped = text_stripped(text);
        if (stripped.starts_with('[')) {
            line.section = stripped;
            line.iSectionLine = line.iNumber;
            line.unreadable =
                !text.starts_with('[') ? "begins with a blank, so it opens no section"
                : !sections.insert(lower(stripped)).second
                    ? "opens " + line.section + " again, so what stands below is not read"
                    : "";
        } else if (!text.starts_with('#') && !entry_key(text).empty()) {
            entries.push_back(line);
        }
    }
    const bool bReturns = std::all_of(entries.begin(), entries.end(), [](const s_INI_LINE &entry) {
        return entry.text.ends_with('\r');
    });
    for (s_INI_LINE &entry : entries) {
        entry.bReturns = bReturns && entries.size() > 1;
    }
    return entries;
}

s_VALUE_READ read_checked(s_CHECK *check, const std::string &file, const std::string &section,
                          const std::string &key, const std::string &need, e_VERDICT eMissing) {
    const std::vector<s_INI_LINE> entries = ini_entries(file);
    const std::vector<s_INI_LINE> lines = lines_of(entries, section, key);
    const std::string subject = section.empty() ? key : section + " " + key;
    s_VALUE_READ read;
    std::string reason;
    read.bFound = read_entry(file, section, key, &read.value, &reason);
    for (const s_INI_LINE &line : lines) {
        if (!read.bFound || is_read(line, key)) {
            read.bTold =
                say_line(check, file, line, subject, read.bFound ? "" : need) || read.bTold;
        }
        if (read.bFound && is_read(line, key)) {
            return read;
        }
    }
    if (!read.bFound && !read.bTold && eMissing != RIGHT) {
        s_FAULT fault = missing_fault(file, section, key, entries);
        fault.what += need.empty() ? "" : ": " + need;
        fault.eVerdict = eMissing;
        read.bTold =
            say_section(check, file, section, lines, reason) || say_fault(check, subject, fault);
    }
    return read;
}

void CHECK_INI_LINES(s_CHECK *check, const std::string &file) {
    const std::vector<s_INI_LINE> entries = ini_entries(file);
    std::size_t iWrong = 0;
    for (const s_INI_LINE &line : entries) {
        std::string place;
        s_FAULT fault = fault_of(file, line, &place);
        if (fault.what.empty()) {
            fault = repeated_fault(entries, line);
        }
        iWrong += fault.what.empty() ? 0 : 1;
        if (!fault.what.empty() && tell_once(check, place)) {
            say_fault(check, place, fault);
        }
    }
    say_right(check, file + ": entries as they are meant, without blanks around \"=\": " +
                         std::to_string(entries.size() - iWrong));
}
