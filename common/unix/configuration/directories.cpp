// Directories of the installation, see directories.h.
#include "common/unix/configuration/directories.h"

#include "common/common/types.h"
#include "common/unix/configuration/glbv.h"
#include "common/unix/configuration/ini.h"

std::string work_directory() {
    char szName[] = "gv_rw_work";
    char szWork[GLBV_VALUE_SIZE];
    if (glbv('r', szName, szWork)[0] == '?') {
        char szMsg[kMessageSize];
        i_READ_INI("VN_INI", "[Pathes]", szName, szWork, sizeof szWork, szMsg, sizeof szMsg);
    }
    return szWork;
}
