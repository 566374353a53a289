// Listing one directory (vShowTree of show_tree.h): what is listed by a program, the
// applications found on the machine, mounts, and the directory's entries.
#include "common/unix/listing/show_tree.h"

#include "common/common/text.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/listing/entry.h"
#include "common/unix/listing/entry_list.h"
#include "common/unix/listing/mounts.h"
#include "common/unix/listing/pseudo_root.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
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

bool is_there(const char *cpFile) {
    return cpFile != nullptr &&
           unique_fd(::open((std::string(gListingPlaces.cpMarkers) + cpFile).c_str(),
                            O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

void show_applications(sFormat *cpInfo) {
    for (const s_MARKER &marker : kMarkers) {
        if (is_there(marker.cpFile) || is_there(marker.cpElse)) {
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

// Inserts one entry of the open directory; one that has no status, such as a dangling link, is no
// entry. Only a symbolic link must be asked for twice.
void insert_entry(entry_list *list, int iDirectory, const char *cpName, std::string_view full) {
    struct stat status = {};
    char cType = '_';
    if (::fstatat(iDirectory, cpName, &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return;
    }
    if (S_ISLNK(status.st_mode)) {
        cType = 'l';
        if (::fstatat(iDirectory, cpName, &status, 0) != 0) {
            return;
        }
    }
    if (S_ISDIR(status.st_mode)) {
        list->insert(entry_of('d', cType, full, {}, status));
    } else {
        list->insert(entry_of('f', type_of(status.st_mode, cType), full, {}, status));
    }
}

void insert_entries(entry_list *list, const std::string &root) {
    const unique_directory directory(::opendir(root.c_str()));
    if (!directory) {
        const int iErrno = errno;
        std::fprintf(stderr, "ERROR: opendir( %s ) returned errno (%d): %s\n", root.c_str(), iErrno,
                     error_text(iErrno).c_str());
        return;
    }
    std::string full = root;
    if (full.empty() || full.back() != '/') {
        full += '/';
    }
    const std::size_t iRoot = full.size();
    errno = 0;
    while (const dirent *entry = ::readdir(directory.get())) {
        const char *cpName = entry->d_name;
        if (std::strcmp(cpName, ".") != 0 && std::strcmp(cpName, "..") != 0) {
            full.replace(iRoot, std::string::npos, cpName);
            insert_entry(list, ::dirfd(directory.get()), cpName, full);
        }
        errno = 0;
    }
    if (errno != 0) {
        std::fprintf(stderr, "ERROR: readdir( %s ) returned errno (%d): %s\n", root.c_str(), errno,
                     error_text(errno).c_str());
    }
}

} // namespace

void vShowTree(sFormat *cpInfo) {
    const std::string root = cpInfo->szCurRoot;
    if (list_pseudo_root(root.c_str())) {
        return;
    }
    if (!root.empty() && root.back() == '/') {
        show_applications(cpInfo);
    }
    entry_list list;
    insert_mounts(&list, root, gListingPlaces.cpMounts);
    insert_entries(&list, root);
    list.print();
}

void vShowTreeAll(sFormat *cpInfo) {
    vShowTree(cpInfo);
}
