// Global variables, references to them, and what programs and directories are made of.
#include "tests/probe/probe.h"

#include "common/unix/cm_hal_unix.h"
#include "common/unix/cm_kernel.h"
#include "common/unix/configuration/directories.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace vn_probe {
namespace {

// LETTER NAME [VALUE]: with buffers of just the size that the store may fill.
void run_glbv(Words &words) {
    const int letter = *words.text();
    Buffer name = buffer(0, words.text());
    char none[] = "";
    const std::string input = words.text_or(none);
    Buffer value = buffer(letter == 'w' ? std::max<size_t>(256, input.size() + 1) : 512, input);
    const bool same = glbv(letter, name.data(), value.data()) == value.data();
    std::printf("%s = %s%s\n", name.data(), value.data(), same ? "" : ", returned another");
}

// TEXT [SIZE OF THE BUFFER]
template <int (*resolve)(char *, int)>
void run_resolve(Words &words) {
    const std::string text = words.text();
    const int size = words.more() ? (int)words.number() : 1024;
    Buffer name = buffer((size_t)size, text);
    const int done = resolve(name.data(), size);
    std::printf("%d %s\n", done, name.data());
}

// STORE TEXT SIZE: into another buffer and in place.
void run_resolve_whole(Words &words) {
    const auto store = (e_REFERENCE_STORE)words.number();
    const std::string text = words.text();
    const int size = (int)words.number();
    Buffer made((size_t)size, '~'), name = buffer((size_t)size, text);
    const bool whole = resolve_whole(text.c_str(), made.data(), size, store);
    const bool same = resolve_whole(name.data(), name.data(), size, store) == whole;
    std::printf("%s %s%s\n", whole ? "whole" : "cut", made.data(),
                same && std::string(made.data()) == name.data() ? "" : ", in place another");
}

void run_environment(Words &words) {
    std::printf("%d", i_setenv_vorna(words.text()));
    for (const char *name : {"PATH", "PGPORT", "LD_LIBRARY_PATH"}) {
        const char *value = std::getenv(name);
        std::printf(" %s", value == nullptr ? "(none)" : value);
    }
    std::printf("\n");
}

void run_directories(Words &) {
    std::printf("%s", work_directory().c_str());
    std::printf(" %s\n", database_directory().c_str());
}

void run_place(Words &words) {
    const std::string path = words.text();
    std::printf("%s %s\n", is_relative_path(path) ? "relative" : "absolute",
                disk_mount_point(path).c_str());
}

const Function kFunctions[] = {
    {"glbv", run_glbv},
    {"resolve_glbv", run_resolve<resolve_glbv>},
    {"resolve_path", run_resolve<resolve_path>},
    {"resolve_reference", run_resolve<resolve_reference>},
    {"resolve_whole", run_resolve_whole},
    {"i_setenv_vorna", run_environment},
    {"directories", run_directories},
    {"disk_mount_point", run_place},
};

} // namespace

const std::span<const Function> kVariables = kFunctions;

} // namespace vn_probe
