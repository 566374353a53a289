// The files of the media server's configuration, vns.ini and vns.tmp in the directory of the INI
// files: the old one stays in its place until the new one is whole, at no moment is there none.
#pragma once

#include "common/unix/files/descriptor.h"

#include <string>
#include <string_view>

struct s_VNS_FILES {
    std::string ini; // in use
    std::string tmp; // the new one while it is written
};

s_VNS_FILES vns_files();

// Each returns false with the reason in cpMsg (256 bytes).

// Reads the file in use.
bool read_vns_ini(const s_VNS_FILES &files, std::string *text, char *cpMsg);

// Begins the new file.
bool open_vns_tmp(const s_VNS_FILES &files, unique_fd *file, char *cpMsg);

// Writes the new file's text, down to the disk, with the mode and, as far as that is allowed, the
// owner of the file in use; closes it.
bool write_vns_tmp(const s_VNS_FILES &files, unique_fd *file, std::string_view text, char *cpMsg);

// Puts the new file in the place of the old one.
bool replace_vns_ini(const s_VNS_FILES &files, char *cpMsg);
