// Users, and what the permissions of files let them do.
#pragma once

#include "kernel/check/report.h"

#include <string>
#include <sys/stat.h>
#include <vector>

std::string user_name(uid_t user);

// True when the user is root or the installation's owner, who may direct the agent anyway.
bool is_trusted(const s_CHECK &check, uid_t user);

// True when the caller is neither root nor the owner: what he may not do says nothing of the agent.
bool is_outsider(const s_CHECK &check);

// What an outsider may not look at.
s_FAULT hidden_fault(const std::string &path);

// What keeps a regular file from being read, by the error number of its opening.
s_FAULT reading_fault(const s_CHECK &check, const std::string &file, int iErrno);

// Which users.
enum e_CIRCLE { CIRCLE_OWNER, CIRCLE_GROUP }; // the owner alone, or his groups with him

// Who beside root and the circle may do it (S_IWOTH, S_IROTH or S_IXOTH, one or more) with a file
// of this status: "everybody", "group staff", "its owner bob"; empty: nobody.
std::string strangers(const s_CHECK &check, const struct stat &status, mode_t need,
                      e_CIRCLE eCircle);

// The directories through which the system comes to a path, links included, from "/" on; the last
// is the path itself when that is a directory.
std::vector<std::string> way_to(const std::string &path);

// What keeps the agent from reading, writing or entering (R_OK, W_OK, X_OK together) the file or
// directory: as the caller, and as the installation's owner where that is somebody else. Empty:
// nothing.
s_FAULT access_fault(const s_CHECK &check, const std::string &path, int iNeed);

// The same for a directory, which may not be there.
s_FAULT directory_fault(const s_CHECK &check, const std::string &path, int iNeed);
