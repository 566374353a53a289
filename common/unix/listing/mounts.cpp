// Mounts in a listing, see mounts.h.
#include "common/unix/listing/mounts.h"

#include "common/common/owner.h"
#include "common/common/text.h"
#include "common/unix/files/regular_file.h"
#include "common/unix/listing/directory_entries.h"
#include "common/unix/system/mount_list.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <sys/stat.h>
#include <vector>

namespace {

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

// Inserts the mount of one line of the table if it lies directly in the directory. False without
// memory.
bool insert_mount(entry_list *list, const std::string &root, std::string_view line) {
    // Device, mount point, type, options.
    std::vector<std::string_view> fields = text_fields(line, ' ');
    fields.resize(4);
    const std::string point = mount_point(fields[1]);
    const std::size_t iSlash = point.rfind('/');
    if (iSlash == std::string::npos) {
        return true; // lies in no directory
    }
    const std::string parent = point.substr(0, iSlash);
    struct stat status = {};
    if ((parent != root && parent + '/' != root) || ::lstat(point.c_str(), &status) != 0) {
        return true;
    }
    std::string info(fields[0]);
    info.append(",").append(fields[2]).append(",").append(fields[3]);
    if (!list->insert(std::string_view(point).substr(iSlash + 1), info)) {
        return false;
    }
    list->set_status(list->count() - 1, 'd', 'm', status);
    return true;
}

// The same for a line of any mount: only those of other machines are told.
bool insert_if_remote(entry_list *list, const std::string &root, const char *cpLine) {
    const bool bRemote =
        std::strstr(cpLine, "nfs") != nullptr || std::strstr(cpLine, "smbfs") != nullptr;
    return !bRemote || insert_mount(list, root, cpLine);
}

// Those that the system tells without a table. Returns as insert_mounts.
int insert_told_mounts(entry_list *list, const std::string &root) {
    std::vector<std::string> lines;
    const int iErrno = list_mounts(&lines);
    const bool bWhole = std::all_of(lines.begin(), lines.end(), [&](const std::string &line) {
        return insert_if_remote(list, root, line.c_str());
    });
    return bWhole ? iErrno : ENOMEM;
}

} // namespace

int insert_mounts(entry_list *list, const std::string &root, const char *cpTable) {
    if (cpTable == nullptr) {
        return insert_told_mounts(list, root);
    }
    const unique_file table = open_regular_stream(cpTable);
    if (!table) {
        return is_fault(errno) ? errno : 0;
    }
    char szLine[2048];
    while (read_stream_line(table.get(), szLine, sizeof szLine)) {
        if (!insert_if_remote(list, root, szLine)) {
            return ENOMEM;
        }
    }
    return std::ferror(table.get()) != 0 ? errno : 0;
}
