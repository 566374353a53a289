// How the figures of a media server reach the caller, see performance_record.h.
#include "kernel/request/performance_record.h"

#include "common/unix/host/alarm.h"
#include "common/unix/trace/trace.h"
#include "kernel/request/options.h"

#include <cerrno>
#include <cstdio>

int iWRITE_PERF_FILE(const char *path, const char *text) {
    trace_log(&strLog, TRACE_EVENTS, "+++ WRITE_PERF_FILE    %s ", text);
    if (gFlag.Remote) {
        std::printf("ID=%s\n%s\n", gszId, text);
        std::fflush(stdout);
        trace_log(&strLog, TRACE_EVENTS, "--- WRITE_PERF_FILE: to stdout");
        return 1;
    }
    if (std::FILE *file = std::fopen(path, "we")) {
        std::fprintf(file, "ID=%s\n%s\n", gszId, text);
        if (std::fclose(file) != 0) {
            i_FILE_CLOSE(errno);
        }
    }
    trace_log(&strLog, TRACE_EVENTS, "--- WRITE_PERF_FILE %s ", path);
    return 1;
}
