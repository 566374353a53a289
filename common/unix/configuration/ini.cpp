// Reading configuration, see ini.h. A read goes once through its file and stops at the value;
// only a reference starts another.
#include "common/unix/configuration/ini.h"

#include "common/common/LL.h"
#include "common/common/cm_message.h"
#include "common/common/text.h"
#include "common/unix/configuration/ini_file.h"
#include "common/unix/files/line_reader.h"
#include "common/unix/trace/screen.h"

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

s_INI_PLACES gIniPlaces = {{"/etc/opt/vorna/vorna.ini", "/etc/vorna2000.ini"}};

namespace {

constexpr std::size_t kNameSize = 64; // a section or key name
constexpr char kVariable[] = "VORNA_INI";
constexpr std::size_t kPlaceLength = 127; // the path of a central file
constexpr int kListReferenceSize = 512;   // a referenced value in a list
constexpr int kReferenceDepth = 16;       // references within references, against cycles
constexpr std::string_view kDefaultSection = "[DEFAULT]";

enum e_RESULT { MISSING, FOUND, TOO_DEEP };

// What is looked for, in the form in which it is compared and reported.
struct s_WANTED {
    const char *cpReader; // the procedure that messages name
    std::string section;  // lower case, empty: anywhere in the file
    std::string key;      // as asked for
};

constexpr char kString[] = "i_GetPrivateProfileString";
constexpr char kList[] = "i_GetPrivateProfileList";

struct s_MESSAGE {
    char *cpText;
    int iLength;
};

std::string_view view_of(const char *cpText) {
    return cpText == nullptr ? "" : cpText;
}

const char *default_identifier(const char *cpIdentifier) {
    return view_of(cpIdentifier).empty() ? "VN_INI" : cpIdentifier;
}

// A longer name is not found: cut, it would be another's.
bool is_name(std::string_view name) {
    return name.size() < kNameSize;
}

s_WANTED wanted_of(const char *cpReader, std::string_view section, std::string_view key) {
    s_WANTED wanted = {cpReader, std::string(section), std::string(key)};
    for (char &letter : wanted.section) {
        letter = text_lower(letter);
    }
    return wanted;
}

// Steps through the lines that may hold the wanted key: those of its section, or all.
class section_lines {
public:
    section_lines(line_reader *reader, const s_WANTED &wanted)
        : reader_(reader), wanted_(wanted), inside_(wanted.section.empty()) {}

    bool next(std::string_view *line) {
        while (reader_->next(line)) {
            if (line->empty() || line->front() == '#') {
                continue;
            }
            if (!inside_) {
                inside_ =
                    is_name(wanted_.section) && text_begins_with_nocase(*line, wanted_.section);
            } else if (line->front() == '[' && !wanted_.section.empty()) {
                ended_ = true;
                return false;
            } else {
                return true;
            }
        }
        return false;
    }

