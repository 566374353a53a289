// Listing one directory for the backup server.
#pragma once

#include "common/unix/listing/entry.h"

// Lists the directory cpInfo->szCurRoot on standard output; of a path that ends in "/" the
// applications found on the machine first. Names such as "mount" or "/MySQL" are listed by a
// program. A directory that cannot be opened is told on standard error. What else leaves the
// listing incomplete is counted in cpInfo->lErrorCount, the first error is told on standard error.
void vShowTree(sFormat *cpInfo);

// The same: the server descends by asking for each directory.
void vShowTreeAll(sFormat *cpInfo);

// Where the directory listing looks for what is not in the directory itself.
struct s_LISTING_PLACES {
    const char *cpMarkers; // put before the paths of the files that tell of applications
    const char *cpMounts;  // the mount table, see mounts.h
};
extern s_LISTING_PLACES gListingPlaces;
