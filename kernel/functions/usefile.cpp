// The file operations of function u, see usefile.h: a row for each mode letter.
#include "kernel/functions/usefile.h"

#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/configuration/ini.h"
#include "common/unix/configuration/ini_change.h"
#include "common/unix/configuration/reference.h"
#include "common/unix/files/append.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/files/file.h"
#include "common/unix/files/file_find.h"
#include "common/unix/files/file_search.h"
#include "common/unix/host/alarm.h"
#include "common/unix/processes/child.h"
#include "common/unix/processes/run.h"
#include "common/unix/system/kernel_copy.h"
#include "common/unix/trace/trace.h"
#include "kernel/functions/replacement.h"
#include "kernel/request/call.h"
#include "kernel/request/finish.h"
#include "kernel/request/options.h"
#include "kernel/request/requirements.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr int kDataSize = 65536;
constexpr int kFailed = 2;
constexpr char kSameFile[] = "input file is output file";

// An operation fills the message (kMessageSize bytes) and returns the exit status.
struct s_MODE {
    char cLetter;
    const char *cpWhole; // letters of the options that may not be cut
    int (*operation)(char *szMsg);
};

// "<what><name>: <reason>", the status of a failed operation. A name that leaves no room for the
// reason is cut.
int failure(char *szMsg, const char *cpWhat, const char *cpName, const std::string &reason) {
    const long lTaken = static_cast<long>(std::strlen(cpWhat) + std::strlen(": ") + reason.size());
    const long lRoom = std::max(kMessageSize - 1 - lTaken, 0L);
    text_print(szMsg, kMessageSize, "%s%.*s: %s", cpWhat, static_cast<int>(lRoom), cpName,
               reason.c_str());
    return kFailed;
}

// The same for the file of -n and the system's text for iErrno.
int system_failure(char *szMsg, const char *cpWhat, int iErrno) {
    return failure(szMsg, cpWhat, gszOpt_n, error_text(iErrno));
}

int not_found(char *szMsg) {
    text_print(szMsg, kMessageSize, "%s not found", gszOpt_n);
    return kFailed;
}

// What ended a copy before its time: the error number of a read or of a write, else 0.
struct s_COPY_END {
    int iReadErrno;
    int iWriteErrno;
};

// Copies a descriptor to its end.
s_COPY_END copy_all(int iFrom, int iTo) {
    char szBuf[kDataSize];
    copy_in_kernel(iFrom, iTo);
    for (;;) {
        const ssize_t got = ::read(iFrom, szBuf, sizeof szBuf);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return {got < 0 ? errno : 0, 0};
        }
        if (!write_all(iTo, {szBuf, static_cast<std::size_t>(got)})) {
            return {0, errno};
        }
    }
}

