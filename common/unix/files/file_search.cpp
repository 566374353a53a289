// Searching a text file, see file_search.h.
#include "common/unix/files/file_search.h"

#include "common/common/cm_message.h"
#include "common/common/owner.h"
#include "common/common/text.h"
#include "common/unix/configuration/reference.h"
#include "common/unix/files/regular_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// What is looked for in a line: a text, or two of which both or either must be there.
enum e_OPERATOR { ONE_TEXT, BOTH_TEXTS, EITHER_TEXT };

struct s_SEARCH {
    e_OPERATOR eOperator;
    std::string first;
    std::string second;
    bool bReturnLine;
};

s_SEARCH search_of(std::string text) {
    s_SEARCH search = {};
    if (!text.empty() && text.back() == '^') {
        text.pop_back();
        search.bReturnLine = true;
    }
    struct s_MARKER {
        const char *cpText;
        e_OPERATOR eOperator;
    };
    constexpr s_MARKER kMarkers[] = {{"|AND|", BOTH_TEXTS}, {"|OR|", EITHER_TEXT}};
    search.first = text;
    for (const s_MARKER &marker : kMarkers) {
        const std::size_t place = text.find(marker.cpText);
        if (place != std::string::npos) {
            search.first = text.substr(0, place);
            search.second = text.substr(place + std::strlen(marker.cpText));
            search.eOperator = marker.eOperator;
            break;
        }
    }
    return search;
}

bool matches(const s_SEARCH &search, const char *cpLine) {
    const bool bFirst = std::strstr(cpLine, search.first.c_str()) != nullptr;
    const bool bSecond = std::strstr(cpLine, search.second.c_str()) != nullptr;
    switch (search.eOperator) {
    case BOTH_TEXTS:
        return bFirst && bSecond;
    case EITHER_TEXT:
        return bFirst || bSecond;
    default:
        return bFirst;
    }
}

// Opens the file. Null, with a trace line, when that fails.
unique_file open_resolved(const char *cpFile) {
    char szFile[1024];
    unique_file file;
    int iErrno = ENAMETOOLONG;
    if (resolve_name(cpFile, szFile, sizeof szFile)) {
        file = open_regular_stream(szFile);
        iErrno = errno;
    }
    if (!file) {
        trace_at(TRACE_ALWAYS, "file_search: fopen(%s) failed with: (%d) %s", szFile, iErrno,
                 error_text(iErrno).c_str());
    }
    errno = iErrno;
    return file;
}

} // namespace

int file_search(const char *cpFile, char *cpSearchString, int iLength) {
    const int iLineSize = std::max(iLength, 256);
    const unique_memory<char> line(
        static_cast<char *>(std::malloc(static_cast<std::size_t>(iLineSize))));
    if (!line) {
        trace_at(TRACE_ALWAYS, "file_search: malloc(%d) failed with: (%d) %s", iLineSize, errno,
                 error_text(errno).c_str());
        return 0;
    }
    const unique_file file = open_resolved(cpFile);
    if (!file) {
        return 0;
    }
    const s_SEARCH search = search_of(cpSearchString);
    while (std::fgets(line.get(), iLineSize, file.get()) != nullptr) {
        if (matches(search, line.get())) {
            if (search.bReturnLine) {
                line.get()[std::strcspn(line.get(), "\n")] = '\0';
                text_copy(cpSearchString, iLength, line.get());
            }
            return 1;
        }
    }
    errno = std::ferror(file.get()) != 0 ? errno : 0;
    return 0;
}
