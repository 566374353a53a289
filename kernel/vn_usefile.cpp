// The file operations of function u, see vn_usefile.h: a row for each mode letter.
#include "kernel/vn_usefile.h"

#include "common/common/text.h"
#include "common/unix/cm_kernel.h"
#include "kernel/vn_finish.h"
#include "kernel/vn_options.h"

namespace {

constexpr int kMessageSize = 256;
constexpr int kDataSize = 65536;
constexpr int kFailed = 2;

// An operation fills the message (kMessageSize bytes) and returns the exit status.
struct s_MODE {
    char cLetter;
    int (*operation)(char *szMsg);
};

int read_ini_value(char *szMsg) {
    static char szValue[kDataSize];
    trace_log(&strLog, 1, "read ini value from file: %s section: %s key: %s", gszOpt_n, gszOpt_s,
              gszOpt_t);
    const bool bFound =
        i_READ_INI(gszOpt_n, gszOpt_s, gszOpt_t, szValue, sizeof szValue, szMsg, kMessageSize) == 1;
    if (bFound) {
        text_copy(szMsg, kMessageSize, szValue);
    }
    trace_log(&strLog, 1, "read ini: %s", szMsg);
    return bFound ? 0 : kFailed;
}

int change_ini_value(char *) {
    trace_log(&strLog, 1, "change ini value from file: %s section: %s key: %s", gszOpt_n, gszOpt_s,
              gszOpt_t);
    const bool bChanged = i_change_ini(gszOpt_n, gszOpt_s, gszOpt_t, gszOpt_d) == 1;
    trace_log(&strLog, 1, "change ini: %s", gszOpt_d);
    return bChanged ? 0 : kFailed;
}

constexpr s_MODE kModes[] = {
    {'i', read_ini_value},
    {'C', change_ini_value},
};

} // namespace

void USEFILE() {
    char szMsg[kMessageSize] = "";
    trace_log(&strLog, 1, "+++ USEFILE File: %s mode: %s", gszOpt_n, gszOpt_m);
    if (gszOpt_n[0] == '\0') {
        FINISH(1, "missing filename via -n");
    }
    resolve_path(gszOpt_n, sizeof gszOpt_n);
    if (gszOpt_m[0] == '\0') {
        text_copy(gszOpt_m, "e");
    }
    for (const s_MODE &mode : kModes) {
        if (mode.cLetter == gszOpt_m[0]) {
            const int iExitSts = mode.operation(szMsg);
            trace_log(&strLog, 1, "--- USEFILE File: %s mode: %s", gszOpt_n, gszOpt_m);
            FINISH(iExitSts, szMsg);
        }
    }
    FINISH(1, "wrong option in command line");
}
