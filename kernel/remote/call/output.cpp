// A file that takes a command's output, see output.h.
#include "kernel/remote/call/output.h"

#include "common/common/owner.h"
#include "common/common/text.h"
#include "common/unix/host/alarm.h"
#include "kernel/remote/call/rcmd.h"

#include <cerrno>
#include <string>

namespace {

constexpr std::size_t kShownName = 160; // of a long name its end, so that the cause has room

} // namespace

unique_file open_call_file(const char *cpName, const char *cpMode, RCMD *pRCmd) {
    const std::string mode = std::string(cpMode) + "e"; // not for children
    unique_file file(std::fopen(cpName, mode.c_str()));
    if (!file) {
        const int iErrno = errno;
        const std::string_view name = cpName;
        const bool bShort = name.size() <= kShownName;
        text_print(pRCmd->szMsg, "ERROR: fopen(%s%s, \"%s\") failed (%d): %s", bShort ? "" : "...",
                   bShort ? cpName : cpName + name.size() - kShownName, cpMode, iErrno,
                   error_text(iErrno).c_str());
    }
    return file;
}

bool output_file::open(const char *cpName, bool bAppend, RCMD *pRCmd) {
    owned_ = open_call_file(cpName, bAppend ? "a" : "w", pRCmd);
    file_ = owned_.get();
    return is_owned();
}

void output_file::write(std::string_view text) {
    const bool bWritten =
        std::fwrite(text.data(), 1, text.size(), file_) == text.size() && std::fflush(file_) == 0;
    if (!bWritten && iFirstError_ == 0) {
        iFirstError_ = errno;
    }
}

bool output_file::close(const char *cpName, RCMD *pRCmd) {
    if (!is_owned()) {
        return true;
    }
    int iErrno = iFirstError_;
    if (std::fclose(owned_.release()) != 0 && iErrno == 0) {
        iErrno = errno;
    }
    file_ = nullptr;
    if (iErrno == 0) {
        return true;
    }
    errno = iErrno;
    i_FILE_CLOSE(iErrno);
    text_print(pRCmd->szMsg, "write to %s: %s", cpName, error_text(iErrno).c_str());
    return false;
}
