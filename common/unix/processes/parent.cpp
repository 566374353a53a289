// The parent process as ps shows it, see parent.h.
#include "common/unix/processes/parent.h"

#include "common/common/cm_message.h"
#include "common/common/text.h"
#include "common/unix/processes/run.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string>
#include <string_view>
#include <unistd.h>

namespace {

constexpr std::size_t kPidColumn = 6; // the width that ps gives the process id, blank included

} // namespace

int get_parent_info(char *cpInfo, int iLen) {
    text_copy(cpInfo, iLen, "");
    const int iParent = static_cast<int>(getppid());
    char szCommand[256];
    text_print(szCommand, "%s | tr -s ' ' | grep -v grep | grep -w %d", "ps axwwo pid,command",
               iParent);
    std::FILE *pipe = ::popen(szCommand, "re");
    if (pipe == nullptr) {
        const std::string error = error_text(errno);
        std::fprintf(stderr, "popen failed for %s\n", szCommand);
        v_PROT_COMMAND_ERROR(szCommand, error.c_str());
        return 0;
    }
    char szLine[512] = "";
    if (std::fgets(szLine, sizeof szLine, pipe) == nullptr) {
        szLine[0] = '\0';
    }
    ::pclose(pipe);
    std::string_view line = szLine;
    line.remove_suffix(line.empty() ? 0 : 1); // the line feed
    line.remove_prefix(std::min(line.size(), kPidColumn));
    text_print(cpInfo, iLen, "%.*s (PPID=%d)", static_cast<int>(line.size()), line.data(), iParent);
    return 1;
}
