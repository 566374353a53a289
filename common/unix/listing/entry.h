// A sorted list of entries for callers that have them as records. A listing shows one directory,
// one line per entry, directories before all else, each group in byte order of the full path.
#pragma once

#include "common/common/types.h"

#include <cwchar>
#include <string>

// An entry of the list and, in the hands of vShowTree, its working record. What the letters mean is
// told in entry_line.h.
struct sFormat {
    unsigned char cSep;
    unsigned char cType;
    unsigned char cBaseType;
    BOOL bWchar; // print the name from szwCurFullFileName
    int iTrace;
    char szRoot[4096];    // the directory that was asked for
    char szCurRoot[4096]; // the directory that is listed
    char szCurLabel[4096];
    char szCurFullFileName[4096]; // the printed name
    char szCurFileName[4096];
    wchar_t szwCurFullFileName[4096];
    char szCreatTime[128]; // change time of the entry, as printed
    char szInfo[4096];     // of a mount: device, type and options
    char szModTime[128];   // modification time, as printed
    double dSize;          // bytes
    char szUser[128];      // printed as "-"
    char szStatus[128];
    sFormat *strpNext;
    sFormat *strpPrevious;
    int iLevel;
    int iDevCount;
    long lDirCount;
    long lErrorCount;
    long lHardlinkCount;
    long lFileCount;
    double dSumSize;
    char szMaxFileName[4096];
};

// The list: vStart empties it, vAdd appends a copy, vSort inserts a copy before the first entry
// that is not less by iCompare, unless that one is its equal; vOutput prints all as vShow does,
// vDelete frees all. Without memory for a copy vAdd and vSort say so on standard error.
void vStart();
void vAdd(const sFormat *cpInfo);
void vSort(const sFormat *cpInfo);
void vOutput();
void vDelete();

// Compares two entries by base type and full name, byte by byte: below 0, 0, above 0.
int iCompare(const sFormat *cpInfo1, const sFormat *cpInfo2);

// Prints an entry's line on standard output and resets its kind letters and information.
void vShow(sFormat *cpInfo);

// Counts an error that leaves a listing incomplete; the first is told on standard error.
void count_error(sFormat *cpInfo, const std::string &reason);

// Prints the counters of the record on standard error.
void vShowSummary(const sFormat *cpInfo);
