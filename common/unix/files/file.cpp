// Single files, see file.h.
#include "common/unix/files/file.h"

#include "common/common/cm_message.h"
#include "common/common/shell_quote.h"
#include "common/common/strlib.h"
#include "common/common/text.h"
#include "common/unix/configuration/reference.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/host/alarm.h"
#include "common/unix/processes/run.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int kCommandSize = 4096; // for the longest names, however much of them is quoted

void report_copy_error(const char *cpSource, const char *cpTarget, const char *cpCommand) {
    PROT(by_language("E009-BASICS  Error copying file %s %s: %s",
                     "E009-BASICS  Fehler bei Dateikopie %s %s: %s",
                     "E009-BASICS  Fälla beim Dateikopiern %s %s: %s"),
         cpSource, cpTarget, cpCommand);
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
    char szCommand[kCommandSize] = "";
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

char *GIVE_ME_FILE_NAME(char *cpFileName) {
    if (cpFileName[0] != '\0') {
        szPath2Unix(cpFileName + 1);
    }
    return cpFileName;
}

int cm_chmod(const char *szMode, const char *szFile) {
    char szCommand[kCommandSize];
    if (!text_print(szCommand, "chmod %s \"%s\"", shell_quoted(szMode, QUOTES_NONE).c_str(),
                    shell_file(szFile, QUOTES_DOUBLE).c_str())) {
        errno = ENAMETOOLONG;
        return -1;
    }
    return std::system(szCommand);
}
