// The wildcard iterator (i_GET_DIR of wildcard.h).
#include "common/unix/listing/wildcard.h"

#include "common/common/text.h"
#include "common/unix/configuration/reference.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/trace/trace.h"

#include <cerrno>
#include <cstring>
#include <fnmatch.h>
#include <string>
#include <string_view>

namespace {

// The search that is under way: there is one per process.
struct s_SEARCH {
    std::string pattern;
    unique_directory directory;
};

s_SEARCH &search() {
    static s_SEARCH theSearch;
    return theSearch;
}

// Opens the directory of the pattern. False, with a trace line, when that fails.
bool start_search(const char *cpFile, str_log *strLog) {
    constexpr int kFileSize = 512;
    char szFile[kFileSize];
    const bool bFits = resolve_name(cpFile, szFile, kFileSize);
    trace_log(strLog, TRACE_DETAILS, "+++ iGET_DIR: %s -> %s", cpFile, szFile);
    const std::string_view file = szFile;
    const std::size_t iName = file.rfind('/') + 1; // 0 without a "/"
    const std::string name(iName == 0 ? "./" : file.substr(0, iName));
    search().pattern = file.substr(iName);
    trace_log(strLog, TRACE_DETAILS, "dir name: %s, file name: %s", name.c_str(),
              search().pattern.c_str());
    search().directory.reset();
    int iErrno = ENAMETOOLONG; // a name that was cut would be another directory's
    if (bFits) {
        search().directory.reset(::opendir(name.c_str()));
        iErrno = errno;
    }
    if (!search().directory) {
        trace_log(strLog, TRACE_EVENTS, "iGET_DIR: Error in opendir( %s ): %s", name.c_str(),
                  error_text(iErrno).c_str());
        errno = iErrno;
        return false;
    }
    return true;
}

// The next matching name, null at the end.
const char *next_match(str_log *strLog) {
    errno = 0;
    while (const dirent *entry = ::readdir(search().directory.get())) {
        const char *cpName = entry->d_name;
        trace_log(strLog, TRACE_NOISE, "check: %s %s", search().pattern.c_str(), cpName);
        if (std::strcmp(cpName, ".") != 0 && std::strcmp(cpName, "..") != 0 &&
            ::fnmatch(search().pattern.c_str(), cpName, 0) == 0) {
            return cpName;
        }
        errno = 0;
    }
    if (errno != 0) {
        trace_log(strLog, TRACE_EVENTS, "iGET_DIR: Error in readdir(): %s",
                  error_text(errno).c_str());
    }
    return nullptr;
}

} // namespace

int i_GET_DIR(const char *cpFile, vn_dirent *pDE, str_log strLog) {
    pDE->d_name[0] = '\0';
    if (cpFile[0] != '\0') {
        if (!start_search(cpFile, &strLog)) {
            trace_log(&strLog, TRACE_DETAILS, "--- iGET_DIR  returns %d", 0);
            return 0; // with errno
        }
    } else {
        trace_log(&strLog, TRACE_DETAILS, "+++ iGET_DIR: find next file");
    }
    errno = 0;
    const char *cpFound = search().directory ? next_match(&strLog) : nullptr;
    const int iErrno = errno;
    if (cpFound != nullptr) {
        text_copy(pDE->d_name, cpFound);
        trace_log(&strLog, TRACE_DETAILS, "found valid file >%s<", pDE->d_name);
    } else {
        trace_log(&strLog, TRACE_DETAILS, "closing( dir_pointer )");
        search().directory.reset();
    }
    const int iFound = cpFound != nullptr ? 1 : 0;
    trace_log(&strLog, TRACE_DETAILS, "--- iGET_DIR  returns %d %s", iFound, pDE->d_name);
    errno = iErrno;
    return iFound;
}
