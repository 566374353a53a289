// A failing file system, see alarm.h.
#include "common/unix/host/alarm.h"

#include "common/common/shell_quote.h"
#include "common/common/text.h"
#include "common/unix/configuration/environment.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace {

// The server's own tools report their failures themselves.
void run_server_tool(const char *cpCommand) {
    [[maybe_unused]] const int iStatus = std::system(cpCommand);
}

} // namespace

int i_FILE_CLOSE(int iErrno) {
    const int iCurrent = errno;
    char szError[128];
    text_copy(szError, error_text(iErrno));
    std::fprintf(stderr, "\nFILE_CLOSE error: %s\n", szError);
    if (iCurrent != EDEADLK && iCurrent != ENFILE && iCurrent != ENOSPC) {
        return 0;
    }
    i_setenv_vorna("vn_alarm");
    char szCommand[512];
    text_print(szCommand, "vn_alarm FILE_SYSTEM \"%s\"",
               shell_quoted(szError, QUOTES_DOUBLE).c_str());
    run_server_tool(szCommand);
    text_copy(szCommand, "vn_os_startup STOP");
    run_server_tool(szCommand);
    std::fprintf(stderr, "\n\nSHUTDOWN vorna2000 - problems with file system (%s) \n\n", szError);
    return 0;
}
