// Changing one value of an INI file, see ini_change.h. The file is taken in whole before it is
// touched: a file with a line that the loader does not understand must stay as it is.
#include "common/unix/configuration/ini_change.h"

#include "common/common/cm_message.h"
#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/configuration/ini.h"
#include "common/unix/configuration/ini_file.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/files/regular_file.h"

#include <cerrno>
#include <dictionary.h>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

struct dictionary_freer {
    void operator()(dictionary *entries) const { dictionary_del(entries); }
};
using unique_dictionary = std::unique_ptr<dictionary, dictionary_freer>;

struct s_SECTION {
    std::string name; // empty: the entries before the first section
    unique_dictionary entries;
};

struct s_INI {
    std::vector<s_SECTION> sections; // in the order of the file
    std::unordered_map<std::string, std::size_t> places;
};

// The section of that name, null if the file has none.
s_SECTION *find_section(s_INI *ini, const std::string &name) {
    const auto found = ini->places.find(name);
    return found == ini->places.end() ? nullptr : &ini->sections[found->second];
}

s_SECTION *add_section(s_INI *ini, const std::string &name) {
    if (s_SECTION *known = find_section(ini, name)) {
        return known;
    }
    ini->places.emplace(name, ini->sections.size());
    ini->sections.push_back({name, unique_dictionary(dictionary_new(0))});
    return &ini->sections.back();
}

// The text behind "=": a quoted value up to its closing quote, another up to a trailing comment.
std::string_view loaded_value(std::string_view text) {
    text = text_stripped(text);
    if (!text.empty() && (text.front() == '"' || text.front() == '\'')) {
        const char quote = text.front();
        text.remove_prefix(1);
        return text.substr(0, text.find(quote));
    }
    return text_stripped(text.substr(0, text.find_first_of(";#")));
}

// Loads one line. False when it is neither section, entry, comment nor blank.
bool load_line(std::string_view line, s_INI *ini, s_SECTION **current) {
    line = text_stripped(line);
    if (line.empty() || line.front() == '#' || line.front() == ';') {
        return true;
    }
    if (line.front() == '[') {
        const std::size_t end = line.find(']');
        const std::string name(text_stripped(line.substr(1, end - 1)));
        *current = end == std::string_view::npos || name.empty() ? nullptr : add_section(ini, name);
        return *current != nullptr;
    }
    const std::size_t equal = line.find('=');
    const std::string key(text_stripped(line.substr(0, equal)));
    if (equal == std::string_view::npos || key.empty()) {
        return false;
    }
    const std::string value(loaded_value(line.substr(equal + 1)));
    return dictionary_set((*current)->entries.get(), key.c_str(), value.c_str()) == 0;
}

bool load(std::string_view text, s_INI *ini) {
    s_SECTION *current = add_section(ini, "");
    // No value of the dictionary could carry a NUL byte.
    bool bLoaded = text.find('\0') == std::string_view::npos;
    while (bLoaded && !text.empty()) {
        bLoaded = load_line(text_take_line(&text), ini, &current);
    }
    return bLoaded;
}

void dump_entries(const dictionary *entries, const char *cpEqual, std::string *text) {
    // The library's releases differ in the sign of the number.
    for (std::size_t i = 0; i < static_cast<std::size_t>(entries->n); ++i) {
        *text += std::string(entries->key[i]) + cpEqual + entries->val[i] + '\n';
    }
}

std::string dump(const s_INI &ini) {
    std::string text;
    if (ini.sections.size() == 1) { // only entries without a section: a layout of its own
        dump_entries(ini.sections[0].entries.get(), " = ", &text);
        return text;
    }
    for (const s_SECTION &section : ini.sections) {
        if (!section.name.empty()) {
            text += "\n[" + section.name + "]\n";
        }
        dump_entries(section.entries.get(), "=", &text);
    }
    return text + '\n';
}

// "<section>:<key>" is stored in a buffer of this size.
constexpr std::size_t kEntrySize = 256;

// True when the entry would be read back as what it is meant to be: a value with a line end, a key
// that looks like a comment, a section or the value's beginning would not.
bool can_be_stored(std::string_view section, std::string_view key, std::string_view value) {
    constexpr std::string_view kLineEnds = "\r\n";
    for (const std::string_view text : {section, key, value}) {
        if (text.find_first_of(kLineEnds) != std::string_view::npos) {
            return false;
        }
    }
    const std::string_view name = text_stripped(key);
    return !name.empty() && std::string_view("#;[").find(name.front()) == std::string_view::npos &&
           name.find('=') == std::string_view::npos && section.size() + 1 + key.size() < kEntrySize;
}

// An entry without its section is not part of the file.
bool set_entry(s_INI *ini, const char *cpSection, const char *cpKey, const char *cpValue) {
    s_SECTION *section = *cpSection == '\0' ? nullptr : find_section(ini, cpSection);
    return section == nullptr || dictionary_set(section->entries.get(), cpKey, cpValue) == 0;
}

// Loads, changes and rewrites the file. False, with a message when only the writing failed.
bool change_file(const char *cpFile, const char *cpSection, const char *cpKey, const char *cpValue,
                 char *cpMsg, int iLengthMsg) {
    const unique_fd file = open_ini_for_change(cpFile);
    if (!file && errno == EWOULDBLOCK) {
        text_copy(cpMsg, iLengthMsg, "locked by another process");
    }
    s_INI ini;
    std::string before;
    if (!file || !read_to_end(file.get(), &before) || !load(before, &ini) ||
        !set_entry(&ini, cpSection, cpKey, cpValue)) {
        return false;
    }
    const int iErrno = rewrite_text(file.get(), before, dump(ini));
    if (iErrno != 0) {
        text_copy(cpMsg, iLengthMsg, error_text(iErrno));
    }
    return iErrno == 0;
}

} // namespace

int i_CHANGE_INI_VALUE(const char *cpIni, const char *cpSection, const char *cpKey,
                       const char *cpValue, char *cpMsg, int iLengthMsg) {
    text_copy(cpMsg, iLengthMsg, "");
    if (cpIni == nullptr || cpIni[0] == '\0') {
        cpIni = "VN_INI";
    }
    trace_at(TRACE_DETAILS, "Change INI file: %s %s %s %s", cpIni, cpSection, cpKey, cpValue);
    char szFile[1024];
    char szMsg[kMessageSize];
    if (!can_be_stored(cpSection, cpKey, cpValue) ||
        i_GET_ROOT_FOR_INI(cpIni, szFile, sizeof szFile, szMsg, sizeof szMsg) != 1) {
        return 0;
    }
    return change_file(szFile, cpSection, cpKey, cpValue, cpMsg, iLengthMsg) ? 1 : 0;
}

int i_change_ini(const char *cpIni, const char *cpSection, const char *cpKey, const char *cpValue) {
    char szMsg[kMessageSize];
    return i_CHANGE_INI_VALUE(cpIni, cpSection, cpKey, cpValue, szMsg, sizeof szMsg);
}
