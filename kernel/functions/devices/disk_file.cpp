// Disk device files, see disk_file.h.
#include "kernel/functions/devices/disk_file.h"

#include "common/unix/files/file.h"
#include "common/unix/host/alarm.h"
#include "common/unix/trace/trace.h"
#include "kernel/request/options.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

void CREATE_DISK_DEVICE_FILE(const char *name, const char *content, const char *directory,
                             const char *second) {
    trace_log(&strLog, TRACE_EVENTS, "+++ CREATE_DISK_DEVICE_FILE  %s  %s  %s ", name, content,
              directory);
    const std::string path = std::string(directory) + name;
    if (std::strcmp(content, "empty") == 0 && file_exist(path.c_str()) == 1) {
        trace_log(&strLog, TRACE_EVENTS, " Don't overwrite DISK_HARD %s with \"empty\" ", name);
        trace_log(&strLog, TRACE_EVENTS, "--- CREATE_DISK_DEVICE_FILE: DISK_HARD %s exists", name);
        return;
    }
    std::FILE *file = std::fopen(path.c_str(), "we");
    if (file == nullptr) {
        trace_log(&strLog, TRACE_EVENTS, "--- CREATE_DISK_DEVICE_FILE failed opening %s  to write",
                  path.c_str());
        return;
    }
    std::fprintf(file, "%s\n%s\n", content, second);
    if (std::fclose(file) != 0) {
        i_FILE_CLOSE(errno);
    }
    trace_log(&strLog, TRACE_EVENTS, "--- CREATE_DISK_DEVICE_FILE created %s ", path.c_str());
}
