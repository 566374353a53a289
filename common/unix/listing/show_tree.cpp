// Listing one directory (vShowTree of show_tree.h): what is listed by a program, the
// applications found on the machine, mounts, and the directory's entries.
#include "common/unix/listing/show_tree.h"

#include "common/common/owner.h"
#include "common/common/shell_quote.h"
#include "common/common/text.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/listing/entry.h"
#include "common/unix/listing/listing.h"
#include "common/unix/processes/run.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

s_LISTING_PLACES gListingPlaces = {"", "/proc/mounts"};

namespace {

constexpr int kCommandSize = 2048;

// A name that a program lists: the command's text, and whether and how the name stands in it.
struct s_PSEUDO_ROOT {
    std::string_view prefix;
    const char *cpBefore;
    bool bNamed;
    e_QUOTES eQuotes;
    const char *cpAfter;
};

// In the order in which they are tried.
constexpr s_PSEUDO_ROOT kPseudoRoots[] = {
    {"mount", "mount", false, QUOTES_NONE, ""},
    {"/Scalix", "vbc_scx -D ", true, QUOTES_NONE, ""},
    {"/MySQL", "vbc_mysql -D ", true, QUOTES_NONE, ""},
    {"/PostgreSQL", "vbc_pgsql -D ", true, QUOTES_NONE, ""},
    {"/ESX Server", "vbc_esx -D \"", true, QUOTES_DOUBLE, "\""},
    {"/XEN Server", "vbc_xensrv -D \"", true, QUOTES_DOUBLE, "\""},
    {"/NetWare", "vbc_vndr -D -N :::::0", false, QUOTES_NONE, ""},
};

void run_lister(const s_PSEUDO_ROOT &root, const char *cpName) {
    char szCommand[kCommandSize];
    const std::string name = root.bNamed ? shell_quoted(cpName, root.eQuotes) : "";
    if (!text_print(szCommand, "%s%s%s", root.cpBefore, name.c_str(), root.cpAfter)) {
        std::fprintf(stderr, "%s: name too long\n", cpName);
        return;
    }
    i_cm_system(szCommand);
}

// One store of the Zarafa server, as its administration program tells it: name and full name
// between tab characters.
void print_zarafa(std::string_view line) {
    std::string_view fields[2];
    std::size_t iField = 0;
    while (!line.empty() && iField < 2) {
        const std::size_t iEnd = std::min(line.find('\t'), line.size());
        if (iEnd > 0) {
            fields[iField++] = line.substr(0, iEnd);
        }
        line.remove_prefix(std::min(iEnd + 1, line.size()));
    }
    std::fprintf(stderr,
                 "\"/Zarafa/%.*s\" fb 2000.01.01 00:00:00 2000.01.01 00:00:00 4096 -, %.*s\n",
                 static_cast<int>(fields[0].size()), fields[0].data(),
                 static_cast<int>(fields[1].size()), fields[1].data());
}

void list_zarafa() {
    constexpr char kCommand[] = "zarafa-admin -l";
    std::FILE *pipe = ::popen(kCommand, "re");
    if (pipe == nullptr) {
        std::fprintf(stderr, "Could not find %s.\n", kCommand);
        return;
    }
    print_zarafa("PUBLIC_FOLDER\tPublic Folders");
    char szLine[256];
    for (int i = 0; std::fgets(szLine, sizeof szLine, pipe) != nullptr; ++i) {
        if (i >= 3) { // a title, the columns' names, a rule
            print_zarafa(std::string_view(szLine).substr(0, std::strcspn(szLine, "\n")));
        }
    }
    ::pclose(pipe);
}

// True when the name is one that a program lists; it has been listed then.
bool list_pseudo_root(const char *cpName) {
    if (std::string_view(cpName).starts_with("/Zarafa")) {
        list_zarafa();
        return true;
    }
    for (const s_PSEUDO_ROOT &root : kPseudoRoots) {
        if (std::string_view(cpName).starts_with(root.prefix)) {
            run_lister(root, cpName);
            return true;
        }
    }
    return false;
}

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

void sort_in(std::string_view name, char cBaseType, char cType, const struct stat &status,
             std::string_view info) {
    listing_sort({cBaseType,
                  cType,
                  name,
                  info,
                  {},
                  {},
                  static_cast<long long>(status.st_ctime),
                  static_cast<long long>(status.st_mtime),
                  static_cast<double>(status.st_size)});
}

// A mount point as the table writes it: blanks and the like are octal escapes.
std::string mount_point(std::string_view field) {
    std::string text;
    for (std::size_t i = 0; i < field.size(); ++i) {
        unsigned iCode = 0;
        const char *code = field.data() + i + 1;
        if (field[i] == '\\' && i + 3 < field.size() &&
            std::from_chars(code, code + 3, iCode, 8).ptr == code + 3) {
            text += static_cast<char>(iCode);
            i += 3;
        } else {
            text += field[i];
        }
    }
    return text;
}

// Sorts in the mount of one line of the table if it lies directly in the directory.
void add_mount(const std::string &root, std::string_view line) {
    std::string fields[4]; // device, mount point, type, options
    for (std::string &field : fields) {
        const std::size_t iEnd = std::min(line.find(' '), line.size());
        field = line.substr(0, iEnd);
        line.remove_prefix(std::min(iEnd + 1, line.size()));
    }
    const std::string point = mount_point(fields[1]);
    const std::size_t iSlash = point.rfind('/');
    const std::string parent = point.substr(0, iSlash == std::string::npos ? 0 : iSlash);
    struct stat status = {};
    if ((parent == root || parent + '/' == root) && ::lstat(point.c_str(), &status) == 0) {
        sort_in(point, 'd', 'm', status, fields[0] + ',' + fields[2] + ',' + fields[3]);
    }
}

void add_mounts(const char *cpRoot) {
    const unique_file table(std::fopen(gListingPlaces.cpMounts, "re"));
    char szLine[2048];
    while (table && std::fgets(szLine, sizeof szLine, table.get()) != nullptr) {
        if (std::strstr(szLine, "nfs") != nullptr || std::strstr(szLine, "smbfs") != nullptr) {
            add_mount(cpRoot, std::string_view(szLine).substr(0, std::strcspn(szLine, "\n")));
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

// Sorts in one entry of the open directory; one that has no status, such as a dangling link, is no
// entry. Only a symbolic link must be asked for twice.
void add_entry(int iDirectory, const char *cpName, std::string_view full) {
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
        sort_in(full, 'd', cType, status, {});
    } else {
        sort_in(full, 'f', type_of(status.st_mode, cType), status, {});
    }
}

void add_entries(const std::string &root) {
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
            add_entry(::dirfd(directory.get()), cpName, full);
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
    vStart();
    add_mounts(root.c_str());
    add_entries(root);
    vOutput();
    vDelete();
}

void vShowTreeAll(sFormat *cpInfo) {
    vShowTree(cpInfo);
}
