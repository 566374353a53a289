// The files that take a command's output, see output.h.
#include "kernel/remote/call/output.h"

#include "common/common/owner.h"
#include "common/common/text.h"
#include "common/unix/host/alarm.h"
#include "kernel/remote/call/rcmd.h"

#include <cerrno>

namespace {

int iFirstError = 0; // errno of the first write that failed

} // namespace

void output_begin() {
    iFirstError = 0;
}

void output_write(std::FILE *file, std::string_view text) {
    const bool bWritten =
        std::fwrite(text.data(), 1, text.size(), file) == text.size() && std::fflush(file) == 0;
    if (!bWritten && iFirstError == 0) {
        iFirstError = errno;
    }
}

bool output_close(unique_file *file, const char *cpName, RCMD *pRCmd) {
    if (!*file) {
        return true;
    }
    int iErrno = std::ferror(file->get()) != 0 ? iFirstError : 0;
    if (std::fclose(file->release()) != 0 && iErrno == 0) {
        iErrno = errno;
    }
    if (iErrno == 0) {
        return true;
    }
    errno = iErrno;
    i_FILE_CLOSE(iErrno);
    text_print(pRCmd->szMsg, "write to %s: %s", cpName, error_text(iErrno).c_str());
    return false;
}
