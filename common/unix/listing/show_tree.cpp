// Listing one directory (vShowTree of show_tree.h): what is listed by a program, the
// applications found on the machine, mounts, and the directory's entries.
#include "common/unix/listing/show_tree.h"

#include "common/common/text.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/listing/entry.h"
#include "common/unix/listing/entry_list.h"
#include "common/unix/listing/mounts.h"
#include "common/unix/listing/pseudo_root.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

s_LISTING_PLACES gListingPlaces = {"", "/proc/mounts"};

namespace {

// A file that tells that an application is on the machine, and the application's entry.
struct s_MARKER {
    const char *cpFile;
    const char *cpElse; // looked for if the first is not there
    const char *cpName;
    char cBaseType;
};

constexpr s_MARKER kMarkers[] = {
    {"/etc/SLOX-release", nullptr, "SuSE Linux Openexchange Server", 'f'},
    {"/etc/init.d/openexchange", nullptr, "Open-Xchange", 'f'},
    {"/etc/opt/scalix/instance.cfg", nullptr, "Scalix", 'd'},
    {"/opt/scalix/global/config", nullptr, "Scalix", 'd'},
    {"/etc/zarafa/server.cfg", nullptr, "Zarafa", 'd'},
    {"/opt/novell/sms/bin/smsconfig", nullptr, "NetWare", 'd'},
    {"/etc/oratab", nullptr, "ORACLE", 'f'},
    {"/etc/init.d/mysql", "/etc/init.d/mysqld", "MySQL", 'd'},
    {"/etc/init.d/postgresql", nullptr, "PostgreSQL", 'd'},
    {"/etc/vmware-release", nullptr, "ESX Server", 'd'},
    {"/etc/xensource-inventory", nullptr, "XEN Server", 'd'},
};

// True when errno tells of a machine that fails, not of a file that is not to be had.
bool is_fault() {
    constexpr int kFaults[] = {EIO, ENOMEM, EMFILE, ENFILE, ESTALE, ETIMEDOUT};
    return std::find(std::begin(kFaults), std::end(kFaults), errno) != std::end(kFaults);
}

bool is_there(const char *cpFile, sFormat *cpInfo) {
    if (cpFile == nullptr) {
        return false;
    }
    const unique_fd file(::open((std::string(gListingPlaces.cpMarkers) + cpFile).c_str(),
                                O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file && is_fault()) {
        count_error(cpInfo, error_text(errno));
    }
    return static_cast<bool>(file);
}

void show_applications(sFormat *cpInfo) {
    for (const s_MARKER &marker : kMarkers) {
        if (is_there(marker.cpFile, cpInfo) || is_there(marker.cpElse, cpInfo)) {
            text_copy(cpInfo->szCurFullFileName, marker.cpName);
            text_copy(cpInfo->szCreatTime, "0");
            text_copy(cpInfo->szModTime, "0");
            cpInfo->cBaseType = static_cast<unsigned char>(marker.cBaseType);
            cpInfo->cType = 'b';
            vShow(cpInfo);
        }
    }
}

char type_of(mode_t mode, char cType) {
    if (cType == 'l' || S_ISREG(mode)) {
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

// Inserts one entry of the open directory. One that has no status, such as a link that dangles or
// leads to where the caller may not look, is no entry. Only a symbolic link must be asked for
// twice. False with errno when the machine fails or memory ran out.
bool insert_entry(entry_list *list, int iDirectory, const char *cpName, std::string_view full) {
    struct stat status = {};
    char cType = '_';
    if (::fstatat(iDirectory, cpName, &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return !is_fault();
    }
    if (S_ISLNK(status.st_mode)) {
        cType = 'l';
        if (::fstatat(iDirectory, cpName, &status, 0) != 0) {
            return !is_fault();
        }
    }
    errno = ENOMEM; // the reason when there is no room
    if (S_ISDIR(status.st_mode)) {
        return list->insert(entry_of('d', cType, full, {}, status));
    }
    return list->insert(entry_of('f', type_of(status.st_mode, cType), full, {}, status));
}

// Inserts the directory's entries. A name that no path can hold is left out and counts as an error.
void insert_entries(entry_list *list, DIR *directory, sFormat *cpInfo) {
    std::string full;
    full.reserve(2 * sizeof cpInfo->szCurRoot);
    full = cpInfo->szCurRoot;
    if (full.empty() || full.back() != '/') {
        full += '/';
    }
    const std::size_t iRoot = full.size();
    for (;;) {
        errno = 0; // what tells an error of readdir from the end
        const dirent *entry = ::readdir(directory);
        if (entry == nullptr) {
            break;
        }
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) {
            continue;
        }
        full.replace(iRoot, std::string::npos, entry->d_name);
        if (full.size() >= sizeof cpInfo->szCurFullFileName) {
            count_error(cpInfo, error_text(ENAMETOOLONG));
        } else if (!insert_entry(list, ::dirfd(directory), entry->d_name, full)) {
            if (errno == ENOMEM) {
                break;
            }
            count_error(cpInfo, error_text(errno));
        }
    }
    if (errno != 0) {
        count_error(cpInfo, error_text(errno));
    }
}

void report_unreadable(const char *cpRoot, int iErrno) {
    std::fprintf(stderr, "ERROR: opendir( %s ) returned errno (%d): %s\n", cpRoot, iErrno,
                 error_text(iErrno).c_str());
}

void list_directory(sFormat *cpInfo) {
    entry_list list;
    if (!insert_mounts(&list, cpInfo->szCurRoot, gListingPlaces.cpMounts)) {
        count_error(cpInfo, error_text(ENOMEM));
    }
    const unique_directory directory(::opendir(cpInfo->szCurRoot));
    if (directory) {
        insert_entries(&list, directory.get(), cpInfo);
    } else if (errno == ENOMEM) {
        count_error(cpInfo, error_text(ENOMEM));
    } else {
        report_unreadable(cpInfo->szCurRoot, errno);
    }
    const int iErrno = list.print();
    if (iErrno != 0) {
        count_error(cpInfo, error_text(iErrno));
    }
}

} // namespace

void vShowTree(sFormat *cpInfo) {
    if (list_pseudo_root(cpInfo)) {
        return;
    }
    const std::string_view root = cpInfo->szCurRoot;
    if (root.ends_with('/')) {
        show_applications(cpInfo);
    }
    list_directory(cpInfo);
}

void vShowTreeAll(sFormat *cpInfo) {
    vShowTree(cpInfo);
}
