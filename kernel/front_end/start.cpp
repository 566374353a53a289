// What the process needs before it carries out a request, see start.h.
#include "kernel/front_end/start.h"

#include "common/unix/host/prepare.h"
#include "common/unix/trace/trace.h"
#include "kernel/request/finish.h"
#include "kernel/request/options.h"

#include <cerrno>
#include <unistd.h>

void PREPARE_PROCESS() {
    prepare_process();
    FINISH_WITHOUT_MEMORY();
}

void ENTER_WORK_DIRECTORY() {
    trace_log(&strLog, TRACE_EVENTS, "chdir to %s ", gszRwWork);
    giWorkErrno = ::chdir(gszRwWork) == 0 ? 0 : errno;
}
