// What the machine and other processes do to this process.
#include "tests/probe/probe.h"

#include "common/common/cm_message.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>
#include <sys/resource.h>
#include <unistd.h>

namespace vn_probe {
namespace {

rlim_t free_descriptor() {
    const int next = dup(STDERR_FILENO);
    const auto number = static_cast<rlim_t>(next);
    close(next);
    return number;
}

// "files" that may be opened further, "bytes" that a file may have (the disk is full then), or "kB"
// of memory that may be had further, and their number.
void run_limit(Words &words) {
    const std::string what = words.text();
    auto most = static_cast<rlim_t>(words.number());
    int resource = RLIMIT_FSIZE;
    if (what == "files") {
        resource = RLIMIT_NOFILE;
        most += free_descriptor();
    } else if (what == "kB") {
        resource = RLIMIT_AS;
        rlim_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        most = most * 1024 + pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
    }
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit = {};
    getrlimit(resource, &limit);
    limit.rlim_cur = std::min(most, limit.rlim_max);
    setrlimit(resource, &limit);
}

// The sanitizers search for leaks at the end, which takes a process and "/proc".
void end_at_once() {
    std::atexit([] {
        std::fflush(nullptr);
        _exit(0);
    });
}

// Another account from here on, which may not have a single process.
void run_forbid_processes(Words &) {
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_NPROC, &none);
    if (geteuid() == 0 && setuid(65534) != 0) {
        std::exit(99);
    }
    end_at_once();
}

const Function kFunctions[] = {
    {"lang", [](Words &words) { eLang = static_cast<LANGUAGES>(words.number()); }},
    {"limit", run_limit},
    {"forbid_processes", run_forbid_processes},
    {"exhaust", // the last byte of memory
     [](Words &) {
         for (const size_t size : {65536, 4096, 512, 64, 16}) {
             while (std::malloc(size) != nullptr) {
             }
         }
     }},
    {"end_without_memory", [](Words &) { std::set_new_handler([] { _exit(3); }); }},
    {"close", [](Words &words) { close(static_cast<int>(words.number())); }},
    {"open_up_to",
     [](Words &words) {
         for (const long last = words.number(); dup(STDERR_FILENO) < last;) {
         }
     }},
    {"left_open", // descriptors, since the last call
     [](Words &) {
         static long before = 0;
         const auto now = static_cast<long>(free_descriptor());
         std::printf("left open: %ld\n", before == 0 ? 0 : now - before);
         before = now;
     }},
    {"shell", [](Words &words) { std::printf("%s", std::system(words.text()) == 0 ? "" : "?\n"); }},
    {"sleep", [](Words &) { sleep(20); }},
    {"chroot",
     [](Words &words) {
         end_at_once();
         if (chroot(words.text()) != 0) {
             _exit(99);
         }
     }},
    {"ignore", [](Words &words) { signal(static_cast<int>(words.number()), SIG_IGN); }},
    {"catch", // a signal, which interrupts what waits
     [](Words &words) {
         struct sigaction action = {};
         action.sa_handler = [](int) {};
         sigaction(static_cast<int>(words.number()), &action, nullptr);
     }},
};

} // namespace

const std::span<const Function> kMachine = kFunctions;

} // namespace vn_probe
