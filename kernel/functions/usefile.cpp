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
#include "common/unix/processes/run.h"
#include "common/unix/trace/trace.h"
#include "kernel/request/call.h"
#include "kernel/request/finish.h"
#include "kernel/request/options.h"
#include "kernel/request/requirements.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kDataSize = 65536;
constexpr int kFailed = 2;

// An operation fills the message (kMessageSize bytes) and returns the exit status.
struct s_MODE {
    char cLetter;
    const char *cpWhole; // letters of the options that may not be cut
    int (*operation)(char *szMsg);
};

// "<what><file>: <the system's text for iErrno>", the status of a failed operation.
int system_failure(char *szMsg, const char *cpWhat, int iErrno) {
    text_print(szMsg, kMessageSize, "%s%s: %s", cpWhat, gszOpt_n, error_text(iErrno).c_str());
    return kFailed;
}

int not_found(char *szMsg) {
    text_print(szMsg, kMessageSize, "%s not found", gszOpt_n);
    return kFailed;
}

// Lets the system copy between two files, as far as it can; what is left is copied by hand.
void copy_in_system([[maybe_unused]] int iFrom, [[maybe_unused]] int iTo) {
#ifdef __linux__
    constexpr std::size_t kAtOnce = std::size_t{1} << 30;
    while (::copy_file_range(iFrom, nullptr, iTo, nullptr, kAtOnce, 0) > 0) {
    }
#endif
}

// Copies a descriptor to its end. 0, or the error number.
int copy_all(int iFrom, int iTo) {
    char szBuf[kDataSize];
    copy_in_system(iFrom, iTo);
    for (;;) {
        const ssize_t got = ::read(iFrom, szBuf, sizeof szBuf);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got == 0) {
            return 0;
        }
        if (got < 0 || !write_all(iTo, {szBuf, static_cast<std::size_t>(got)})) {
            return errno;
        }
    }
}

// Writes what -s says into the file: standard input for "-", else the text and a newline. 0, or the
// error number.
int write_content(int iFile) {
    if (std::strcmp(gszOpt_s, "-") == 0) {
        return copy_all(STDIN_FILENO, iFile);
    }
    return write_all(iFile, std::string(gszOpt_s) + '\n') ? 0 : errno;
}

int write_file(char *szMsg, int iFlags, const char *cpSuccess) {
    unique_fd file(::open(gszOpt_n, O_WRONLY | O_NOCTTY | O_CLOEXEC | iFlags, 0666));
    if (!file) {
        return system_failure(szMsg, "write to ", errno);
    }
    int iErrno = write_content(file.get());
    if (file.reset() != 0 && iErrno == 0) {
        iErrno = errno;
    }
    if (iErrno != 0) {
        errno = iErrno; // a disk that is full may show in a write as well as in the close
        i_FILE_CLOSE(iErrno);
        return system_failure(szMsg, "write to ", iErrno);
    }
    text_print(szMsg, kMessageSize, "%s %s successful", cpSuccess, gszOpt_n);
    return 0;
}

int create_and_write(char *szMsg) {
    trace_log(&strLog, TRACE_EVENTS, "create and write file %s", gszOpt_n);
    return write_file(szMsg, O_CREAT | O_TRUNC, "create and write to");
}

int write_append(char *szMsg) {
    trace_log(&strLog, TRACE_EVENTS, "write append file %s", gszOpt_n);
    if (file_exist(gszOpt_n) == 0) {
        return not_found(szMsg);
    }
    return write_file(szMsg, O_APPEND, "write to");
}

int remove_old(const char *cpFile, str_log) {
    return std::remove(cpFile);
}

int delete_file(char *szMsg) {
    trace_log(&strLog, TRACE_EVENTS, "delete file %s", gszOpt_n);
    const long lDays = std::strtol(gszOpt_t, nullptr, 10);
    int iDeleted = 0;
    if (lDays >= 1) {
        trace_log(&strLog, TRACE_EVENTS, "delete files last accessed before %s", gszOpt_t);
        const int iDays = lDays > INT_MAX ? INT_MAX : static_cast<int>(lDays);
        iDeleted = i_FILE_FIND_EXEC_BEFORE(gszOpt_n, "", iDays, remove_old, strLog);
    } else {
        iDeleted = i_FILE_DELETE(gszOpt_n, strLog);
    }
    if (iDeleted == 0) {
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

int change_ini_value(char *) {
    trace_log(&strLog, TRACE_EVENTS, "change ini value from file: %s section: %s key: %s", gszOpt_n,
              gszOpt_s, gszOpt_t);
    const bool bChanged = i_change_ini(gszOpt_n, gszOpt_s, gszOpt_t, gszOpt_d) == 1;
    trace_log(&strLog, TRACE_EVENTS, "change ini: %s", gszOpt_d);
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
    text_print(szMsg, kMessageSize, "chmod %s: exit status %d", gszOpt_n,
               WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : 128 + WTERMSIG(iStatus));
    return kFailed;
}

int read_file(char *szMsg) {
    trace_log(&strLog, TRACE_EVENTS, "read file %s ", gszOpt_n);
    const unique_fd file(::open(gszOpt_n, O_RDONLY | O_NOCTTY | O_CLOEXEC));
    if (!file) {
        return system_failure(szMsg, "read from ", errno);
    }
    std::fflush(stdout);
    const int iErrno = copy_all(file.get(), STDOUT_FILENO);
    if (iErrno != 0) {
        return system_failure(szMsg, "read from ", iErrno);
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

[[noreturn]] void use_file(const s_MODE &mode) {
    char szMsg[kMessageSize] = "";
    REQUIRE_WHOLE(mode.cpWhole);
    resolve_path(gszOpt_n, sizeof gszOpt_n);
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
