// Deleting files and finding old ones (file_find.h): one walk through the matches of a pattern.
#include "common/unix/files/file_find.h"

#include "common/common/cm_message.h"
#include "common/common/strlib.h"
#include "common/common/text.h"
#include "common/unix/configuration/reference.h"
#include "common/unix/listing/wildcard.h"
#include "common/unix/trace/time_text.h"
#include "common/unix/trace/trace.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int kNameSize = 1024;

// The part of a name up to and including its last "/", empty without one.
std::string directory_of(std::string_view name) {
    return std::string(name.substr(0, name.rfind('/') + 1));
}

int delete_one(const char *cpName, int *piFailed, str_log *strLog) {
    if (std::remove(cpName) == 0) {
        return 1;
    }
    trace_log(strLog, TRACE_EVENTS, "could not remove %s: (%d) %s", cpName, errno,
              error_text(errno).c_str());
    trace_log(strLog, TRACE_EVENTS, "remove(%s) failed try rmdir() for empty directory", cpName);
    if (::rmdir(cpName) == 0) {
        return 1;
    }
    trace_log(strLog, TRACE_EVENTS, "could not rmdir %s: (%d) %s", cpName, errno,
              error_text(errno).c_str());
    ++*piFailed;
    return 0;
}

// Returns whether the last removal succeeded.
int delete_matching(const char *cpPattern, int *piFailed, str_log *strLog) {
    const std::string directory = directory_of(cpPattern);
    trace_log(strLog, TRACE_EVENTS, "path [%s]", directory.c_str());
    int iResult = 0;
    vn_dirent entry;
    int iFound = i_GET_DIR(cpPattern, &entry, *strLog);
    for (; iFound == 1; iFound = i_GET_DIR("", &entry, *strLog)) {
        trace_log(strLog, TRACE_DETAILS, "remove %s/%s", directory.c_str(), entry.d_name);
        iResult = std::remove((directory + entry.d_name).c_str()) == 0 ? 1 : 0;
        if (iResult == 0) {
            ++*piFailed;
            trace_log(strLog, TRACE_EVENTS, "could not remove %s/%s: (%d) %s", directory.c_str(),
                      entry.d_name, errno, error_text(errno).c_str());
        }
    }
    *piFailed += errno == 0 ? 0 : 1; // there may be more that match
    return iResult;
}

// The time before which a file is old. A text that is no date gives the epoch.
std::time_t cut_off(const char *cpDate, int iDays) {
    std::tm when = {};
    if (iDays > 0) {
        const std::time_t now = std::time(nullptr);
        localtime_r(&now, &when);
        when.tm_mday -= iDays;
        // NOLINTNEXTLINE(cert-err34-c): the widths bound the numbers, and their count is checked
    } else if (std::sscanf(cpDate, "%4d-%2d-%2d %2d:%2d:%2d", &when.tm_year, &when.tm_mon,
                           &when.tm_mday, &when.tm_hour, &when.tm_min, &when.tm_sec) == 6) {
        when.tm_year -= 1900;
        when.tm_mon -= 1;
    } else {
        return 0;
    }
    when.tm_isdst = -1;
    return std::mktime(&when);
}

struct s_COUNT {
    int iFound;
    int iTooYoung;
};

void visit(const std::string &path, std::time_t lCutOff, t_FILE_ACTION fn, str_log *strLog,
           s_COUNT *count) {
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0) {
        trace_log(strLog, TRACE_EVENTS, "error from POSIX_STAT for %s %s", path.c_str(),
                  error_text(errno).c_str());
        return;
    }
    if (status.st_mtime >= lCutOff) {
        trace_log(strLog, TRACE_DETAILS, "too young: %s ", path.c_str());
        ++count->iTooYoung;
        return;
    }
    char szTime[25];
    cm_strftime(status.st_mtime, "%Y-%m-%d %H:%M:%S", szTime, sizeof szTime);
    const std::size_t iName = path.rfind('/') + 1;
    trace_log(strLog, TRACE_EVENTS, "found: %s %s %s", path.substr(0, iName).c_str(),
              path.c_str() + iName, szTime);
    ++count->iFound;
    fn(path.c_str(), *strLog);
}

} // namespace

int i_FILE_DELETE(const char *source, str_log strLog) {
    int iFailed = 0;
    return i_FILE_DELETE_ALL(source, &iFailed, strLog);
}

int i_FILE_DELETE_ALL(const char *source, int *piFailed, str_log strLog) {
    char szName[kNameSize];
    int iResult = 0;
    const bool bFits = resolve_name(source, szName, sizeof szName);
    szPath2Unix(szName);
    trace_log(&strLog, TRACE_EVENTS, "+++ FILE_DELETE %s :== %s", source, szName);
    if (!bFits) {
        trace_log(&strLog, TRACE_EVENTS, "could not remove %s: (%d) %s", source, ENAMETOOLONG,
                  error_text(ENAMETOOLONG).c_str());
    } else if (std::strchr(szName, '*') == nullptr) {
        iResult = delete_one(szName, piFailed, &strLog);
    } else {
        iResult = delete_matching(szName, piFailed, &strLog);
    }
    trace_log(&strLog, TRACE_EVENTS, "--- FILE_DELETE  returns %d", iResult);
    return iResult;
}

int i_FILE_FIND_EXEC_BEFORE(const char *cpFilePattern, const char *cpDate, int iDays,
                            t_FILE_ACTION fn, str_log strLog) {
    char szPattern[512]; // what the iterator takes
    const bool bFits = resolve_name(cpFilePattern, szPattern, sizeof szPattern);
    const std::string directory = directory_of(szPattern);
    trace_log(&strLog, TRACE_EVENTS,
              "+++ KRL i_FILE_FIND_EXEC_BEFORE in %s  file:%s  days:%d   date:%s",
              directory.c_str(), cpFilePattern, iDays, cpDate);
    const std::time_t lCutOff = cut_off(cpDate, iDays);
    vn_dirent entry;
    if (!bFits || i_GET_DIR(cpFilePattern, &entry, strLog) != 1) {
        trace_log(&strLog, TRACE_EVENTS,
                  "--- KRL i_FILE_FIND_EXEC_BEFORE returns 0 : no matches for %s", cpFilePattern);
        return 0;
    }
    s_COUNT count = {};
    do {
        visit(directory + entry.d_name, lCutOff, fn, &strLog, &count);
    } while (i_GET_DIR("", &entry, strLog) == 1);
    trace_log(&strLog, TRACE_EVENTS,
              "--- KRL i_FILE_FIND_EXEC_BEFORE returns 1   found %d files; too young were %d",
              count.iFound, count.iTooYoung);
    return 1;
}
