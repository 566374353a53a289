// Listing one directory (vShowTree of show_tree.h): what is listed by a program, the
// applications found on the machine, mounts, and the directory's entries.
#include "common/unix/listing/show_tree.h"

#include "common/common/text.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/listing/directory_entries.h"
#include "common/unix/listing/entry.h"
#include "common/unix/listing/entry_list.h"
#include "common/unix/listing/mounts.h"
#include "common/unix/listing/programs/pseudo_root.h"
#include "common/unix/system/mount_list.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

s_LISTING_PLACES gListingPlaces = {"", mount_table()};

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

bool is_there(const char *cpFile, sFormat *cpInfo) {
    if (cpFile == nullptr) {
        return false;
    }
    const unique_fd file(::open((std::string(gListingPlaces.cpMarkers) + cpFile).c_str(),
                                O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file && is_fault(errno)) {
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

void report_unreadable(const char *cpRoot, int iErrno) {
    std::fprintf(stderr, "ERROR: opendir( %s ) returned errno (%d): %s\n", cpRoot, iErrno,
                 error_text(iErrno).c_str());
}

void list_directory(sFormat *cpInfo) {
    entry_list list(cpInfo->szCurRoot);
    int iErrno = insert_mounts(&list, cpInfo->szCurRoot, gListingPlaces.cpMounts);
    if (iErrno != 0) {
        count_error(cpInfo, error_text(iErrno));
    }
    const unique_directory directory(::opendir(cpInfo->szCurRoot));
    if (directory) {
        insert_entries(&list, directory.get(), cpInfo);
    } else if (errno == ENOMEM) {
        count_error(cpInfo, error_text(ENOMEM));
    } else {
        report_unreadable(cpInfo->szCurRoot, errno);
    }
    iErrno = list.print();
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
