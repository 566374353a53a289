// The listing's operations on single entries, see entry.h.
#include "common/unix/listing/entry.h"

#include "common/common/strlib.h"
#include "common/common/text.h"
#include "common/unix/listing/listing.h"

#include <cstdio>
#include <cstring>

namespace {

s_ENTRY entry_of(const sFormat *cpInfo) {
    return {static_cast<char>(cpInfo->cBaseType),
            static_cast<char>(cpInfo->cType),
            cpInfo->szCurFullFileName,
            cpInfo->szInfo,
            cpInfo->szCreatTime,
            cpInfo->szModTime,
            0,
            0,
            cpInfo->dSize};
}

} // namespace

void vStart() {
    listing_start();
}

void vAdd(const sFormat *cpInfo) {
    listing_add(entry_of(cpInfo));
}

void vSort(const sFormat *cpInfo) {
    listing_sort(entry_of(cpInfo));
}

void vOutput() {
    listing_output();
}

void vDelete() {
    listing_delete();
}

int iCompare(const sFormat *cpInfo1, const sFormat *cpInfo2) {
    return listing_compare(static_cast<char>(cpInfo1->cBaseType), cpInfo1->szCurFullFileName,
                           static_cast<char>(cpInfo2->cBaseType), cpInfo2->szCurFullFileName);
}

void vShow(sFormat *cpInfo) {
    szPath2Unix(cpInfo->szCurFullFileName);
    text_copy(cpInfo->szUser, "-");
    if (cpInfo->bWchar) {
        std::printf("\"%ls\" %c%c %s %s %.0f %s ,%s\n", cpInfo->szwCurFullFileName,
                    cpInfo->cBaseType, cpInfo->cType, cpInfo->szCreatTime, cpInfo->szModTime,
                    cpInfo->dSize, cpInfo->szUser, cpInfo->szInfo);
    } else {
        listing_show(entry_of(cpInfo));
    }
    cpInfo->cBaseType = '_';
    cpInfo->cType = '_';
    cpInfo->szInfo[0] = '\0';
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
