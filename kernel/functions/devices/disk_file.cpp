// Disk device files, see disk_file.h.
#include "kernel/functions/devices/disk_file.h"

#include "common/unix/files/append.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/files/file.h"
#include "common/unix/files/regular_file.h"
#include "common/unix/trace/trace.h"
#include "kernel/request/options.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

// False with errno when the file is not whole.
bool write_file(const std::string &path, const std::string &text) {
    unique_fd file = create_regular(path.c_str());
    return file && write_all(file.get(), text) && file.reset() == 0;
}

// Writes the file beside its place, under a name that is no disk's, and puts it there. False with
// errno; the old file is then as it was.
bool replace_file(const std::string &directory, const char *cpName, const std::string &text) {
    const std::string path = directory + cpName;
    const std::string beside = directory + "." + cpName + ".tmp";
    if (write_file(beside, text) && std::rename(beside.c_str(), path.c_str()) == 0) {
        return true;
    }
    const int iErrno = errno;
    ::unlink(beside.c_str());
    errno = iErrno;
    return false;
}

void trace_begin(const char *cpName, const char *cpContent, const char *cpDirectory) {
    trace_log(&strLog, TRACE_EVENTS, "+++ CREATE_DISK_DEVICE_FILE  %s  %s  %s ", cpName, cpContent,
              cpDirectory);
}

int replace_and_trace(const char *name, const char *content, const char *directory,
                      const char *second) {
    const bool bDone = replace_file(directory, name, std::string(content) + '\n' + second + '\n');
    trace_log(&strLog, TRACE_EVENTS,
              bDone ? "--- CREATE_DISK_DEVICE_FILE created %s%s "
                    : "--- CREATE_DISK_DEVICE_FILE failed opening %s%s  to write",
              directory, name);
    return bDone ? 1 : 0;
}

} // namespace

int CREATE_DISK_DEVICE_FILE(const char *name, const char *content, const char *directory,
                            const char *second) {
    trace_begin(name, content, directory);
    const std::string path = std::string(directory) + name;
    if (std::strcmp(content, "empty") == 0 && file_exist(path.c_str()) == 1) {
        trace_log(&strLog, TRACE_EVENTS, " Don't overwrite DISK_HARD %s with \"empty\" ", name);
        trace_log(&strLog, TRACE_EVENTS, "--- CREATE_DISK_DEVICE_FILE: DISK_HARD %s exists", name);
        return 1;
    }
    return replace_and_trace(name, content, directory, second);
}

int replace_disk_device_file(const char *name, const char *content, const char *directory,
                             const char *second) {
    trace_begin(name, content, directory);
    return replace_and_trace(name, content, directory, second);
}
