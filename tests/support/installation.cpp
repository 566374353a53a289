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

// Puts the key's line, none when it is empty, in the place of the one it has or at the end of its
// section.
void edit_ini(const std::string &file, const std::string &section, const std::string &key,
              const std::string &line) {
    const std::string heading = section.empty() ? "" : "[" + section + "]";
    std::string text, current;
    bool done = false, has_section = section.empty();
    const auto put = [&] {
        text += done || line.empty() ? "" : line + "\n";
        done = true;
    };
    for (const std::string &old : lines_of(read_file(file).value_or(""))) {
        const bool inside = current == heading, found = inside && old.starts_with(key + "=");
        if (old.starts_with('[')) {
            current = old;
            has_section = has_section || old == heading;
        }
        if (inside && (found || current != heading)) {
            put();
        }
        text += found ? "" : old + "\n";
    }
    text += has_section ? "" : heading + "\n";
    put();
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

std::vector<std::string> Installation::environment() const {
    std::vector<std::string> environment = {"LC_ALL=C", "VORNA_INI=" + path("vorna.ini")};
    for (const char *name : {"PATH", "HOME", "TMPDIR", "TZ", "ASAN_OPTIONS", "UBSAN_OPTIONS"}) {
        if (const char *value = std::getenv(name)) {
            environment.push_back(std::string(name) + "=" + value);
        }
    }
    return environment;
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
    edit_ini(file, std::string(section), std::string(key),
             std::string(key) + "=" + std::string(value));
}

void Installation::remove_ini(const std::string &file, std::string_view section,
                              std::string_view key) const {
    const size_t before = lines_of(read_file(file).value_or("")).size();
    edit_ini(file, std::string(section), std::string(key), "");
    EXPECT_LT(lines_of(read_file(file).value_or("")).size(), before) << file << " has no " << key;
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
