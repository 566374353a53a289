// Making directories, see directory.h.
#include "common/unix/files/directory.h"

#include "common/common/strlib.h"
#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/configuration/reference.h"
#include "common/unix/trace/trace.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

namespace {

// Creates the directories above the path; those that are there already fail, which is fine.
void create_parents(char *szPath, str_log *strLog) {
    for (char *letter = szPath; *letter != '\0'; ++letter) {
        if (*letter == '/') {
            *letter = '\0';
            trace_log(strLog, TRACE_DETAILS, "create intermediate directory %s ", szPath);
            i_MKDIR(szPath);
            *letter = '/';
        }
    }
}

bool is_directory(const char *cpPath) {
    struct stat status = {};
    return ::stat(cpPath, &status) == 0 && S_ISDIR(status.st_mode);
}

// Creates the directory that is not there. Fills cpMsg.
int create_directory(char *szPath, char *cpMsg, str_log *strLog) {
    create_parents(szPath, strLog);
    if (i_MKDIR(szPath) == 1) {
        text_print(cpMsg, kMessageSize, "%s newly created", szPath);
        return 1;
    }
    // Another call was quicker, or the name ends in "." or ".." and the parents are all of it.
    if (is_directory(szPath)) {
        text_print(cpMsg, kMessageSize, "%s already existing", szPath);
        return 1;
    }
    text_copy(cpMsg, kMessageSize, "error from MKDIR");
    return 0;
}

} // namespace

int i_CREATE_DIR_LOCAL(const char *cpPath, char *cpMsg, str_log strLog) {
    char szPath[1024];
    trace_log(&strLog, TRACE_EVENTS, "+++ i_CREATE_DIR_LOCAL: %s", cpPath);
    struct stat status = {};
    int iResult = 0;
    int iErrno = resolve_name(cpPath, szPath, sizeof szPath) ? 0 : ENAMETOOLONG;
    if (iErrno == 0) {
        szPath2Unix(szPath);
        const std::size_t length = std::strlen(szPath);
        if (length > 1 && szPath[length - 1] == '/') {
            szPath[length - 1] = '\0';
        }
        iErrno = ::stat(szPath, &status) == 0 ? 0 : errno;
    }
    if (iErrno == 0) {
        text_print(cpMsg, kMessageSize, "%s already existing", szPath);
        iResult = 1;
    } else if (iErrno == ENOENT) {
        iResult = create_directory(szPath, cpMsg, &strLog);
    } else {
        text_copy(cpMsg, kMessageSize, error_text(iErrno));
    }
    trace_log(&strLog, TRACE_EVENTS, "--- i_CREATE_DIR_LOCAL  returns %d   msg= %s ", iResult,
              cpMsg);
    return iResult;
}

int i_MKDIR(const char *cpPath) {
    return ::mkdir(cpPath, 0770) == 0 ? 1 : 0;
}
