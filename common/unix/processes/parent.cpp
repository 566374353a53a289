// The parent process as ps shows it, see parent.h.
#include "common/unix/processes/parent.h"

#include "common/common/cm_message.h"
#include "common/common/text.h"
#include "common/unix/processes/run.h"
#include "common/unix/system/process_list.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string>
#include <string_view>
#include <unistd.h>

namespace {

constexpr std::size_t kPidColumn = 6; // the width that ps gives the process id, blank included

// What a line of the process list says behind its first field, when that is the id.
bool find_command(std::string_view line, const std::string &id, std::string_view *command) {
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    if (text_take_field(&line, ' ') != id) {
        return false;
    }
    *command = line;
    return true;
}

// The command line of the process in a list that also holds lines in which its id only occurs;
// without a line of its own what stands behind the columns of the first.
std::string command_of(std::FILE *list, const std::string &id) {
    char szLine[512] = "";
    std::string first;
    bool bFirst = true;
    bool bStart = true; // a longer line comes in pieces, only the first is one
    while (std::fgets(szLine, sizeof szLine, list) != nullptr) {
        std::string_view line = szLine;
        const bool bWhole = line.ends_with('\n');
        line.remove_suffix(line.empty() ? 0 : 1); // the line feed
        std::string_view command;
        if (bStart && find_command(line, id, &command)) {
            return std::string(command);
        }
        if (bFirst) {
            first = line.substr(std::min(line.size(), kPidColumn));
        }
        bFirst = false;
        bStart = bWhole;
    }
    return first;
}

} // namespace

int get_parent_info(char *cpInfo, int iLen) {
    text_copy(cpInfo, iLen, "");
    const int iParent = static_cast<int>(getppid());
    char szCommand[256];
    text_print(szCommand, "%s | tr -s ' ' | grep -v grep | grep -w %d",
               kProcessLists[kThisSystem].cpCommands, iParent);
    std::FILE *pipe = ::popen(szCommand, "re");
    if (pipe == nullptr) {
        const std::string error = error_text(errno);
        std::fprintf(stderr, "popen failed for %s\n", szCommand);
        v_PROT_COMMAND_ERROR(szCommand, error.c_str());
        return 0;
    }
    const std::string command = command_of(pipe, std::to_string(iParent));
    ::pclose(pipe);
    text_print(cpInfo, iLen, "%s (PPID=%d)", command.c_str(), iParent);
    return 1;
}
