// Where the directory listing looks for what is not in the directory itself.
#pragma once

struct s_LISTING_PLACES {
    const char *cpMarkers; // put before the paths of the files that tell of applications
    const char *cpMounts;  // the mount table; skipped where the system has none
};
extern s_LISTING_PLACES gListingPlaces;
