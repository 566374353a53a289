// Commands in the background (i_ASYNC_RCMD of async.h).
#include "kernel/remote/async.h"

#include "common/common/text.h"
#include "common/unix/processes/child.h"
#include "common/unix/processes/process.h"
#include "common/unix/trace/trace.h"
#include "kernel/remote/call/rcmd.h"
#include "kernel/remote/dispatcher.h"

#include <cerrno>
#include <cstdio>
#include <sys/wait.h>
#include <unistd.h>

s_ASYNC_POLICY gAsyncPolicy = {100};

namespace {

constexpr int kLooksPerSecond = 10;

[[noreturn]] void run_in_child(RCMD *psctRcmd, str_log strLog) {
    trace_log(&strLog, TRACE_DETAILS, "(child): will call i_RCMD( %s, %s, strLog )",
              psctRcmd->szClient, psctRcmd->szCmd);
    psctRcmd->iASyncFlg = 0;
    const int iExit = i_RCMD(psctRcmd, strLog);
    std::fflush(nullptr);
    ::_exit(iExit & 0xff);
}

int report_no_process(RCMD *psctRcmd, str_log *strLog) {
    const int iErrno = errno;
    text_print(psctRcmd->szMsg, "ASYNC_RCMD: Unable to fork child process: %s (errno=%d)",
               error_text(iErrno).c_str(), iErrno);
    trace_log(strLog, TRACE_EVENTS, "%s", psctRcmd->szMsg);
    return -1;
}

// Tells how a watched child has ended.
void report_child(int iStatus, str_log *strLog) {
    const int iSignal = ending_signal(iStatus);
    if (iSignal == 0) {
        trace_log(strLog, TRACE_DETAILS, "child process returned status %d", exit_code(iStatus));
        return;
    }
    trace_log(strLog, TRACE_EVENTS, "child process terminated abnormally (%d)", iStatus);
    trace_log(strLog, TRACE_EVENTS,
              "child process terminated due to the receipt of a signal that was not caught: %d",
              iSignal);
}

// Waits for the child, tells every second that it is still at work and in the end what became of
// it.
void watch(pid_t child, str_log *strLog) {
    int iStatus = 0;
    pid_t got = 0;
    int iLooks = 0;
    while ((got = ::waitpid(child, &iStatus, WNOHANG)) == 0 || (got < 0 && errno == EINTR)) {
        wait_msec(gAsyncPolicy.iLookMsec);
        if (++iLooks % kLooksPerSecond == 0) {
            trace_log(strLog, TRACE_DETAILS, "job %d is still executing after %ds",
                      static_cast<int>(child), iLooks / kLooksPerSecond);
        }
    }
    trace_log(strLog, TRACE_DETAILS, "job %d finished after %ds", static_cast<int>(child),
              iLooks / kLooksPerSecond);
    report_child(iStatus, strLog);
}

void trace_child(pid_t child, str_log *strLog) {
    trace_log(strLog, TRACE_EVENTS, "PID of child: %d", static_cast<int>(child));
}

// Starts the command as nobody's child: it outlives this process, and leaves no zombie behind.
int start_detached(RCMD *psctRcmd, str_log strLog) {
    const pid_t middle = ::fork();
    if (middle < 0) {
        return report_no_process(psctRcmd, &strLog);
    }
    if (middle == 0) {
        const pid_t child = ::fork();
        if (child == 0) {
            run_in_child(psctRcmd, strLog);
        }
        trace_child(child, &strLog);
        ::_exit(child < 0 ? 1 : 0);
    }
    int iStatus = 0;
    if (!wait_for_child(middle, &iStatus) || !ended_well(iStatus)) {
        errno = EAGAIN;
        return report_no_process(psctRcmd, &strLog);
    }
    return 0;
}

} // namespace

int i_ASYNC_RCMD(RCMD *psctRcmd, str_log strLog) {
    std::fflush(nullptr); // what is buffered must not be written twice
    int iResult = 0;
    if (strLog.iFlg < 2) {
        iResult = start_detached(psctRcmd, strLog);
    } else {
        const pid_t child = ::fork();
        if (child == 0) {
            run_in_child(psctRcmd, strLog);
        }
        if (child < 0) {
            iResult = report_no_process(psctRcmd, &strLog);
        } else {
            trace_child(child, &strLog);
            watch(child, &strLog);
        }
    }
    trace_log(&strLog, TRACE_EVENTS, "+++ ASYNC_RCMD: returns %d, szMsg '%s'", iResult,
              psctRcmd->szMsg);
    return iResult;
}
