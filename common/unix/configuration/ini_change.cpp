// Changing one value of an INI file, see ini_change.h. The file is taken in whole before it is
// touched: a file with a line that the loader does not understand must stay as it is.
#include "common/unix/configuration/ini_change.h"

#include "common/common/cm_message.h"
#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/configuration/ini.h"
#include "common/unix/files/append.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/files/regular_file.h"

#include <cstring>
#include <dictionary.h>
#include <fcntl.h>
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

bool load(const char *cpFile, s_INI *ini) {
    std::string text;
    // No value of the dictionary could carry a NUL byte.
    if (!read_regular(cpFile, &text) || text.find('\0') != std::string::npos) {
        return false;
    }
    s_SECTION *current = add_section(ini, "");
    std::string_view rest = text;
    while (!rest.empty()) {
        if (!load_line(text_take_line(&rest), ini, &current)) {
            return false;
        }
    }
    return ini->sections.size() > 1;
}

void dump_entries(const dictionary *entries, std::string *text) {
    for (int i = 0; i < entries->n; ++i) {
        *text += std::string(entries->key[i]) + '=' + entries->val[i] + '\n';
    }
}

std::string dump(const s_INI &ini) {
    std::string text;
    for (const s_SECTION &section : ini.sections) {
        if (!section.name.empty()) {
            text += "\n[" + section.name + "]\n";
        }
        dump_entries(section.entries.get(), &text);
    }
    return text + '\n';
}

bool write_in_place(const char *cpFile, const std::string &text) {
    unique_fd file(::open(cpFile, O_WRONLY | O_TRUNC | O_NOCTTY | O_CLOEXEC));
    return file && write_all(file.get(), text) && file.reset() == 0;
}

// The entry's name is formed in a buffer of this size; what of the key does not fit is cut off.
constexpr int kEntrySize = 256;

bool set_entry(s_INI *ini, const char *cpSection, const char *cpKey, const char *cpValue) {
    char szEntry[kEntrySize];
    text_print(szEntry, "%s:%s", cpSection, cpKey);
    const std::size_t length = std::strlen(cpSection);
    s_SECTION *section = *cpSection == '\0' ? nullptr : find_section(ini, cpSection);
    if (section == nullptr || length + 1 >= std::strlen(szEntry)) {
        return section == nullptr; // an entry without its section is not part of the file
    }
    return dictionary_set(section->entries.get(), szEntry + length + 1, cpValue) == 0;
}

bool has_line_end(const char *cpText) {
    return std::strpbrk(cpText, "\r\n") != nullptr;
}

} // namespace

int i_change_ini(const char *cpIni, const char *cpSection, const char *cpKey, const char *cpValue) {
    if (cpIni == nullptr || cpIni[0] == '\0') {
        cpIni = "VN_INI";
    }
    trace_at(TRACE_DETAILS, "Change INI file: %s %s %s %s", cpIni, cpSection, cpKey, cpValue);
    if (has_line_end(cpSection) || has_line_end(cpKey) || has_line_end(cpValue)) {
        return 0;
    }
    char szFile[1024];
    char szMsg[kMessageSize];
    s_INI ini;
    if (i_GET_ROOT_FOR_INI(cpIni, szFile, sizeof szFile, szMsg, sizeof szMsg) != 1 ||
        !load(szFile, &ini) || !set_entry(&ini, cpSection, cpKey, cpValue)) {
        return 0;
    }
    return write_in_place(szFile, dump(ini)) ? 1 : 0;
}
