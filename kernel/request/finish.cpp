// Result reporting, see finish.h. What is delivered here never changes the exit status: the
// server may lose a variable or the stream, but it always gets the status.
#include "kernel/request/finish.h"

#include "common/common/strlib.h"
#include "common/common/text.h"
#include "common/unix/configuration/glbv.h"
#include "common/unix/files/append.h"
#include "common/unix/processes/process.h"
#include "common/unix/trace/trace.h"
#include "kernel/request/options.h"

#include <cstdlib>
#include <string>
#include <unistd.h>

namespace {

constexpr int kResultSize = 2048;
constexpr int kPauseMsec = 10; // lets the caller read the record before the process is gone

const char *status_word(int iSts) {
    switch (iSts) {
    case 0:
        return "SUCCESS";
    case 1:
        return "WARNING";
    case 2:
        return "ERROR";
    default:
        trace_log(&strLog, TRACE_EVENTS, "unexpected exit code %d", iSts);
        return "ERROR";
    }
}

// The store may write its reply over a value, so it is handed copies.
void store_result_variable(const char *cpName, const char *cpValue) {
    char szValue[kResultSize];
    text_copy(szValue, cpValue);
    str_chain(tmp_sc, 1, cpName, gszId, "");
    glbv('w', tmp_sc, szValue);
}

// Reading a file and testing for one answer by content and exit status alone.
bool prints_record() {
    return gcFunc != 'u' || (gszOpt_m[0] != 'r' && gszOpt_m[0] != 'e');
}

void print_record(const char *cpStatus, const char *cpMsg) {
    const std::string record =
        std::string("ID=") + gszId + "\nSTATUS=" + cpStatus + " MSG=" + cpMsg + '\n';
    write_all(STDERR_FILENO, record);
    wait_msec(kPauseMsec);
}

} // namespace

void FINISH(int iSts, const char *cpMsg) {
    char szMsg[kResultSize];
    text_copy(szMsg, cpMsg);
    const char *cpStatus = status_word(iSts);
    trace_log(&strLog, TRACE_EVENTS, "+++ FINISH Sts= %s, Msg= %s", cpStatus, szMsg);
    if (gcFunc != FUNCTION_UNKNOWN && !gFlag.Remote) {
        trace_log(&strLog, TRACE_EVENTS, "write GLBV gv_client_sts_ %s", gszId);
        store_result_variable("gv_client_sts_", intoas(iSts));
        store_result_variable("gv_client_msg_", szMsg);
    }
    if (prints_record()) {
        print_record(cpStatus, szMsg);
    }
    trace_log(&strLog, TRACE_EVENTS, "--- FINISH ");
    std::exit(iSts);
}
