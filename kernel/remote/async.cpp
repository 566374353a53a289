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

namespace {

constexpr int kWatchMsec = 100;
constexpr int kWatchesPerSecond = 1000 / kWatchMsec;

[[noreturn]] void run_in_child(RCMD *psctRcmd, str_log strLog) {
    trace_log(&strLog, TRACE_DETAILS, "(child): will call i_RCMD( %s, %s, strLog )",
              psctRcmd->szClient, psctRcmd->szCmd);
    psctRcmd->iASyncFlg = 0;
    const int iExit = i_RCMD(psctRcmd, strLog);
    std::fflush(nullptr);
    ::_exit(iExit & 0xff);
}

int no_process(RCMD *psctRcmd, str_log *strLog) {
    const int iErrno = errno;
    text_print(psctRcmd->szMsg, "ASYNC_RCMD: Unable to fork child process: %s (errno=%d)",
               error_text(iErrno).c_str(), iErrno);
    trace_log(strLog, TRACE_EVENTS, "%s", psctRcmd->szMsg);
    return -1;
}

// Tells how a watched child has ended. Returns its exit state, -1 for one that was killed.
int report_child(int iStatus, str_log *strLog) {
    if (WIFEXITED(iStatus)) {
        trace_log(strLog, TRACE_DETAILS, "child process returned status %d", WEXITSTATUS(iStatus));
        return WEXITSTATUS(iStatus);
    }
    trace_log(strLog, TRACE_EVENTS, "child process terminated abnormally (%d)", iStatus);
    if (WIFSIGNALED(iStatus)) {
        trace_log(strLog, TRACE_EVENTS,
                  "child process terminated due to the receipt of a signal that was not caught: %d",
                  WTERMSIG(iStatus));
    }
    return -1;
}

// Waits for the child and tells every second that it is still at work.
int watch(pid_t child, str_log *strLog) {
    int iStatus = 0;
    pid_t got = 0;
    int iWatches = 0;
    while ((got = ::waitpid(child, &iStatus, WNOHANG)) == 0 || (got < 0 && errno == EINTR)) {
        wait_msec(kWatchMsec);
        if (++iWatches % kWatchesPerSecond == 0) {
            trace_log(strLog, TRACE_DETAILS, "job %d is still executing after %ds",
                      static_cast<int>(child), iWatches / kWatchesPerSecond);
        }
    }
    trace_log(strLog, TRACE_DETAILS, "job %d finished after %ds", static_cast<int>(child),
              iWatches / kWatchesPerSecond);
    return report_child(iStatus, strLog);
}

// Starts the command as nobody's child: it outlives this process, and leaves no zombie behind.
int start_detached(RCMD *psctRcmd, str_log strLog) {
    const pid_t middle = ::fork();
    if (middle < 0) {
        return no_process(psctRcmd, &strLog);
    }
    if (middle == 0) {
        const pid_t child = ::fork();
        if (child == 0) {
            run_in_child(psctRcmd, strLog);
        }
        ::_exit(child < 0 ? 1 : 0);
    }
    int iStatus = 0;
    if (!wait_for_child(middle, &iStatus) || !ended_well(iStatus)) {
        errno = EAGAIN;
        return no_process(psctRcmd, &strLog);
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
        trace_log(&strLog, TRACE_DETAILS, "PID of child: %d", static_cast<int>(child));
        iResult = child < 0 ? no_process(psctRcmd, &strLog) : watch(child, &strLog);
    }
    trace_log(&strLog, TRACE_EVENTS, "+++ ASYNC_RCMD: returns %d, szMsg '%s'", iResult,
              psctRcmd->szMsg);
    return iResult;
}
