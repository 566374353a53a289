// The list of entries behind a directory listing. It holds what the listing prints of an entry, in
// a compact form, because a directory may have millions.
#pragma once

#include <string_view>

// An entry as it is put into the list and printed; the list copies the texts.
struct s_ENTRY {
    char cBaseType;
    char cType;
    std::string_view name;      // full name
    std::string_view info;      // what is known of a mount
    std::string_view creatTime; // the times as texts; where they are null the numbers count
    std::string_view modTime;
    long long lCreatTime; // seconds since the epoch
    long long lModTime;
    double dSize; // bytes
};

// Forgets the list without freeing it.
void listing_start();

// Appends a copy.
void listing_add(const s_ENTRY &entry);

// Inserts a copy in the order of base type and full name; an equal one that is there stays.
void listing_sort(const s_ENTRY &entry);

// Prints all entries on standard output in large blocks. Errors stay with stdout.
void listing_output();

// Frees all entries.
void listing_delete();

// The order of the list: below 0, 0, above 0 by base type, then by name, byte by byte.
int listing_compare(char cBaseType1, const char *cpName1, char cBaseType2, const char *cpName2);

// Prints one entry's line on standard output.
void listing_show(const s_ENTRY &entry);