// True when both are the same regular file: a copy would read what it has just written, or find
// the file empty.
bool are_same_file(int iOne, int iOther) {
    struct stat one = {};
    struct stat other = {};
    return ::fstat(iOne, &one) == 0 && ::fstat(iOther, &other) == 0 && S_ISREG(one.st_mode) &&
           one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

// Empties a file that has a length; another one is left alone, because a file system may bring one
// that was cut to the disk when it is closed. 0, or the error number.
int empty_file(int iFile) {
    struct stat status = {};
    const bool bDone =
        ::fstat(iFile, &status) == 0 &&
        (!S_ISREG(status.st_mode) || status.st_size == 0 || ::ftruncate(iFile, 0) == 0);
    return bDone ? 0 : errno;
}

bool bFROM_STDIN() {
    return std::strcmp(gszOpt_s, "-") == 0;
}

// Writes what -s says into the file: standard input for "-", else the text and a newline.
s_COPY_END write_content(int iFile) {
    if (bFROM_STDIN()) {
        return copy_all(STDIN_FILENO, iFile);
    }
    return {0, write_all(iFile, std::string(gszOpt_s) + '\n') ? 0 : errno};
}

int input_failure(char *szMsg, int iErrno) {
    return failure(szMsg, "read from ", "standard input", error_text(iErrno));
}

// Opens the file to be written. Owns nothing, with the message, when it cannot be written or
// standard input, which is to be copied, cannot be read; the file is then as it was.
unique_fd open_for_writing(char *szMsg, int iFlags) {
    char cNothing = 0;
    if (bFROM_STDIN() && ::read(STDIN_FILENO, &cNothing, 0) < 0) {
        input_failure(szMsg, errno);
        return unique_fd();
    }
    unique_fd file(::open(gszOpt_n, O_WRONLY | O_NOCTTY | O_CLOEXEC | iFlags, 0666));
    if (!file) {
        system_failure(szMsg, "write to ", errno);
        return unique_fd();
    }
    if (bFROM_STDIN() && are_same_file(STDIN_FILENO, file.get())) {
        failure(szMsg, "write to ", gszOpt_n, kSameFile);
        return unique_fd();
    }
    return file;
}

// Makes *file, the old one, what takes a new content: a file beside it, or itself, emptied. 0, or
// the error number.
int begin_anew(replacement *beside, unique_fd *file) {
    unique_fd fresh = beside->open(gszOpt_n, file->get());
    if (!fresh) {
        return empty_file(file->get());
    }
    *file = std::move(fresh);
    return 0;
}

// Writes into the file and closes it.
s_COPY_END write_and_close(unique_fd *file) {
    s_COPY_END end = write_content(file->get());
    if (file->reset() != 0 && end.iWriteErrno == 0) {
        end.iWriteErrno = errno;
    }
    return end;
}

int write_file(char *szMsg, int iFlags, bool bAnew, const char *cpSuccess) {
    unique_fd file = open_for_writing(szMsg, iFlags);
    if (!file) {
        return kFailed;
    }
    replacement beside;
    s_COPY_END end = {0, bAnew ? begin_anew(&beside, &file) : 0};
    if (end.iWriteErrno != 0) {
        return system_failure(szMsg, "write to ", end.iWriteErrno);
    }
    end = write_and_close(&file);
    if (end.iReadErrno + end.iWriteErrno == 0) {
        end.iWriteErrno = beside.finish();
    }
    if (end.iWriteErrno != 0) {
        errno = end.iWriteErrno; // a full disk may show in a write as well as in the close
        i_FILE_CLOSE(end.iWriteErrno);
        return system_failure(szMsg, "write to ", end.iWriteErrno);
    }
    if (end.iReadErrno != 0) {
        return input_failure(szMsg, end.iReadErrno);
    }
    text_print(szMsg, kMessageSize, "%s %s successful", cpSuccess, gszOpt_n);
    return 0;
}

int create_and_write(char *szMsg) {
    trace_log(&strLog, TRACE_EVENTS, "create and write file %s", gszOpt_n);
    return write_file(szMsg, O_CREAT, true, "create and write to");
}

int write_append(char *szMsg) {
    trace_log(&strLog, TRACE_EVENTS, "write append file %s", gszOpt_n);
    if (file_exist(gszOpt_n) == 0) {
        return not_found(szMsg);
    }
    return write_file(szMsg, O_APPEND, false, "write to");
}

int iNotRemoved = 0; // of the files that match

int remove_old(const char *cpFile, str_log) {
    const int iSts = std::remove(cpFile);
    iNotRemoved += iSts == 0 ? 0 : 1;
    return iSts;
}

// True when the name fits the deletion's buffer also with its reference resolved.
bool bDELETE_TAKES_NAME(bool bOldOnly) {
    constexpr int kNameSize = 1024;   // of i_FILE_DELETE
    constexpr int kPatternSize = 512; // of what walks through matches
    char szName[kNameSize];
    const bool bFits = resolve_name(gszOpt_n, szName, kNameSize);
    const bool bPattern = bOldOnly || std::strchr(szName, '*') != nullptr;
    return bFits && (!bPattern || std::strlen(szName) < kPatternSize);
}

int delete_file(char *szMsg) {
    trace_log(&strLog, TRACE_EVENTS, "delete file %s", gszOpt_n);
    const long lDays = std::strtol(gszOpt_t, nullptr, 10);
    if (!bDELETE_TAKES_NAME(lDays >= 1)) {
        return system_failure(szMsg, "", ENAMETOOLONG);
    }
    int iDeleted = 0;
    if (lDays >= 1) {
        trace_log(&strLog, TRACE_EVENTS, "delete files last accessed before %s", gszOpt_t);
        const int iDays = lDays > INT_MAX ? INT_MAX : static_cast<int>(lDays);
        iDeleted = i_FILE_FIND_EXEC_BEFORE(gszOpt_n, "", iDays, remove_old, strLog);
    } else {
        iDeleted = i_FILE_DELETE_ALL(gszOpt_n, &iNotRemoved, strLog);
    }
    if (iDeleted == 0 || iNotRemoved > 0) {
        text_print(szMsg, kMessageSize, "%s is not deleted", gszOpt_n);
        return kFailed;
    }
    text_print(szMsg, kMessageSize, "%s successfully deleted", gszOpt_n);
    return 0;
}

int check_existence(char *szMsg) {
    trace_log(&strLog, TRACE_EVENTS, "check existence of file %s", gszOpt_n);
    if (file_exist(gszOpt_n) == 0 && ::chdir(gszOpt_n) != 0) {
        return not_found(szMsg);
    }
    text_print(szMsg, kMessageSize, "%s existing", gszOpt_n);
    return 0;
}

int find_string(char *szMsg) {
    trace_log(&strLog, TRACE_EVENTS, "find and read in file %s ", gszOpt_n);
    if (file_exist(gszOpt_n) == 0) {
        return not_found(szMsg);
    }
    text_copy(szMsg, kMessageSize, gszOpt_s);
    if (file_search(gszOpt_n, gszOpt_s, sizeof gszOpt_s) == 1) {
        text_copy(szMsg, kMessageSize, gszOpt_s);
    } else if (errno != 0 && errno != EINVAL) { // what is no regular file holds no lines
        return system_failure(szMsg, "read from ", errno);
    }
    return 0;
}

int read_ini_value(char *szMsg) {
    trace_log(&strLog, TRACE_EVENTS, "read ini value from file: %s section: %s key: %s", gszOpt_n,
              gszOpt_s, gszOpt_t);
    char szBuf[kDataSize];
    const bool bFound =
        i_READ_INI(gszOpt_n, gszOpt_s, gszOpt_t, szBuf, sizeof szBuf, szMsg, kMessageSize) == 1;
    if (bFound) {
        text_copy(szMsg, kMessageSize, szBuf);
    }
    trace_log(&strLog, TRACE_EVENTS, "read ini: %s", szMsg);
    return bFound ? 0 : kFailed;
}

int change_ini_value(char *szMsg) {
    trace_log(&strLog, TRACE_EVENTS, "change ini value from file: %s section: %s key: %s", gszOpt_n,
              gszOpt_s, gszOpt_t);
    char szReason[kMessageSize];
    const bool bChanged =
        i_CHANGE_INI_VALUE(gszOpt_n, gszOpt_s, gszOpt_t, gszOpt_d, szReason, sizeof szReason) == 1;
    trace_log(&strLog, TRACE_EVENTS, "change ini: %s", gszOpt_d);
    if (szReason[0] != '\0') {
        return failure(szMsg, "write to ", gszOpt_n, szReason);
    }
    return bChanged ? 0 : kFailed;
}

int change_mode(char *szMsg) {
    trace_log(&strLog, TRACE_EVENTS, "make file %s executable", gszOpt_n);
    const int iStatus = cm_chmod(gszOpt_s, gszOpt_n);
    if (iStatus == 0) {
        text_print(szMsg, kMessageSize, "chmod %s successful", gszOpt_n);
        return 0;
    }
    if (iStatus == -1) {
        return system_failure(szMsg, "chmod ", errno);
    }
    // The shell ran chmod, which has told the reason on standard error itself.
    return failure(szMsg, "chmod ", gszOpt_n, exit_text(iStatus));
}

int read_file(char *szMsg) {
    trace_log(&strLog, TRACE_EVENTS, "read file %s ", gszOpt_n);
    const unique_fd file(::open(gszOpt_n, O_RDONLY | O_NOCTTY | O_CLOEXEC));
    if (!file) {
        return system_failure(szMsg, "read from ", errno);
    }
    if (are_same_file(file.get(), STDOUT_FILENO)) {
        return failure(szMsg, "read from ", gszOpt_n, kSameFile);
    }
    const s_COPY_END end = copy_all(file.get(), STDOUT_FILENO);
    if (end.iReadErrno != 0 || end.iWriteErrno != 0) {
        return system_failure(szMsg, "read from ", end.iReadErrno + end.iWriteErrno);
    }
    text_print(szMsg, kMessageSize, "read from %s successful", gszOpt_n);
    return 0;
}

int check_executable(char *szMsg) {
    trace_log(&strLog, TRACE_EVENTS, "check if file [%s] is executable", gszOpt_n);
    return bIsFileExecutable(gszOpt_n, szMsg, kMessageSize) == 1 ? 0 : kFailed;
}

constexpr s_MODE kModes[] = {
    {'c', "ns", create_and_write},   {'w', "ns", write_append}, {'d', "nt", delete_file},
    {'e', "n", check_existence},     {'f', "ns", find_string},  {'i', "nst", read_ini_value},
    {'C', "nstd", change_ini_value}, {'m', "ns", change_mode},  {'r', "n", read_file},
    {'x', "n", check_executable},
};

// Puts the path there that the name of -n stands for. False when it does not fit.
bool expand_name() {
    char szName[sizeof gszOpt_n];
    return resolve_whole(gszOpt_n, szName, sizeof szName, REFERENCE_PATHES) &&
           text_copy(gszOpt_n, szName);
}

[[noreturn]] void use_file(const s_MODE &mode) {
    char szMsg[kMessageSize] = "";
    REQUIRE_WHOLE(mode.cpWhole);
    if (!expand_name()) {
        FINISH(system_failure(szMsg, "", ENAMETOOLONG), szMsg);
    }
    if (std::strchr("iC", mode.cLetter) == nullptr) { // an INI file is never relative
        REQUIRE_WORK_DIRECTORY(gszOpt_n);
    }
    const int iExitSts = mode.operation(szMsg);
    trace_log(&strLog, TRACE_EVENTS, "--- USEFILE File: %s mode: %s", gszOpt_n, gszOpt_m);
    FINISH(iExitSts, szMsg);
}

} // namespace

void USEFILE(s_CALL *) {
    trace_log(&strLog, TRACE_EVENTS, "+++ USEFILE File: %s mode: %s", gszOpt_n, gszOpt_m);
    if (gszOpt_n[0] == '\0') {
        FINISH(1, "missing filename via -n");
    }
    if (gszOpt_m[0] == '\0') {
        text_copy(gszOpt_m, "e");
    }
    for (const s_MODE &mode : kModes) {
        if (mode.cLetter == gszOpt_m[0]) {
            use_file(mode);
        }
    }
    FINISH(1, "wrong option in command line");
}
