// Disk device files, see disk_file.h.
#include "kernel/functions/devices/disk_file.h"

#include "common/unix/files/append.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/files/file.h"
#include "common/unix/files/regular_file.h"
#include "common/unix/trace/trace.h"
#include "kernel/request/options.h"

#include <cstring>
#include <string>

namespace {

// False with errno when the file is not whole.
bool write_file(const std::string &path, const std::string &text) {
    unique_fd file = create_regular(path.c_str());
    return file && write_all(file.get(), text) && file.reset() == 0;
}

} // namespace

int CREATE_DISK_DEVICE_FILE(const char *name, const char *content, const char *directory,
                            const char *second) {
    trace_log(&strLog, TRACE_EVENTS, "+++ CREATE_DISK_DEVICE_FILE  %s  %s  %s ", name, content,
              directory);
    const std::string path = std::string(directory) + name;
    if (std::strcmp(content, "empty") == 0 && file_exist(path.c_str()) == 1) {
        trace_log(&strLog, TRACE_EVENTS, " Don't overwrite DISK_HARD %s with \"empty\" ", name);
        trace_log(&strLog, TRACE_EVENTS, "--- CREATE_DISK_DEVICE_FILE: DISK_HARD %s exists", name);
        return 1;
    }
    if (!write_file(path, std::string(content) + '\n' + second + '\n')) {
        trace_log(&strLog, TRACE_EVENTS, "--- CREATE_DISK_DEVICE_FILE failed opening %s  to write",
                  path.c_str());
        return 0;
    }
    trace_log(&strLog, TRACE_EVENTS, "--- CREATE_DISK_DEVICE_FILE created %s ", path.c_str());
    return 1;
}
