// System errors as text, see system_error.h.
#include "common/unix/trace/system_error.h"

#include "common/common/text.h"

#include <cstdarg>
#include <netdb.h>
#include <string>

char *syserrtxt(int iClass, int iError, const char *cpFormat, ...) {
    static char szText[1024];
    va_list arguments;
    va_start(arguments, cpFormat);
    text_vprint(szText, sizeof szText, cpFormat, arguments);
    va_end(arguments);
    if (iError == 0) {
        return szText;
    }
    const bool bResolver = iClass == SYSERR_RESOLVER;
    const std::string error = bResolver ? ::hstrerror(iError) : error_text(iError);
    const char *cpClass = bResolver                 ? "resolver error"
                          : iClass == SYSERR_SOCKET ? "socket error"
                                                    : "system error";
    text_append(szText,
                std::string(" (") + cpClass + ' ' + std::to_string(iError) + ": " + error + ')');
    return szText;
}
