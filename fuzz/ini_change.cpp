// The INI change: a value that was set stands in the file, or the file is as it was; and what was
// written is loaded again and comes out the same.
// Covers: common/unix/configuration/ini_change.cpp common/unix/configuration/ini_file.cpp
#include "fuzz/fuzz.h"

#include "common/unix/cm_kernel.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <vector>

namespace {

std::string content_of(const char *path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

void require(bool bHolds) {
    if (!bHolds) {
        std::abort();
    }
}

// True when the section is missing, or holds the entry.
bool stands_in(const std::string &content, const std::string &section, const std::string &entry) {
    std::istringstream lines(content);
    bool bKnown = false;
    bool bInside = false;
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.front() == '[') {
            bInside = line == '[' + section + ']';
            bKnown = bKnown || bInside;
        } else if (bInside && line == entry) {
            return true;
        }
    }
    return !bKnown;
}

// Loading takes quotes, comments and outer blanks off: such a file needs several changes to settle.
bool is_plain(std::string_view text) {
    return text.find_first_of("\"';#") == std::string_view::npos;
}

bool is_plain_word(std::string_view text) {
    return is_plain(text) && text.find_first_of(" \t\v\f") == std::string_view::npos;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::string_view input(reinterpret_cast<const char *>(data), size);
    const std::string section = take_text(&input);
    const std::string key = take_text(&input);
    const std::string value = take_text(&input);
    const char *path = input_file(input);
    if (i_change_ini(path, section.c_str(), key.c_str(), value.c_str()) == 0) {
        require(content_of(path) == input);
        return 0;
    }
    const std::string once = content_of(path);
    require(section.empty() || stands_in(once, section, key + '=' + value));
    require(i_change_ini(path, "]", "k", "v") == 1); // no section has that name
    const bool bSettled = is_plain(input) && is_plain_word(key) && is_plain_word(value);
    require(!bSettled || content_of(path) == once);
    return 0;
}