    // The message for a key that none of the lines held.
    void report_missing(const s_MESSAGE &msg) const {
        if (!inside_) {
            text_print(msg.cpText, msg.iLength, "%s: SECTION NOT FOUND: %s.", wanted_.cpReader,
                       wanted_.section.c_str());
        } else if (ended_) {
            text_print(msg.cpText, msg.iLength, "%s: KEY NOT FOUND %s%s", wanted_.cpReader,
                       wanted_.section.c_str(), wanted_.key.c_str());
        } else {
            text_print(msg.cpText, msg.iLength, "%s: KEY NOT FOUND: %s", wanted_.cpReader,
                       wanted_.key.c_str());
        }
    }

private:
    line_reader *reader_;
    const s_WANTED &wanted_;
    bool inside_;
    bool ended_ = false; // by the next section's line
};

// The text of a line behind its first "=", without trailing blanks.
std::string_view value_of(std::string_view line) {
    std::string_view value = line.substr(line.find('=') + 1);
    return value.substr(0, value.find_last_not_of(' ') + 1);
}

// False, with the message, when the file cannot be read.
bool can_be_read(const line_reader &reader, const char *cpFilename, const s_MESSAGE &msg) {
    constexpr char kText[] = "FILE NOT FOUND OR ACCESS PROBLEM";
    if (view_of(cpFilename).empty()) {
        text_print(msg.cpText, msg.iLength, "%s: %s.", kString, kText);
        return false;
    }
    if (!reader.is_open()) {
        text_print(msg.cpText, msg.iLength, "%s: %s: %s.", kString, kText, cpFilename);
        return false;
    }
    return true;
}

e_RESULT read_value(const char *cpFilename, const s_WANTED &wanted, std::size_t iLimit, int iDepth,
                    std::string *value, const s_MESSAGE &msg);

// Looks a referenced key up in the section of the reference, else in the default section. A chain
// that is too deep is a circle: its last key counts as missing, and no other section is asked.
e_RESULT read_reference(const char *cpFilename, const std::string &section, std::string_view key,
                        std::size_t iLimit, int iDepth, std::string *value, const s_MESSAGE &msg) {
    const s_WANTED wanted = wanted_of(kString, section, key);
    if (iDepth >= kReferenceDepth) {
        text_print(msg.cpText, msg.iLength, "%s: KEY NOT FOUND: %s", kString, wanted.key.c_str());
        return TOO_DEEP;
    }
    e_RESULT result = read_value(cpFilename, wanted, iLimit, iDepth + 1, value, msg);
    const s_WANTED fallback = wanted_of(kString, kDefaultSection, key);
    if (result == MISSING && fallback.section != wanted.section) {
        result = read_value(cpFilename, fallback, iLimit, iDepth + 1, value, msg);
    }
    return result;
}

// Replaces the first "%(key)" of a value, whose referenced text keeps at most iLimit characters.
e_RESULT substitute(const char *cpFilename, const std::string &section, std::size_t iLimit,
                    int iDepth, std::string *value, const s_MESSAGE &msg) {
    const std::size_t begin = value->find("%(");
    const std::size_t end = begin == std::string::npos ? begin : value->find(')', begin);
    if (end == std::string::npos) {
        return FOUND;
    }
    const std::string key = value->substr(begin + 2, end - begin - 2);
    std::string referenced;
    const e_RESULT result =
        read_reference(cpFilename, section, key, iLimit, iDepth, &referenced, msg);
    if (result == FOUND) {
        value->replace(begin, end - begin + 1, referenced);
    }
    return result;
}

// The first line of the key decides; its value keeps at most iLimit characters.
e_RESULT read_value(const char *cpFilename, const s_WANTED &wanted, std::size_t iLimit, int iDepth,
                    std::string *value, const s_MESSAGE &msg) {
    {
        t_INI_TEXT text;
        line_reader reader = ini_lines(cpFilename, &text);
        if (!can_be_read(reader, cpFilename, msg)) {
            return MISSING;
        }
        section_lines lines(&reader, wanted);
        const std::string start = wanted.key + '=';
        std::string_view line;
        do {
            if (!lines.next(&line)) {
                lines.report_missing(msg);
                return MISSING;
            }
        } while (!is_name(wanted.key) || !text_begins_with_nocase(line, start));
        value->assign(value_of(line));
    }
    const e_RESULT result = substitute(cpFilename, wanted.section, iLimit, iDepth, value, msg);
    if (result != FOUND) {
        return result;
    }
    if (value->empty()) {
        text_print(msg.cpText, msg.iLength, "%s: KEY VALUE NOT FOUND.", kString);
        return MISSING;
    }
    if (value->size() > iLimit) {
        value->resize(iLimit);
    }
    text_copy(msg.cpText, msg.iLength, "");
    return FOUND;
}

// How the keys of a list are recognised.
struct s_LIST_KEY {
    s_WANTED wanted;
    std::string start; // what the key in the file begins with: the wanted one without its signs
    bool bNumbered;
    bool bWithSuffix;
};

s_LIST_KEY list_key_of(std::string_view section, std::string_view key) {
    const s_WANTED wanted = wanted_of(kList, section, key);
    int iSigns = 0;
    while (iSigns < 2 && !key.empty() && key.back() == '#') {
        key.remove_suffix(1);
        ++iSigns;
    }
    return {wanted, std::string(key), iSigns > 0, iSigns > 1};
}

bool is_plain_number(std::string_view text) {
    int iNumber = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), iNumber);
    return error == std::errc() && end == text.data() + text.size() &&
           std::to_string(iNumber) == text;
}

