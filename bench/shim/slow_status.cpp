// To be preloaded: asking for a directory entry's status takes a millisecond, as it does on a file
// server.
#include "bench/shim/slow_status.h"

#include <ctime>
#include <dlfcn.h>

int fstatat(int directory, const char *name, struct stat *status, int flags) {
    constexpr timespec kRoundTrip = {0, 1000000};
    static const auto real = reinterpret_cast<decltype(&fstatat)>(dlsym(RTLD_NEXT, "fstatat"));
    nanosleep(&kRoundTrip, nullptr);
    return real(directory, name, status, flags);
}
