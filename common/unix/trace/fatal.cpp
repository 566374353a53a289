// The text for a fault of the software, see fatal.h.
#include "common/unix/trace/fatal.h"

#include "common/common/cm_message.h"
#include "common/common/text.h"

std::string fatal_text(const char *cpFile, int iLine, const std::string &detail) {
    char szText[256];
    text_print(szText,
               by_language("Fatal software error FILE=%s LINE=%d (%s)",
                           "Fataler Software Fehler FILE=%s ZEILE=%d (%s)",
                           "Do hod's wos in da Software zrissn DATEI=%s ZEIN=%d (%s)"),
               cpFile, iLine, detail.c_str());
    return szText;
}
