// What the backup server collects, see performance.h.
#include "kernel/functions/devices/performance.h"

#include "common/common/text.h"
#include "common/unix/configuration/directories.h"
#include "common/unix/host/performance_file.h"
#include "common/unix/processes/process.h"
#include "common/unix/trace/trace.h"
#include "kernel/request/call.h"
#include "kernel/request/finish.h"
#include "kernel/request/options.h"
#include "kernel/request/performance_record.h"
#include "kernel/unix_hal/absent.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// How often figures are sampled, and the pause between two samples.
struct s_TIMER {
    int iCount;
    int iSeconds;
};

int clamped(long lNumber) {
    return static_cast<int>(
        std::clamp(lNumber, static_cast<long>(INT_MIN), static_cast<long>(INT_MAX)));
}

s_TIMER timer_of(const char *cpText) {
    s_TIMER timer = {1, 0};
    char *end = nullptr;
    const long lCount = std::strtol(cpText, &end, 10);
    if (end == cpText) {
        return timer;
    }
    timer.iCount = clamped(lCount);
    if (*end == ':') {
        timer.iSeconds = clamped(std::strtol(end + 1, nullptr, 10));
    }
    return timer;
}

std::string performance_file() {
    if (gFlag.Remote) {
        return "";
    }
    // The file stays in the work directory.
    return work_directory() + "rsh_" + text_file_part(gszId) + ".tmp";
}

void pause_seconds(int iSeconds) {
    for (; iSeconds > 0; --iSeconds) {
        wait_msec(1000);
    }
}

} // namespace

void v_PERFORMANCE(s_CALL *) {
    if (gszOpt_s[0] == '\0') {
        char *cpColon = std::strchr(gszOpt_d, ':');
        if (cpColon == nullptr) {
            FINISH(1, "missing option -s VNS number");
        }
        *cpColon = '\0';
        text_copy(gszOpt_s, cpColon + 1);
    }
    READ_PERFORMANCE_DATA();
}

void READ_PERFORMANCE_DATA() {
    static char szFigures[10240];
    trace_log(&strLog, TRACE_EVENTS, "+++ READ_PERFORMANCE_DATA");
    trace_log(&strLog, TRACE_EVENTS, "    get VNS status %s  %s  %s ", gszOpt_d, gszOpt_s,
              gszOpt_t);
    const s_TIMER timer = timer_of(gszOpt_t);
    if (timer.iCount < 1) {
        FINISH(1, ("invalid number of samples: " + std::string(gszOpt_t)).c_str());
    }
    const std::string file = performance_file();
    std::string last;
    int iSts = 0;
    for (int i = 0; i < timer.iCount; ++i) {
        pause_seconds(i == 0 ? 0 : timer.iSeconds);
        if (READ_PERFORMANCE_FILE(gszOpt_d, gszOpt_s, szFigures, strLog) == 0) {
            iSts = 1;
            break;
        }
        if (last != szFigures) {
            iWRITE_PERF_FILE(file.c_str(), szFigures);
            last = szFigures;
        }
    }
    trace_log(&strLog, TRACE_EVENTS, "--- READ_PERFORMANCE_DATA");
    FINISH(iSts, last.c_str());
}

void v_READ_EVENT_LOG(s_CALL *call) {
    trace_log(&strLog, TRACE_EVENTS, "read event log");
    event_log_lib_interface(call->argc, call->argv);
    FINISH(0, "");
}
