// File helpers, see cm_file_util.h.
#include "common/unix/cm_file_util.h"

#include "common/common/owner.h"
#include "common/common/shell_quote.h"
#include "common/common/strlib.h"
#include "common/common/text.h"
#include "common/unix/cm_path.h"
#include "common/unix/cm_run.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The server's own tools report their failures themselves.
void run_server_tool(const char *cpCommand) {
    [[maybe_unused]] const int iStatus = std::system(cpCommand);
}

void report_copy_error(const char *cpSource, const char *cpTarget, const char *cpCommand) {
    PROT(by_language("E009-BASICS  Error copying file %s %s: %s",
                     "E009-BASICS  Fehler bei Dateikopie %s %s: %s",
                     "E009-BASICS  Fälla beim Dateikopiern %s %s: %s"),
         cpSource, cpTarget, cpCommand);
}

// Creates the directories above the path; those that are there already fail, which is fine.
void create_parents(char *szPath, str_log *strLog) {
    for (char *letter = szPath; *letter != '\0'; ++letter) {
        if (*letter == '/') {
            *letter = '\0';
            trace_log(strLog, 2, "create intermediate directory %s ", szPath);
            i_MKDIR(szPath);
            *letter = '/';
        }
    }
}

// Creates the directory that is not there. Fills cpMsg.
int create_directory(char *szPath, char *cpMsg, int iMsgSize, str_log *strLog) {
    create_parents(szPath, strLog);
    if (i_MKDIR(szPath) == 0) {
        text_copy(cpMsg, iMsgSize, "error from MKDIR");
        return 0;
    }
    text_print(cpMsg, iMsgSize, "%s newly created", szPath);
    return 1;
}

} // namespace

int file_exist(const char *source) {
    if (source[0] == '\0') {
        return 0;
    }
    struct stat status = {};
    if (::stat(source, &status) == 0 && S_ISFIFO(status.st_mode)) {
        return ::access(source, R_OK) == 0 ? 1 : 0; // opening would wait for, or take, a writer
    }
    unique_fd file(::open(source, O_RDONLY | O_NOCTTY | O_CLOEXEC));
    if (!file) {
        return 0;
    }
    if (file.reset() != 0) {
        i_FILE_CLOSE(errno);
    }
    return 1;
}

int file_copy(const char *cpSource, const char *cpTarget) {
    char szSource[256];
    char szTarget[256];
    char szCommand[512] = "";
    const bool bFits = resolve_name(cpSource, szSource, sizeof szSource) &&
                       resolve_name(cpTarget, szTarget, sizeof szTarget) &&
                       text_print(szCommand, "umask 000; cp '%s' '%s'",
                                  shell_file(szSource, QUOTES_SINGLE).c_str(),
                                  shell_file(szTarget, QUOTES_SINGLE).c_str());
    const int iStatus = bFits ? i_cm_system(szCommand) : 1;
    if (iStatus != 0) {
        report_copy_error(cpSource, cpTarget, bFits ? szCommand : error_text(ENAMETOOLONG).c_str());
    }
    return iStatus;
}

int i_CREATE_DIR_LOCAL(const char *cpPath, char *cpMsg, str_log strLog) {
    constexpr int kMsgSize = 256;
    char szPath[1024];
    trace_log(&strLog, 1, "+++ i_CREATE_DIR_LOCAL: %s", cpPath);
    struct stat status = {};
    int iResult = 0;
    int iErrno = resolve_name(cpPath, szPath, sizeof szPath) ? 0 : ENAMETOOLONG;
    if (iErrno == 0) {
        szPath2Unix(szPath);
        const std::size_t length = std::strlen(szPath);
        if (length > 0 && szPath[length - 1] == '/') {
            szPath[length - 1] = '\0';
        }
        iErrno = ::stat(szPath, &status) == 0 ? 0 : errno;
    }
    if (iErrno == 0) {
        text_print(cpMsg, kMsgSize, "%s already existing", szPath);
        iResult = 1;
    } else if (iErrno == ENOENT) {
        iResult = create_directory(szPath, cpMsg, kMsgSize, &strLog);
    } else {
        text_copy(cpMsg, kMsgSize, error_text(iErrno));
    }
    trace_log(&strLog, 1, "--- i_CREATE_DIR_LOCAL  returns %d   msg= %s ", iResult, cpMsg);
    return iResult;
}

int i_MKDIR(const char *cpPath) {
    return ::mkdir(cpPath, 0770) == 0 ? 1 : 0;
}

int i_FILE_CLOSE(int iErrno) {
    const int iCurrent = errno;
    char szError[128];
    text_copy(szError, error_text(iErrno));
    std::fprintf(stderr, "\nFILE_CLOSE error: %s\n", szError);
    if (iCurrent != EDEADLK && iCurrent != ENFILE && iCurrent != ENOSPC) {
        return 0;
    }
    i_setenv_vorna("vn_alarm");
    char szCommand[512];
    text_print(szCommand, "vn_alarm FILE_SYSTEM \"%s\"",
               shell_quoted(szError, QUOTES_DOUBLE).c_str());
    run_server_tool(szCommand);
    text_copy(szCommand, "vn_os_startup STOP");
    run_server_tool(szCommand);
    std::fprintf(stderr, "\n\nSHUTDOWN vorna2000 - problems with file system (%s) \n\n", szError);
    return 0;
}

char *GIVE_ME_FILE_NAME(char *cpFileName) {
    if (cpFileName[0] != '\0') {
        szPath2Unix(cpFileName + 1);
    }
    return cpFileName;
}

int cm_chmod(const char *szMode, const char *szFile) {
    char szCommand[512];
    if (!text_print(szCommand, "chmod %s \"%s\"", shell_quoted(szMode, QUOTES_NONE).c_str(),
                    shell_file(szFile, QUOTES_DOUBLE).c_str())) {
        errno = ENAMETOOLONG;
        return -1;
    }
    return std::system(szCommand);
}
