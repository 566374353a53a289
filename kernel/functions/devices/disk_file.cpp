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

// Where a disk device file is written before it takes its place: a name that is no disk's.
std::string beside(const char *cpDirectory, const char *cpName) {
    return std::string(cpDirectory) + "." + cpName + ".tmp";
}

std::string text_of(const char *cpContent, const char *cpSecond) {
    return std::string(cpContent) + '\n' + cpSecond + '\n';
}

// Puts the file that is written beside in its place; where that fails it is written there. False
// with errno; nothing is left beside in any case.
bool put_in_place(const char *cpDirectory, const char *cpName, const std::string &text) {
    const std::string written = beside(cpDirectory, cpName);
    const std::string path = std::string(cpDirectory) + cpName;
    if (std::rename(written.c_str(), path.c_str()) == 0) {
        return true;
    }
    const bool bDone = write_file(path, text);
    const errno_keeper keeper;
    ::unlink(written.c_str());
    return bDone;
}

void trace_begin(const char *cpName, const char *cpContent, const char *cpDirectory) {
    trace_log(&strLog, TRACE_EVENTS, "+++ CREATE_DISK_DEVICE_FILE  %s  %s  %s ", cpName, cpContent,
              cpDirectory);
}

int trace_end(bool bDone, const char *cpName, const char *cpDirectory) {
    trace_log(&strLog, TRACE_EVENTS,
              bDone ? "--- CREATE_DISK_DEVICE_FILE created %s%s "
                    : "--- CREATE_DISK_DEVICE_FILE failed opening %s%s  to write",
              cpDirectory, cpName);
    return bDone ? 1 : 0;
}

} // namespace

bool prepare_disk_device_file(const char *name, const char *content, const char *directory,
                              const char *second) {
    const std::string path = beside(directory, name);
    if (write_file(path, text_of(content, second))) {
        return true;
    }
    const errno_keeper keeper;
    ::unlink(path.c_str());
    return false;
}

void drop_disk_device_file(const char *name, const char *directory) {
    ::unlink(beside(directory, name).c_str());
}

int place_disk_device_file(const char *name, const char *content, const char *directory,
                           const char *second) {
    trace_begin(name, content, directory);
    return trace_end(put_in_place(directory, name, text_of(content, second)), name, directory);
}

int CREATE_DISK_DEVICE_FILE(const char *name, const char *content, const char *directory,
                            const char *second) {
    trace_begin(name, content, directory);
    const std::string path = std::string(directory) + name;
    if (std::strcmp(content, "empty") == 0 && file_exist(path.c_str()) == 1) {
        trace_log(&strLog, TRACE_EVENTS, " Don't overwrite DISK_HARD %s with \"empty\" ", name);
        trace_log(&strLog, TRACE_EVENTS, "--- CREATE_DISK_DEVICE_FILE: DISK_HARD %s exists", name);
        return 1;
    }
    const bool bDone = prepare_disk_device_file(name, content, directory, second) &&
                       put_in_place(directory, name, text_of(content, second));
    return trace_end(bDone, name, directory);
}
