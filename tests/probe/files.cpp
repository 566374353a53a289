// Files, directories, and what this host is and does.
#include "tests/probe/probe.h"

#include "common/unix/cm_file_util.h"
#include "common/unix/cm_hal_file_util.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace vn_probe {
namespace {

void run_chmod(Words &words) {
    const char *mode = words.text();
    errno = 0;
    const int result = cm_chmod(mode, words.text());
    std::printf("chmod %d %d\n", result, result < 0 ? errno : 0);
}

void run_create(Words &words) {
    Buffer message = buffer(256, "old");
    const int result = i_CREATE_DIR_LOCAL(words.text(), message.data(), log);
    std::printf("create %d '%s'\n", result, message.data());
}

// PATTERN DATE DAYS
void run_find(Words &words) {
    const char *pattern = words.text(), *date = words.text();
    const auto action = [](const char *file, str_log) { return std::printf("found %s\n", file); };
    const auto days = static_cast<int>(words.number());
    std::printf("find %d\n", i_FILE_FIND_EXEC_BEFORE(pattern, date, days, action, log));
}

void run_next(Words &words) {
    vn_dirent entry = {"old"};
    const int result = i_GET_DIR(words.text(), &entry, log);
    std::printf("next %d '%s'\n", result, entry.d_name);
}

// FILE TEXT SIZE
void run_search(Words &words) {
    const char *file = words.text(), *search = words.text();
    const auto size = static_cast<size_t>(words.number());
    Buffer text = buffer(std::min<size_t>(size, 4096), search);
    const int result = file_search(file, text.data(), static_cast<int>(size));
    std::printf("search %d '%s'\n", result, text.data());
}

void run_performance(Words &words) {
    Buffer figures = buffer(10240, "old");
    const char *device = words.text();
    const int result = READ_PERFORMANCE_FILE(device, words.text(), figures.data(), log);
    std::printf("performance %d '%s'\n", result, figures.data());
}

// CURRENT: the error number of this moment; the failure that is told is another.
void run_file_close(Words &words) {
    errno = static_cast<int>(words.number());
    std::printf("close %d\n", i_FILE_CLOSE(EDQUOT));
}

void run_host(Words &) {
    Buffer name = buffer(160), platform = buffer(5);
    get_my_hostname(160, name.data());
    const bool same = get_my_platform(platform.data()) == platform.data();
    std::printf("%s %s %d\n", name.data(), platform.data(), same);
}

const Function kFunctions[] = {
    {"copy",
     [](Words &words) {
         const char *from = words.text();
         std::printf("copy %d\n", file_copy(from, words.text()));
     }},
    {"chmod", run_chmod},
    {"mkdir", [](Words &words) { std::printf("mkdir %d\n", i_MKDIR(words.text())); }},
    {"create", run_create},
    {"delete", [](Words &words) { std::printf("delete %d\n", i_FILE_DELETE(words.text(), log)); }},
    {"exists", [](Words &words) { std::printf("exists %d\n", file_exist(words.text())); }},
    {"file_name", [](Words &words) { std::printf("%s\n", GIVE_ME_FILE_NAME(words.text())); }},
    {"find", run_find},
    {"next", run_next},
    {"search", run_search},
    {"performance", run_performance},
    {"file_close", run_file_close},
    {"host", run_host},
};

} // namespace

const std::span<const Function> kFiles = kFunctions;

} // namespace vn_probe
