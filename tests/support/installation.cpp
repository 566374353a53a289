// The throw-away installation: directory, INI files and logs. See program.cpp for the calls and
// normal.cpp for the normalised texts.
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <unistd.h>

namespace vn_test {
namespace {

[[noreturn]] void give_up(const std::string &reason) {
    std::fprintf(stderr, "installation for a test: %s\n", reason.c_str());
    std::abort();
}

std::string make_directory() {
    const char *parent = std::getenv("TMPDIR");
    std::string path = std::string(parent != nullptr && *parent != '\0' ? parent : "/tmp");
    path += "/vnt.XXXXXX";
    if (mkdtemp(path.data()) == nullptr) {
        give_up(path + ": " + std::strerror(errno));
    }
    return path;
}

// A line of an INI file is found by its section, "" before the first one, and key.
struct IniPlace {
    std::vector<std::string> lines;
    size_t at = 0; // the key's line, else where it goes
    bool has_key = false;
    bool has_section = false;
};

IniPlace find_ini(const std::string &file, std::string_view section, std::string_view key) {
    IniPlace place;
    place.lines = lines_of(read_file(file).value_or(""));
    const std::string heading = "[" + std::string(section) + "]";
    const std::string start = std::string(key) + "=";
    bool inside = section.empty();
    place.has_section = inside;
    for (size_t i = 0; i < place.lines.size(); i++) {
        const std::string &line = place.lines[i];
        if (line.starts_with('[')) {
            inside = !section.empty() && line == heading;
            place.has_section = place.has_section || inside;
        }
        if (!inside) {
            continue;
        }
        if (line.starts_with(start)) {
            place.at = i;
            place.has_key = true;
            return place;
        }
        if (!line.empty()) {
            place.at = i + 1;
        }
    }
    return place;
}

void write_lines(const std::string &file, const std::vector<std::string> &lines) {
    std::string text;
    for (const std::string &line : lines) {
        text += line + "\n";
    }
    write_file(file, text);
}

} // namespace

Installation::Installation() : dir(make_directory()) {
    const char *path_variable = std::getenv("PATH");
    CallResult made =
        run_program({VN_SANDBOX_DIR "/make_installation", dir, VN_SANDBOX_PROGRAMS},
                    {std::string("PATH=") + (path_variable ? path_variable : "")}, {});
    if (made.status != 0) {
        give_up(made.err);
    }
    if (const char *previous = std::getenv("VORNA_INI")) {
        previous_ini_ = previous;
    }
    setenv("VORNA_INI", path("vorna.ini").c_str(), 1);
}

Installation::~Installation() {
    if (previous_ini_) {
        setenv("VORNA_INI", previous_ini_->c_str(), 1);
    } else {
        unsetenv("VORNA_INI");
    }
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
}

std::string Installation::path(std::string_view name) const {
    return dir + "/" + std::string(name);
}

std::vector<std::string> Installation::environment(const std::vector<std::string> &changes) const {
    std::vector<std::string> environment = {"LC_ALL=C", "VORNA_INI=" + path("vorna.ini")};
    for (const char *name : {"PATH", "HOME", "TMPDIR", "TZ", "ASAN_OPTIONS", "UBSAN_OPTIONS"}) {
        if (const char *value = std::getenv(name)) {
            environment.push_back(std::string(name) + "=" + value);
        }
    }
    for (const std::string &change : changes) {
        const std::string start = change.substr(0, change.find('=')) + "=";
        std::erase_if(environment,
                      [&](const std::string &entry) { return entry.starts_with(start); });
        if (change.find('=') != std::string::npos) {
            environment.push_back(change);
        }
    }
    return environment;
}

CallResult Installation::agent(const std::vector<std::string> &arguments,
                               const CallOptions &options) const {
    std::vector<std::string> command = {VN_CLIENT_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    CallOptions call = options;
    if (call.directory.empty()) {
        call.directory = dir;
    }
    return run_program(command, environment(options.environment), call);
}

void Installation::set_glbv(std::string_view name, std::string_view value) const {
    write_file(path("rw/glbv/" + std::string(name) + ".sgv"), value);
}

std::optional<std::string> Installation::get_glbv(std::string_view name) const {
    return read_file(path("rw/glbv/" + std::string(name) + ".sgv"));
}

void Installation::remove_glbv(std::string_view name) const {
    std::remove(path("rw/glbv/" + std::string(name) + ".sgv").c_str());
}

void Installation::set_ini(const std::string &file, std::string_view section, std::string_view key,
                           std::string_view value) const {
    IniPlace place = find_ini(file, section, key);
    const std::string line = std::string(key) + "=" + std::string(value);
    if (place.has_key) {
        place.lines[place.at] = line;
    } else if (place.has_section) {
        place.lines.insert(place.lines.begin() + (ptrdiff_t)place.at, line);
    } else {
        place.lines.push_back("[" + std::string(section) + "]");
        place.lines.push_back(line);
    }
    write_lines(file, place.lines);
}

void Installation::remove_ini(const std::string &file, std::string_view section,
                              std::string_view key) const {
    IniPlace place = find_ini(file, section, key);
    if (!place.has_key) {
        ADD_FAILURE() << file << " has no key " << key << " in [" << section << "]";
        return;
    }
    place.lines.erase(place.lines.begin() + (ptrdiff_t)place.at);
    write_lines(file, place.lines);
}

std::vector<std::string> Installation::trace() const {
    return lines_of(normalised(read_file(path("rw/lgc/vn_client_.lgc")).value_or("")));
}

std::vector<std::string> Installation::protocol() const {
    return lines_of(normalised(read_file(path("rw/prot/vorna.prot")).value_or("")));
}

std::vector<std::string> Installation::error_protocol() const {
    return lines_of(normalised(read_file(path("rw/prot/vorna.prot.err")).value_or("")));
}

std::optional<std::string> read_file(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    return std::string(std::istreambuf_iterator<char>(file), {});
}

void write_file(const std::string &path, std::string_view content) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content << std::flush;
    if (!file) {
        ADD_FAILURE() << "cannot write " << path;
    }
}

std::vector<std::string> lines_of(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        size_t end = text.find('\n');
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(end == text.npos ? text.size() : end + 1);
    }
    return lines;
}

} // namespace vn_test
