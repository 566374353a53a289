// What a function requires of its options, see requirements.h.
#include "kernel/request/requirements.h"

#include "common/common/text.h"
#include "common/unix/configuration/reference.h"
#include "kernel/request/finish.h"
#include "kernel/request/options.h"

#include <string>

void REQUIRE_OPTION(const s_REQUIRED &required) {
    if (required.cpOption != nullptr && required.cpOption[0] == '\0') {
        FINISH(required.iStatus, required.cpMissing);
    }
}

void REQUIRE_WHOLE(const char *cpOptions) {
    const char cCut = option_first_cut(cpOptions);
    if (cCut == OPTION_WORDS) {
        FINISH(2, "arguments are too long");
    }
    if (cCut != '\0') {
        char szMsg[32];
        text_print(szMsg, "option -%c is too long", cCut);
        FINISH(2, szMsg);
    }
}

void REQUIRE_WORK_DIRECTORY(const char *cpName) {
    if (giWorkErrno == 0) {
        return;
    }
    char szPath[1024];
    resolve_name(cpName, szPath, sizeof szPath);
    if (szPath[0] != '/') {
        FINISH(2, ("cannot change to " + std::string(gszRwWork) + ": " + error_text(giWorkErrno))
                      .c_str());
    }
}
