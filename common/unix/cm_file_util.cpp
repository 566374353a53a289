// File helpers, see cm_file_util.h.
#include "common/unix/cm_file_util.h"

#include "common/common/owner.h"
#include "common/common/text.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>

namespace {

// The server's own tools report their failures themselves.
void run_server_tool(const char *cpCommand) {
    [[maybe_unused]] const int iStatus = std::system(cpCommand);
}

} // namespace

int file_exist(const char *source) {
    if (source[0] == '\0') {
        return 0;
    }
    // O_NONBLOCK: a pipe without a writer exists, too.
    unique_fd file(::open(source, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file) {
        return 0;
    }
    if (file.reset() != 0) {
        i_FILE_CLOSE(errno);
    }
    return 1;
}

int i_FILE_CLOSE(int iErrno) {
    const int iCurrent = errno;
    char szError[128];
    text_copy(szError, error_text(iErrno));
    std::fprintf(stderr, "\nFILE_CLOSE error: %s\n", szError);
    if (iCurrent != EDEADLK && iCurrent != ENFILE && iCurrent != ENOSPC) {
        return 0;
    }
    char szCommand[512];
    text_print(szCommand, "vn_alarm FILE_SYSTEM \"%s\"", szError);
    run_server_tool(szCommand);
    text_copy(szCommand, "vn_os_startup STOP");
    run_server_tool(szCommand);
    std::fprintf(stderr, "\n\nSHUTDOWN vorna2000 - problems with file system (%s) \n\n", szError);
    return 0;
}
