// Mounts, see mount_list.h.
#include "common/unix/system/mount_list.h"

#include <cerrno>
#include <string_view>
#include <sys/types.h>
#if defined(__OpenBSD__) || defined(__FreeBSD__) || defined(__NetBSD__)
#include <sys/param.h>

#include <sys/mount.h>
#endif
#if defined(__NetBSD__)
#include <sys/statvfs.h>
#endif

namespace {

// The bits of a system's flags whose words an operator knows from Linux's table.
struct s_FLAGS {
    e_SYSTEM eSystem;
    unsigned long long lReadOnly;
    unsigned long long lNoSuid;
    unsigned long long lNoDev;
    unsigned long long lNoExec;
    unsigned long long lSync;
    unsigned long long lAsync;
    unsigned long long lNoAtime;
};

constexpr s_FLAGS kFlags[kSystems] = {
    {SYSTEM_LINUX, 0, 0, 0, 0, 0, 0, 0}, // has its table
    {SYSTEM_OPENBSD, 0x1, 0x8, 0x10, 0x4, 0x2, 0x40, 0x8000},
    {SYSTEM_FREEBSD, 0x1, 0x8, 0, 0x4, 0x2, 0x40, 0x10000000},
    {SYSTEM_NETBSD, 0x1, 0x8, 0x10, 0x4, 0x2, 0x40, 0x4000000},
    {SYSTEM_OTHER, 0, 0, 0, 0, 0, 0, 0},
};
static_assert(has_every_system(kFlags));

// A name as a field of the line.
void append_field(std::string *line, std::string_view name) {
    constexpr std::string_view kEscaped = " \t\n\\#";
    for (const char letter : name) {
        if (kEscaped.find(letter) == std::string_view::npos) {
            *line += letter;
            continue;
        }
        *line += '\\';
        for (const int iShift : {6, 3, 0}) {
            *line += static_cast<char>('0' + (letter >> iShift & 7));
        }
    }
    *line += ' ';
}

std::string option_words(unsigned long long lFlags, const s_FLAGS &flags) {
    struct s_WORD {
        unsigned long long lFlag;
        const char *cpWord;
    };
    const s_WORD words[] = {{flags.lNoSuid, ",nosuid"}, {flags.lNoDev, ",nodev"},
                            {flags.lNoExec, ",noexec"}, {flags.lSync, ",sync"},
                            {flags.lAsync, ",async"},   {flags.lNoAtime, ",noatime"}};
    std::string text = (lFlags & flags.lReadOnly) != 0 ? "ro" : "rw";
    for (const s_WORD &word : words) {
        text += (lFlags & word.lFlag) != 0 ? word.cpWord : "";
    }
    return text;
}

} // namespace

std::string mount_line(const s_MOUNT &mount, e_SYSTEM eSystem) {
    std::string line;
    for (const std::string *field : {&mount.device, &mount.point, &mount.type}) {
        append_field(&line, *field);
    }
    return line + option_words(mount.lFlags, kFlags[eSystem]) + " 0 0";
}

#if defined(__OpenBSD__) || defined(__FreeBSD__) || defined(__NetBSD__)

namespace {

constexpr s_FLAGS kOwn = kFlags[kThisSystem];
static_assert(kOwn.lReadOnly == MNT_RDONLY && kOwn.lNoSuid == MNT_NOSUID);
static_assert(kOwn.lNoExec == MNT_NOEXEC && kOwn.lSync == MNT_SYNCHRONOUS);
static_assert(kOwn.lAsync == MNT_ASYNC && kOwn.lNoAtime == MNT_NOATIME);
#if defined(MNT_NODEV)
static_assert(kOwn.lNoDev == MNT_NODEV);
#endif

#if defined(__NetBSD__)
using t_STATUS = struct statvfs;
unsigned long long flags_of(const t_STATUS &status) {
    return status.f_flag;
}
#else
using t_STATUS = struct statfs;
unsigned long long flags_of(const t_STATUS &status) {
    return status.f_flags;
}
#endif

} // namespace

int list_mounts(std::vector<std::string> *lines) {
    t_STATUS *mounts = nullptr; // the system's own
    const int iCount = ::getmntinfo(&mounts, MNT_NOWAIT);
    for (int i = 0; i < iCount; ++i) {
        lines->push_back(mount_line({mounts[i].f_mntfromname, mounts[i].f_mntonname,
                                     mounts[i].f_fstypename, flags_of(mounts[i])}));
    }
    return iCount > 0 ? 0 : errno; // there is one at least
}

#else

int list_mounts(std::vector<std::string> *) {
    return 0;
}

#endif
