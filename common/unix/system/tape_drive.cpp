// Tape drivers, see tape_drive.h.
#include "common/unix/system/tape_drive.h"

#include <sys/ioctl.h>
#include <sys/types.h>

#include <sys/mtio.h>

namespace {

struct s_DRIVER {
    e_SYSTEM eSystem;
    const char *cpName;
    unsigned long lOpen;   // the bits that are set when there is no tape
    unsigned long lOnline; // and those when there is one; 0: the driver does not tell
};

// FreeBSD's driver has no bits: it tells what the drive is doing by a number, which mt prints in
// words such as "at rest.". OpenBSD's and NetBSD's has the bits of a tape that is mounted; without
// them there may be no tape, or one that the driver has not yet looked at.
constexpr s_DRIVER kDrivers[kSystems] = {
    {SYSTEM_LINUX, "general status", 0x40000, 0x1000000},
    {SYSTEM_OPENBSD, "drive status", 0, 0x3},
    {SYSTEM_FREEBSD, nullptr, 0, 0},
    {SYSTEM_NETBSD, "drive status", 0, 0x3},
    {SYSTEM_OTHER, nullptr, 0, 0},
};
static_assert(has_every_system(kDrivers));

bool has_bits(unsigned long lBits, unsigned long lWanted) {
    return lWanted != 0 && (lBits & lWanted) == lWanted;
}

#if defined(__linux__)
static_assert(GMT_DR_OPEN(kDrivers[SYSTEM_LINUX].lOpen) != 0);
static_assert(GMT_ONLINE(kDrivers[SYSTEM_LINUX].lOnline) != 0);
unsigned long bits_of(const mtget &answer) {
    return static_cast<unsigned long>(answer.mt_gstat);
}
#else
#if defined(__OpenBSD__) || defined(__NetBSD__)
static_assert(kDrivers[kThisSystem].lOnline == MT_DS_MOUNTED);
#endif
unsigned long bits_of(const mtget &answer) {
    return static_cast<unsigned short>(answer.mt_dsreg);
}
#endif

} // namespace

s_TAPE_STATE tape_state(unsigned long lBits, e_SYSTEM eSystem) {
    const s_DRIVER &driver = kDrivers[eSystem];
    return {driver.cpName, lBits, has_bits(lBits, driver.lOpen), has_bits(lBits, driver.lOnline)};
}

int ask_tape_driver(int fd, s_TAPE_STATE *state) {
    mtget answer = {};
    if (::ioctl(fd, MTIOCGET, &answer) != 0) {
        return -1;
    }
    *state = tape_state(bits_of(answer));
    return 0;
}
