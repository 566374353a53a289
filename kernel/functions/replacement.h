// New content for a file that has some: it is written beside the file and takes its place when it
// is whole, so that a full disk or a kill leaves the old content or the new one.
#pragma once

#include "common/unix/files/descriptor.h"

#include <string>

class replacement {
public:
    replacement() = default;
    replacement(const replacement &) = delete;
    replacement &operator=(const replacement &) = delete;
    ~replacement(); // what has not taken its place is removed

    // Opens the new file, with owner and mode of the open old one, whose name is cpFile. Owns
    // nothing when the old one has no content, or when only its content can be changed: one that is
    // no regular file or has other names, and one beside which no such file can be made.
    unique_fd open(const char *cpFile, int iOld);

    // Puts the new file, which has been closed, in the place of the old one. 0, or the error
    // number; 0 also when none was opened.
    int finish();

private:
    std::string file_;
    std::string beside_; // empty: there is none
};