bool matches(const s_LIST_KEY &key, std::string_view line) {
    if (!key.bNumbered) {
        return is_name(key.start) && text_begins_with_nocase(line, key.start + '=');
    }
    const std::size_t equal = line.find('=');
    if (equal == std::string_view::npos || equal < key.start.size() || !is_name(key.start) ||
        !text_begins_with_nocase(line, key.start)) {
        return false;
    }
    const std::string number(line.substr(key.start.size(), equal - key.start.size()));
    if (!is_plain_number(number)) {
        trace_at(TRACE_NOISE,
                 "i_GetPrivateProfileList: key matched but not with a valid number [%s]",
                 number.c_str());
        return false;
    }
    return true;
}

std::string suffix_of(std::string_view line) {
    const std::string_view key = line.substr(0, line.find('='));
    const std::size_t mark = key.rfind('_');
    return mark == std::string_view::npos ? "" : std::string(key.substr(mark + 1)) + ':';
}

// Collects the values of the key; one whose reference fails is left out, with a trace line.
bool collect(const char *cpFilename, const s_LIST_KEY &key, std::vector<std::string> *values,
             const s_MESSAGE &msg) {
    t_INI_TEXT text;
    line_reader reader = ini_lines(cpFilename, &text);
    if (!can_be_read(reader, cpFilename, msg)) {
        return false;
    }
    section_lines lines(&reader, key.wanted);
    bool bFailed = false;
    std::string_view line;
    while (lines.next(&line)) {
        if (!matches(key, line)) {
            continue;
        }
        const std::string suffix = key.bWithSuffix ? suffix_of(line) : "";
        std::string value(value_of(line));
        if (substitute(cpFilename, key.wanted.section, kListReferenceSize - 1, 0, &value, msg) ==
            FOUND) {
            values->push_back(suffix + value);
        } else {
            bFailed = true;
            trace_at(TRACE_DETAILS, "i_GetPrivateProfileList: %.*s is left out: %s",
                     static_cast<int>(line.find('=')), line.data(), msg.cpText);
        }
    }
    if (values->empty() && !bFailed) { // a failed reference has its message already
        lines.report_missing(msg);
    }
    return !values->empty();
}

// The central file that VORNA_INI names; none when the name is too long. That is said once per
// name: a call reads dozens of values.
std::string named_central_file(const std::string &name) {
    static std::string reported;
    if (name.size() <= kPlaceLength) {
        return name;
    }
    if (reported != name) {
        reported = name;
        write_screen("VORNA_INI is longer than " + std::to_string(kPlaceLength) +
                     " characters and not used: " + name + '\n');
    }
    return "";
}

int count(t_LL list) {
    int iCount = 0;
    for (const void *element = FirstElmLL(list); IsElmLL(element) != 0;
         element = NextElmLL(element)) {
        ++iCount;
    }
    return iCount;
}

} // namespace

std::vector<std::string> ini_central_files() {
    std::vector<std::string> places;
    if (const char *cpVariable = std::getenv(kVariable)) {
        places.push_back(named_central_file(cpVariable));
    }
    places.insert(places.end(), {gIniPlaces.cpCentral[0], gIniPlaces.cpCentral[1]});
    return places;
}

int i_GetPrivateProfileString(const char *cpFilename, const char *cpSection, const char *cpKey,
                              char *cpValue, int iLengthValue, char *cpMsg, int iLengthMsg) {
    const std::size_t iLimit = iLengthValue > 0 ? static_cast<std::size_t>(iLengthValue) - 1 : 0;
    const s_WANTED wanted = wanted_of(kString, view_of(cpSection), view_of(cpKey));
    const std::string filename(view_of(cpFilename));
    text_copy(cpValue, iLengthValue, "");
    text_copy(cpMsg, iLengthMsg, "");
    std::string value;
    if (read_value(filename.c_str(), wanted, iLimit, 0, &value, {cpMsg, iLengthMsg}) != FOUND) {
        return 0;
    }
    text_copy(cpValue, iLengthValue, value);
    return 1;
}

