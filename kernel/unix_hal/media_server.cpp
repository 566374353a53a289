// Control of the media server, see media_server.h.
#include "kernel/unix_hal/media_server.h"

#include "common/common/shell_quote.h"
#include "common/common/text.h"
#include "common/unix/configuration/glbv.h"
#include "common/unix/configuration/reference.h"
#include "common/unix/processes/process.h"
#include "common/unix/processes/run.h"
#include "common/unix/system/process_list.h"
#include "common/unix/trace/trace.h"

#include <string>

s_VNS_POLICY gVnsPolicy = {5000};

namespace {

constexpr int kCommandSize = 1072;
constexpr char kFailed[] = "restart of data-server failed - VNS not available";

bool is_running() {
    char szCmd[kCommandSize];
    text_print(szCmd, "%s | grep vn_data_server | grep -v grep >/dev/null 2>&1",
               kProcessLists[kThisSystem].cpAll);
    return i_cm_system_state(szCmd) == 0;
}

// Runs the reload command of the program directory and gives the media server time to come up.
// False when there is nothing to wait for: its exit status does not count, but it has to come to
// an end by itself.
bool reload(const char *cpDirectory, bool bTraced, str_log *strLog) {
    constexpr int kMostCode = 128; // of a program; above it a shell tells of a signal
    char szCmd[kCommandSize];
    if (!text_print(szCmd, "%svn_main reload vns",
                    shell_quoted(cpDirectory, QUOTES_NONE).c_str())) {
        return false;
    }
    if (bTraced) {
        trace_log(strLog, TRACE_EVENTS, "execute cmd: %s", szCmd);
    }
    // The data server runs on: it must not hold the streams whose end our caller waits for.
    const std::string command = std::string(szCmd) + " </dev/null >/dev/null 2>&1";
    const int iState = i_cm_system_state(command.c_str());
    if (iState < 0 || iState > kMostCode) {
        trace_log(strLog, TRACE_EVENTS, "%s: exit state %d", szCmd, iState);
        return false;
    }
    if (bTraced) {
        trace_log(strLog, TRACE_EVENTS, "wait 5 seconds till dataserver are up");
    }
    wait_msec(gVnsPolicy.iReloadMsec);
    return true;
}

// What became of a reload.
int check_reload(bool bReloaded, str_log *strLog) {
    if (bReloaded && i_CHECK_VNS(0, *strLog) == 1) {
        trace_log(strLog, TRACE_EVENTS, "--- CHECK_VNS: return: 1, restart ok");
        return 1;
    }
    // In the background, and without our streams: the caller waits for these to close.
    start_proc("vn_alarm CHECK_VNS \"restart of data-server failed - VNS not available\" "
               "</dev/null >/dev/null 2>&1 &");
    trace_log(strLog, TRACE_ALWAYS, "??? CHECK_VNS %s", kFailed);
    trace_log(strLog, TRACE_EVENTS, "--- CHECK_VNS: return: 0, restart failed");
    return 0;
}

} // namespace

int i_CHECK_VNS(int iRestartFlg, str_log strLog) {
    trace_log(&strLog, TRACE_EVENTS, "+++ CHECK_VNS: restart_flag: %d", iRestartFlg);
    if (iRestartFlg == 2) {
        char szRo[512] = "gv_ro_bin:";
        resolve_path(szRo, sizeof szRo);
        return check_reload(reload(szRo, true, &strLog), &strLog);
    }
    if (is_running()) {
        trace_log(&strLog, TRACE_EVENTS,
                  "--- CHECK_VNS: return: 1; vn_data_server found in process table");
        return 1;
    }
    if (iRestartFlg == 1) {
        char szName[] = "gv_ro_bin";
        char szRo[GLBV_VALUE_SIZE];
        return check_reload(reload(glbv('r', szName, szRo), false, &strLog), &strLog);
    }
    trace_log(&strLog, TRACE_EVENTS, "--- CHECK_VNS: return: 0; no vn_data_server found");
    return 0;
}
