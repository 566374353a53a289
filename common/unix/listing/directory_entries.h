// The entries that the system has of a directory.
#pragma once

#include "common/unix/files/descriptor.h"
#include "common/unix/listing/entry.h"
#include "common/unix/listing/entry_list.h"

// True for the number of an error that tells of a machine that fails, not of a file that is not to
// be had.
bool is_fault(int iErrno);

// Inserts the entries of the open directory, the list's own, with their status. One that has none,
// such as a link that dangles or leads to where the caller may not look, is no entry. A large
// directory's are asked for by several threads, which are gone at the end. What leaves the listing
// incomplete, also a name that no path can hold, is counted in cpInfo, in the directory's order.
void insert_entries(entry_list *list, DIR *directory, sFormat *cpInfo);