int i_GetPrivateProfileList(const char *cpFilename, const char *cpSection, const char *cpKey,
                            t_LL tllListOfValues, char *cpMsg, int iLengthMsg) {
    const s_LIST_KEY key = list_key_of(view_of(cpSection), view_of(cpKey));
    const std::string filename(view_of(cpFilename));
    text_copy(cpMsg, iLengthMsg, "");
    std::vector<std::string> values;
    if (!collect(filename.c_str(), key, &values, {cpMsg, iLengthMsg})) {
        return 0;
    }
    text_copy(cpMsg, iLengthMsg, "");
    for (const std::string &value : values) {
        InsLastLLf(tllListOfValues, value.size() + 1, value.c_str());
    }
    return 1;
}

int i_GET_ROOT_FOR_INI(const char *cpIdentifier, char *cpValue, int iLengthValue, char *cpMsg,
                       int iLengthMsg) {
    const std::string identifier(default_identifier(cpIdentifier));
    if (identifier.front() == '/') {
        text_copy(cpMsg, iLengthMsg, "");
        text_copy(cpValue, iLengthValue, identifier);
        return 1;
    }
    const auto finds = [&](const char *cpPlace) {
        return i_GetPrivateProfileString(cpPlace, nullptr, identifier.c_str(), cpValue,
                                         iLengthValue, cpMsg, iLengthMsg) == 1;
    };
    const char *cpVariable = std::getenv(kVariable);
    const auto &central = gIniPlaces.cpCentral;
    if ((cpVariable != nullptr && finds(named_central_file(cpVariable).c_str())) ||
        finds(central[0]) || finds(central[1])) {
        return 1;
    }
    text_print(cpMsg, iLengthMsg, "i_GET_ROOT_FOR_INI: NO VORNA CONFIGURATION FILE FOUND: %s",
               central[cpVariable != nullptr ? 0 : 1]);
    return 0;
}

int i_READ_INI(const char *cpIdentifier, const char *cpSection, const char *cpKey, char *cpValue,
               int iLengthValue, char *cpMsg, int iLengthMsg) {
    cpIdentifier = default_identifier(cpIdentifier);
    text_copy(cpValue, iLengthValue, "");
    char szFile[1024];
    if (i_GET_ROOT_FOR_INI(cpIdentifier, szFile, sizeof szFile, cpMsg, iLengthMsg) == 1 &&
        i_GetPrivateProfileString(szFile, cpSection, cpKey, cpValue, iLengthValue, cpMsg,
                                  iLengthMsg) == 1) {
        return 1;
    }
    trace_at(TRACE_DETAILS, "READ_INI: %s %s %s not found", cpIdentifier,
             std::string(view_of(cpSection)).c_str(), std::string(view_of(cpKey)).c_str());
    return 0;
}

int i_READ_INI_LIST(const char *cpIdentifier, const char *cpSection, const char *cpKey,
                    t_LL tllListOfValues, char *cpMsg, int iLengthMsg) {
    char szFile[1024];
    if (i_GET_ROOT_FOR_INI(cpIdentifier, szFile, sizeof szFile, cpMsg, iLengthMsg) != 1) {
        trace_at(TRACE_DETAILS, "i_READ_INI_LIST: i_GET_ROOT_FOR_INI() failed");
        text_copy(cpMsg, iLengthMsg, "i_READ_INI_LIST: i_GET_ROOT_FOR_INI() failed");
        return 0;
    }
    const std::string key(view_of(cpKey));
    i_GetPrivateProfileList(szFile, cpSection, (key + '#').c_str(), tllListOfValues, cpMsg,
                            iLengthMsg);
    const int iCount = count(tllListOfValues);
    trace_at(TRACE_DETAILS, "i_READ_INI_LIST: got %d values", iCount);
    if (iCount == 0) {
        trace_at(TRACE_NOISE, "i_READ_INI_LIST: No values for [%s#] found in [%s]", key.c_str(),
                 szFile);
        text_print(cpMsg, iLengthMsg, "i_READ_INI_LIST: No values for [%s#] found in VN_INI",
                   key.c_str());
    }
    return iCount;
}
