// The systems on which the agent runs. What is not the same on all of them stands in this folder, a
// unit per subject with a row per system; no other code asks for which one it is compiled. What is
// only text is compiled everywhere and takes the system as an argument, so that every row can be
// tried on one machine.
#pragma once

enum e_SYSTEM { SYSTEM_LINUX, SYSTEM_OPENBSD, SYSTEM_FREEBSD, SYSTEM_NETBSD, SYSTEM_OTHER };
constexpr int kSystems = SYSTEM_OTHER + 1;

#if defined(__linux__)
constexpr e_SYSTEM kThisSystem = SYSTEM_LINUX;
#elif defined(__OpenBSD__)
constexpr e_SYSTEM kThisSystem = SYSTEM_OPENBSD;
#elif defined(__FreeBSD__)
constexpr e_SYSTEM kThisSystem = SYSTEM_FREEBSD;
#elif defined(__NetBSD__)
constexpr e_SYSTEM kThisSystem = SYSTEM_NETBSD;
#else
constexpr e_SYSTEM kThisSystem = SYSTEM_OTHER; // what POSIX has
#endif

// True for a table whose rows begin with their system, all of them in the order above: a row is
// then found as rows[eSystem].
template <typename Row>
constexpr bool has_every_system(const Row (&rows)[kSystems]) {
    for (int i = 0; i < kSystems; ++i) {
        if (rows[i].eSystem != i) {
            return false;
        }
    }
    return true;
}
