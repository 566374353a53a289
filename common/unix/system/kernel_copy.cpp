// Copying inside the system, see kernel_copy.h.
#include "common/unix/system/kernel_copy.h"

#include <cstddef>
#include <sys/types.h>
#include <unistd.h>

#if defined(__linux__) || (defined(__FreeBSD__) && __FreeBSD__ >= 13)

void copy_in_kernel(int iFrom, int iTo) {
    constexpr std::size_t kAtOnce = std::size_t{1} << 30;
    while (::copy_file_range(iFrom, nullptr, iTo, nullptr, kAtOnce, 0) > 0) {
    }
}

#else // OpenBSD and NetBSD have no such call

void copy_in_kernel(int, int) {}

#endif
