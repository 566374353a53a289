// The list of entries that come as records, see entry.h. What it keeps of an entry is what it needs
// later: the key by which it is sorted, and its line.
#include "common/unix/listing/entry.h"

#include "common/common/strlib.h"
#include "common/common/text.h"
#include "common/unix/listing/entry_line.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace {

struct s_NODE {
    std::string key;
    std::string line;
};

using t_NODE = std::unique_ptr<s_NODE>;

struct s_LIST {
    std::vector<t_NODE> nodes;
    bool bAscending = true; // as long as nothing was appended out of order
};

s_LIST theList;

std::string key_of(const sFormat *cpInfo) {
    return static_cast<char>(cpInfo->cBaseType) + std::string(cpInfo->szCurFullFileName);
}

std::string line_of(const sFormat *cpInfo) {
    const s_ENTRY_LINE entry = {static_cast<char>(cpInfo->cBaseType),
                                static_cast<char>(cpInfo->cType),
                                "",
                                cpInfo->szCurFullFileName,
                                cpInfo->szCreatTime,
                                cpInfo->szModTime,
                                cpInfo->dSize,
                                cpInfo->szInfo};
    std::string line(entry_line_room(entry), '\0');
    line.resize(static_cast<std::size_t>(put_entry_line(line.data(), entry) - line.data()));
    return line;
}

// The first node that is not less than the key.
std::vector<t_NODE>::iterator place_of(const std::string &key) {
    const auto less = [&key](const t_NODE &node) { return node->key < key; };
    return theList.bAscending
               ? std::partition_point(theList.nodes.begin(), theList.nodes.end(), less)
               : std::find_if_not(theList.nodes.begin(), theList.nodes.end(), less);
}

void append(const sFormat *cpInfo) {
    t_NODE node(new s_NODE{key_of(cpInfo), line_of(cpInfo)});
    if (!theList.nodes.empty() && node->key <= theList.nodes.back()->key) {
        theList.bAscending = false;
    }
    theList.nodes.push_back(std::move(node));
}

void insert(const sFormat *cpInfo) {
    const std::string key = key_of(cpInfo);
    const auto place = place_of(key);
    if (place == theList.nodes.end() || (*place)->key != key) {
        theList.nodes.insert(place, t_NODE(new s_NODE{key, line_of(cpInfo)}));
    }
}

void put(void (*how)(const sFormat *cpInfo), const sFormat *cpInfo) {
    try {
        how(cpInfo);
    } catch (const std::bad_alloc &) {
        std::fputs(theList.nodes.empty() ? "vAdd: Kein Speicherplatz vorhanden fuer strpAnfang"
                                         : "vAdd: Kein Speicherplatz fuer letztes Element",
                   stderr);
    }
}

} // namespace

void vStart() {
    theList = {};
}

void vAdd(const sFormat *cpInfo) {
    put(append, cpInfo);
}

void vSort(const sFormat *cpInfo) {
    put(insert, cpInfo);
}

void vOutput() {
    for (const t_NODE &node : theList.nodes) {
        std::fwrite(node->line.data(), 1, node->line.size(), stdout);
    }
}

void vDelete() {
    theList = {};
}

int iCompare(const sFormat *cpInfo1, const sFormat *cpInfo2) {
    return key_of(cpInfo1).compare(key_of(cpInfo2));
}

void vShow(sFormat *cpInfo) {
    szPath2Unix(cpInfo->szCurFullFileName);
    text_copy(cpInfo->szUser, "-");
    if (cpInfo->bWchar) {
        std::printf("\"%ls\" %c%c %s %s %.0f %s ,%s\n", cpInfo->szwCurFullFileName,
                    cpInfo->cBaseType, cpInfo->cType, cpInfo->szCreatTime, cpInfo->szModTime,
                    cpInfo->dSize, cpInfo->szUser, cpInfo->szInfo);
    } else {
        const std::string line = line_of(cpInfo);
        std::fwrite(line.data(), 1, line.size(), stdout);
    }
    cpInfo->cBaseType = '_';
    cpInfo->cType = '_';
    cpInfo->szInfo[0] = '\0';
}

void count_error(sFormat *cpInfo, const std::string &reason) {
    if (cpInfo->lErrorCount++ == 0) {
        std::fprintf(stderr, "ERROR: listing of %s is incomplete: %s\n", cpInfo->szCurRoot,
                     reason.c_str());
    }
}

void vShowSummary(const sFormat *cpInfo) {
    std::fputc('\n', stderr);
    if (cpInfo->lErrorCount > 0) {
        std::fprintf(stderr, "%12ld Errors\n", cpInfo->lErrorCount);
    }
    if (cpInfo->iDevCount > 0) {
        std::fprintf(stderr, "%12d Devices\n", cpInfo->iDevCount);
    }
    if (cpInfo->lHardlinkCount > 0) {
        std::fprintf(stderr, "%12ld Hardlinks\n", cpInfo->lHardlinkCount);
    }
    std::fprintf(stderr, "%12ld Directories      %12.f Bytes\n", cpInfo->lDirCount,
                 cpInfo->dSumSize);
    std::fprintf(stderr, "%12ld Files\n", cpInfo->lFileCount);
    const std::size_t iLength = std::strlen(cpInfo->szMaxFileName);
    if (iLength > 2) {
        std::fprintf(stderr, "\nLargest file name: \n%s\n with %ld characters\n",
                     cpInfo->szMaxFileName, static_cast<long>(iLength));
    }
}
