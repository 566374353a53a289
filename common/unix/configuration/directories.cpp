// Directories of the installation, see directories.h.
#include "common/unix/configuration/directories.h"

#include "common/common/strlib.h"
#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/configuration/glbv.h"
#include "common/unix/configuration/ini.h"

namespace {

// The variable's value, else that of the key of its name.
std::string directory_of(const char *cpName) {
    char szName[64];
    text_copy(szName, cpName);
    char szDirectory[GLBV_VALUE_SIZE];
    if (glbv('r', szName, szDirectory)[0] == '?') {
        char szMsg[kMessageSize];
        i_READ_INI("VN_INI", "[Pathes]", szName, szDirectory, sizeof szDirectory, szMsg,
                   sizeof szMsg);
    }
    return szDirectory;
}

} // namespace

std::string work_directory() {
    return directory_of("gv_rw_work");
}

std::string database_directory() {
    return directory_of("gv_ro_db");
}

bool is_relative_path(std::string_view path) {
    const char first = path.empty() ? '\0' : path[0];
    const char second = path.size() < 2 ? '\0' : path[1];
    return first != '/' && second != ':' && second != '\\';
}

std::string disk_mount_point(const std::string &path) {
    char szMount[256];
    const std::string work = work_directory();
    if (work.empty() || !text_print(szMount, "%s/diskmnt/%s", work.c_str(), path.c_str())) {
        return "";
    }
    squeeze(szMount + 1, '/');
    return szMount;
}
