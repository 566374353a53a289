// Directory listings and their entries.
#include "tests/probe/probe.h"

#include "common/common/text.h"
#include "common/unix/cm_hal_file_util.h"

#include <cstdio>
#include <cwchar>

namespace vn_probe {
namespace {

sFormat theEntry;

// PLACE TABLE: where markers of applications are looked for, and the table of mounts.
void run_places(Words &words) {
    std::printf("[%s] [%s]\n", gListingPlaces.cpMarkers, gListingPlaces.cpMounts);
    gListingPlaces.cpMarkers = words.text();
    gListingPlaces.cpMounts = words.text();
}

void run_list(Words &words) {
    theEntry.lErrorCount = 0;
    text_copy(theEntry.szCurRoot, words.text());
    vShowTree(&theEntry);
    std::fflush(stdout);
    if (theEntry.lErrorCount > 0) {
        std::fprintf(stderr, "%ld errors\n", theEntry.lErrorCount);
    }
}

// NAMES: sorted in, or appended with "+" before the name; each has the size of its place.
void run_entries(Words &words) {
    theEntry.cBaseType = 'f';
    theEntry.cType = '_';
    for (theEntry.dSize = 0; words.more(); theEntry.dSize++) {
        const char *name = words.text();
        text_copy(theEntry.szCurFullFileName, name + (*name == '+' ? 1 : 0));
        *name == '+' ? vAdd(&theEntry) : vSort(&theEntry);
    }
}

// TYPE NAME TYPE NAME
void run_compare(Words &words) {
    static sFormat other;
    for (sFormat *entry : {&theEntry, &other}) {
        entry->cBaseType = static_cast<unsigned char>(*words.text());
        text_copy(entry->szCurFullFileName, words.text());
    }
    const int result = iCompare(&theEntry, &other);
    std::printf("%d\n", (result > 0) - (result < 0));
}

// KIND NAME SIZE INFO ["wide"]: shown twice, since the first time resets what is not the next
// entry's.
void run_show(Words &words) {
    theEntry.cBaseType = 'f';
    theEntry.cType = static_cast<unsigned char>(*words.text());
    text_copy(theEntry.szCurFullFileName, words.text());
    theEntry.dSize = std::strtod(words.text(), nullptr);
    text_copy(theEntry.szInfo, words.text());
    theEntry.bWchar = words.more();
    std::wcscpy(theEntry.szwCurFullFileName, L"wide");
    text_copy(theEntry.szCreatTime, "then");
    text_copy(theEntry.szModTime, "now");
    vShow(&theEntry);
    vShow(&theEntry);
}

// NAME ERRORS DEVICES LINKS DIRECTORIES FILES BYTES
void run_summary(Words &words) {
    text_copy(theEntry.szMaxFileName, words.text());
    theEntry.lErrorCount = words.number();
    theEntry.iDevCount = static_cast<int>(words.number());
    theEntry.lHardlinkCount = words.number();
    theEntry.lDirCount = words.number();
    theEntry.lFileCount = words.number();
    theEntry.dSumSize = static_cast<double>(words.number());
    vShowSummary(&theEntry);
}

const Function kFunctions[] = {
    {"places", run_places},
    {"list", run_list},
    {"entries", run_entries},
    {"entries_start", [](Words &) { vStart(); }},
    {"entries_show",
     [](Words &) {
         vOutput();
         vDelete();
     }},
    {"compare", run_compare},
    {"show", run_show},
    {"summary", run_summary},
};

} // namespace

const std::span<const Function> kListing = kFunctions;

} // namespace vn_probe
