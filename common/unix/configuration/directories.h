// The directories of the installation that services ask for by themselves.
#pragma once

#include <string>
#include <string_view>

// The work directory, ending in "/": the variable gv_rw_work, else the key of "[Pathes]"; empty
// when neither tells.
std::string work_directory();

// The directory of the database's tool, ending in "/": likewise from gv_ro_db.
std::string database_directory();

// True for a path that neither begins with "/" nor, as those of other platforms do, with a drive
// letter ("d:") or "\\" behind its first letter.
bool is_relative_path(std::string_view path);

// Where a changeable disk with this relative path is mounted: below the work directory. Empty when
// the place is longer than 255 bytes or there is no work directory.
std::string disk_mount_point(const std::string &path);
