// The entries of a directory, see directory_entries.h. The system tells names quickly and statuses
// slowly, on a file server by a round trip each: while the names are read, threads ask for the
// statuses.
#include "common/unix/listing/directory_entries.h"

#include "common/common/text.h"
#include "common/unix/listing/crew.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <string_view>
#include <sys/stat.h>

namespace {

constexpr std::size_t kPart = 64; // entries that a thread asks for at a time

char type_of(mode_t mode, char cType) {
    if (cType == 'l' || S_ISREG(mode) || S_ISDIR(mode)) {
        return cType;
    }
    if (S_ISFIFO(mode)) {
        return 'p';
    }
    if (S_ISCHR(mode)) {
        return 'c';
    }
    if (S_ISBLK(mode)) {
        return 'k';
    }
    return S_ISSOCK(mode) ? 's' : cType;
}

struct s_READING {
    entry_list *list;
    int iDirectory;
    std::size_t iFirst;   // the place of the directory's first name
    std::size_t iLongest; // bytes of a name that a path can hold
    std::atomic<bool> bFaults = false;

    void set_fault(std::size_t iPlace, int iErrno) {
        list->set_fault(iPlace, iErrno);
        bFaults = true;
    }
    // Only a symbolic link must be asked for twice.
    void ask(std::size_t iPlace) {
        struct stat status = {};
        const char *cpName = list->name(iPlace);
        if (std::strlen(cpName) > iLongest) {
            set_fault(iPlace, ENAMETOOLONG);
            return;
        }
        bool bStatus = ::fstatat(iDirectory, cpName, &status, AT_SYMLINK_NOFOLLOW) == 0;
        const char cType = bStatus && S_ISLNK(status.st_mode) ? 'l' : '_';
        if (cType == 'l') {
            bStatus = ::fstatat(iDirectory, cpName, &status, 0) == 0;
        }
        if (bStatus) {
            list->set_status(iPlace, S_ISDIR(status.st_mode) ? 'd' : 'f',
                             type_of(status.st_mode, cType), status);
        } else if (is_fault(errno)) {
            set_fault(iPlace, errno);
        }
    }
    static void ask_part(void *task, std::size_t iPart, unsigned /*iMember*/) {
        auto *own = static_cast<s_READING *>(task);
        const std::size_t iBegin = own->iFirst + iPart * kPart;
        for (std::size_t iPlace = iBegin; iPlace < iBegin + kPart; ++iPlace) {
            own->ask(iPlace);
        }
    }
};

// Lets the names so far be asked for, when they are twice as many as the last time. Threads that
// get few at a time sleep and wake for each few, and the system keeps them where the waker is.
void open_parts(crew *workers, std::size_t iNames) {
    const std::size_t iParts = iNames / kPart;
    const std::size_t iFirst = std::max<std::size_t>(1, gCrewPolicy.iLarge / kPart);
    if (iParts % iFirst != 0 || !std::has_single_bit(iParts / iFirst)) {
        return;
    }
    workers->open(iParts);
    if (iParts == iFirst) {
        workers->hire(members_by_processors(), crew::kMostMembers);
    }
}

// Inserts the names. Returns the error number of what ended that, 0 at the directory's end.
int insert_names(const s_READING &reading, DIR *directory, crew *workers) {
    for (;;) {
        errno = 0; // what tells an error of readdir from the end
        const dirent *entry = ::readdir(directory);
        if (entry == nullptr) {
            return errno;
        }
        const std::string_view name = entry->d_name;
        if (name == "." || name == "..") {
            continue;
        }
        if (!reading.list->insert(name)) {
            return ENOMEM;
        }
        const std::size_t iNames = reading.list->count() - reading.iFirst;
        if (iNames % kPart == 0) {
            open_parts(workers, iNames);
        }
    }
}

// Counts the faults in the order of the directory. False when memory ran out, where the listing
// ends.
bool count_faults(entry_list *list, std::size_t iFirst, sFormat *cpInfo) {
    for (std::size_t iPlace = iFirst; iPlace < list->count(); ++iPlace) {
        const int iErrno = list->fault(iPlace);
        if (iErrno != 0) {
            count_error(cpInfo, error_text(iErrno));
        }
        if (iErrno == ENOMEM) {
            list->cut(iPlace);
            return false;
        }
    }
    return true;
}

} // namespace

bool is_fault(int iErrno) {
    constexpr int kFaults[] = {EIO, ENOMEM, EMFILE, ENFILE, ESTALE, ETIMEDOUT};
    return std::find(std::begin(kFaults), std::end(kFaults), iErrno) != std::end(kFaults);
}

void insert_entries(entry_list *list, DIR *directory, sFormat *cpInfo) {
    constexpr std::size_t kLongestPath = sizeof(sFormat::szCurFullFileName) - 1;
    s_READING reading = {list, dirfd(directory), list->count(),
                         kLongestPath - std::min(kLongestPath, list->directory().size())};
    crew workers(s_READING::ask_part, &reading);
    const int iErrno = insert_names(reading, directory, &workers);
    workers.open((list->count() - reading.iFirst) / kPart);
    workers.finish();
    const std::size_t iRest = (list->count() - reading.iFirst) % kPart;
    for (std::size_t iPlace = list->count() - iRest; iPlace < list->count(); ++iPlace) {
        reading.ask(iPlace);
    }
    if ((!reading.bFaults || count_faults(list, reading.iFirst, cpInfo)) && iErrno != 0) {
        count_error(cpInfo, error_text(iErrno));
    }
}
