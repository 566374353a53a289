// How the figures of a media server reach the caller, see performance_record.h.
#include "kernel/request/performance_record.h"

#include "common/common/owner.h"
#include "common/common/text.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/host/alarm.h"
#include "common/unix/trace/trace.h"
#include "kernel/request/finish.h"
#include "kernel/request/options.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>

namespace {

void print_figures(const char *text) {
    if (std::printf("ID=%s\n%s\n", gszId, text) < 0 || std::fflush(stdout) != 0) {
        FINISH(2, ("write to standard output: " + error_text(errno)).c_str());
    }
    trace_log(&strLog, TRACE_EVENTS, "--- WRITE_PERF_FILE: to stdout");
}

// Null when the file cannot be opened; a pipe without a reader is not waited for.
unique_file open_figures(const char *path) {
    constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    unique_fd file(::open(path, kFlags, 0666));
    unique_file stream(file ? ::fdopen(file.get(), "w") : nullptr);
    if (stream) {
        file.release(); // the stream closes it
    }
    return stream;
}

} // namespace

int iWRITE_PERF_FILE(const char *path, const char *text) {
    trace_log(&strLog, TRACE_EVENTS, "+++ WRITE_PERF_FILE    %s ", text);
    if (gFlag.Remote) {
        print_figures(text);
        return 1;
    }
    if (unique_file file = open_figures(path)) {
        std::fprintf(file.get(), "ID=%s\n%s\n", gszId, text);
        if (std::fclose(file.release()) != 0) {
            i_FILE_CLOSE(errno);
        }
    }
    trace_log(&strLog, TRACE_EVENTS, "--- WRITE_PERF_FILE %s ", path);
    return 1;
}
