// Functions that need no more than one service, see vn_small_functions.h.
#include "kernel/vn_small_functions.h"

#include "common/common/text.h"
#include "common/unix/cm_file_util.h"
#include "kernel/unix_hal/vn_event_log.h"
#include "kernel/vn_finish.h"
#include "kernel/vn_options.h"

void v_EXIST_FILE(s_CALL *) {
    char szMsg[256];
    trace_log(&strLog, 1, "check existence of file %s ", gszOpt_n);
    const bool bExists = !bIS_CUT(gszOpt_n) && file_exist(gszOpt_n) == 1;
    text_print(szMsg, "%s %s", gszOpt_n, bExists ? "exists" : "doesn't exist");
    FINISH(bExists ? 0 : 1, szMsg);
}

void v_READ_EVENT_LOG(s_CALL *call) {
    trace_log(&strLog, 1, "read event log");
    event_log_lib_interface(call->argc, call->argv);
    FINISH(0, "");
}
