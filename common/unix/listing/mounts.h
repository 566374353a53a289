// Mounts in a listing: a directory on another machine is told from one of this machine.
#pragma once

#include "common/unix/listing/entry_list.h"

#include <string>

// Inserts the NFS and SMB mounts that lie directly in the directory `root`, from the mount table
// cpTable (skipped where it is missing); null: as the system tells them. 0, or the error number of
// what ended that before: no memory, or mounts that cannot be read.
int insert_mounts(entry_list *list, const std::string &root, const char *cpTable);
