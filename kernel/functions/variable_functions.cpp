// The functions on the variable store, see variable_functions.h.
#include "kernel/functions/variable_functions.h"

#include "common/common/text.h"
#include "common/unix/configuration/glbv.h"
#include "common/unix/trace/trace.h"
#include "kernel/request/call.h"
#include "kernel/request/finish.h"
#include "kernel/request/options.h"

void v_READ_GLBV(s_CALL *) {
    char szValue[GLBV_VALUE_SIZE];
    trace_log(&strLog, TRACE_EVENTS, "read GLBV  %s ", gszOpt_n);
    FINISH(0, glbv('r', gszOpt_n, szValue));
}

void v_READ_AND_DELETE_GLBV(s_CALL *) {
    char szValue[GLBV_VALUE_SIZE];
    trace_log(&strLog, TRACE_EVENTS, "read & delete GLBV  %s ", gszOpt_n);
    FINISH(0, glbv('R', gszOpt_n, szValue));
}

void v_WRITE_GLBV(s_CALL *) {
    trace_log(&strLog, TRACE_EVENTS, "write GLBV %s = %s ", gszOpt_n, gszOpt_s);
    FINISH(0, glbv('w', gszOpt_n, gszOpt_s));
}
