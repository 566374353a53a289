// References in names, see reference.h.
#include "common/unix/configuration/reference.h"

#include "common/common/cm_message.h"
#include "common/common/owner.h"
#include "common/common/strlib.h"
#include "common/common/text.h"
#include "common/unix/configuration/glbv.h"
#include "common/unix/configuration/ini.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr std::size_t kVariableLength = 250; // a longer name is no variable's, but a long path

} // namespace

int resolve_glbv(char *cpName, int size) {
    const auto iSize = static_cast<std::size_t>(size > 1 ? size : 1);
    const unique_memory<char> work(static_cast<char *>(std::malloc(iSize)));
    if (!work) {
        trace_at(TRACE_DETAILS, "resolve_glbv: malloc(%lu) failed with: (%d) %s",
                 static_cast<unsigned long>(iSize), errno, std::strerror(errno));
        return 0;
    }
    std::string name = cpName;
    const char *cpRest = std::strchr(cpName, ':');
    if (cpRest != nullptr) {
        char szName[768];
        str_elem(0, ':', cpName, szName);
        name = szName;
    }
    if (name.size() > kVariableLength) {
        return 0;
    }
    char szValue[GLBV_VALUE_SIZE];
    glbv('r', name.data(), szValue);
    if (szValue[0] == '?') {
        return 0;
    }
    text_print(work.get(), size, "%s%s", szValue, cpRest == nullptr ? "" : cpRest + 1);
    text_copy(cpName, size, work.get());
    return 1;
}

int resolve_path(char *cpPath, int size) {
    char szKey[1024];
    char szRest[512] = "";
    text_copy(szKey, cpPath);
    if (char *cpColon = std::strchr(szKey, ':')) {
        *cpColon = '\0';
        text_copy(szRest, cpColon + 1);
    }
    char szValue[1024];
    char szMsg[256];
    if (i_READ_INI("VN_INI", "[Pathes]", szKey, szValue, sizeof szValue, szMsg, sizeof szMsg) ==
        1) {
        text_print(cpPath, size, "%s%s", szValue, szRest);
    }
    return 1;
}

int resolve_reference(char *cpName, int size) {
    return resolve_glbv(cpName, size) == 1 ? 1 : resolve_path(cpName, size);
}

bool resolve_name(const char *cpName, char *szName, int iSize) {
    char szWhole[4096]; // more than a system takes as a name
    const bool bFits = text_copy(szWhole, cpName);
    resolve_reference(szWhole, sizeof szWhole);
    return text_copy(szName, iSize, szWhole) && bFits;
}
