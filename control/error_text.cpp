// The text of a call's first failure, see error_text.h.
#include "control/error_text.h"

#include "common/common/text.h"
#include "common/unix/processes/socket.h"
#include "common/unix/trace/system_error.h"

#include <cstring>

char g_szErrorMsg[260];
int g_iErrorSet = 0;

void vn_processerror(const char *cpErrorMsg) {
    if (g_iErrorSet != 0) {
        return;
    }
    text_copy(g_szErrorMsg, cpErrorMsg);
    g_iErrorSet = 1;
    std::size_t length = std::strlen(g_szErrorMsg);
    while (length > 0 && std::strchr(" \n\r", g_szErrorMsg[length - 1]) != nullptr) {
        g_szErrorMsg[--length] = '\0';
    }
}

char *vn_ctrl_geterror() {
    g_iErrorSet = 0;
    return g_szErrorMsg;
}

int vn_ctrl_cleanup(int iExit) {
    return iExit;
}

int socket_failure(const char *cpText) {
    vn_processerror(syserrtxt(SYSERR_SOCKET, vn_sockerror(), "%s", cpText));
    return vn_ctrl_cleanup(VN_CTRL_FAILED);
}
