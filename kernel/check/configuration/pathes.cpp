// The directories of section "[Pathes]", see pathes.h.
#include "kernel/check/configuration/pathes.h"

#include "common/common/types.h"
#include "common/unix/configuration/ini.h"
#include "kernel/check/configuration/ini_lines.h"
#include "kernel/check/rights/owner.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char kSection[] = "[Pathes]";
constexpr char kTraceFile[] = "vn_client_.lgc";

// A key, and what goes without it.
struct s_DIRECTORY {
    const char *cpKey;
    const char *cpNeed; // null: nothing
    e_VERDICT eMissing;
    int iNeed;            // what the agent does there
    std::size_t iLongest; // bytes of the path that the agent takes
};

constexpr char kAll[] = "every call is refused";
constexpr int kRead = R_OK | X_OK;
constexpr int kWrite = R_OK | W_OK | X_OK;

constexpr s_DIRECTORY kDirectories[] = {
    {"gv_ro", kAll, WRONG, kRead, 1023},
    {"gv_ro_bin", kAll, WRONG, kRead, 511},
    {"gv_ro_vns", "the functions c, m, p and t are refused", DOUBTFUL, kRead, 511},
    {"gv_ro_db", "programs of the database have no PATH to each other", WRONG, kRead, 511},
    {"gv_ro_pgsql", nullptr, RIGHT, kRead, 511},
    {"gv_rw", kAll, WRONG, kRead, 1023},
    {"gv_rw_ini", kAll, WRONG, kWrite, 511},
    {"gv_rw_tmp", kAll, WRONG, kWrite, 511},
    {"gv_rw_work", kAll, WRONG, kWrite, 511},
    {"gv_rw_vbc_log", kAll, WRONG, kWrite, 511},
    {"gv_rw_lgc", "every call says FATAL on standard error, and none is traced", WRONG, kWrite,
     383},
    {"gv_rw_glbv", "no variable is read or written", WRONG, kWrite, 511},
    {"gv_rw_info", "function p finds no figures", DOUBTFUL, kRead, 511},
};

// What has to be in the work directory.
struct s_BELOW {
    const char *cpName;
    const char *cpNeed;
    e_VERDICT eMissing;
    int iNeed;
};

constexpr s_BELOW kBelow[] = {
    {"sem/", "so semaphores keep nobody out: requests of c, k and the catalogue may meet", WRONG,
     kWrite},
    {"vnslis/", "so function m fails", WRONG, kWrite},
    {"diskmnt/", "t makes it for a disk that is mounted by a relative path", DOUBTFUL, kRead},
};

// The names that the agent joins to the directory.
std::size_t longest_name(const s_DIRECTORY &directory) {
    return std::strcmp(directory.cpKey, "gv_rw_lgc") == 0 ? sizeof kTraceFile - 1 : 0;
}

s_FAULT path_fault(const s_CHECK &check, const s_DIRECTORY &directory, const std::string &path) {
    const std::size_t longest = directory.iLongest - longest_name(directory);
    if (path.front() != '/') {
        return {path + " does not begin with \"/\"", "write the whole path"};
    }
    if (path.back() != '/') {
        return {path + " does not end with \"/\", names are joined to it as it stands",
                "write " + path + "/"};
    }
    if (path.size() > longest) {
        return {"the path has " + std::to_string(path.size()) + " bytes, at most " +
                    std::to_string(longest) + " are taken",
                "use a shorter path"};
    }
    return directory_fault(check, path, directory.iNeed);
}

void check_directory(s_CHECK *check, const s_DIRECTORY &directory) {
    const std::string subject = std::string(kSection) + " " + directory.cpKey;
    const char *cpNeed = directory.cpNeed == nullptr ? "" : directory.cpNeed;
    const s_VALUE_READ read =
        read_checked(check, check->main_ini, kSection, directory.cpKey, cpNeed, directory.eMissing);
    if (read.bTold) {
        return;
    }
    if (!read.bFound) {
        say_right(check, subject + " is not set, it may be missing");
        return;
    }
    const s_FAULT fault = path_fault(*check, directory, read.value);
    const bool bFault = say_fault(check, subject, fault);
    // What only the owner cannot use can be looked at all the same.
    if (!bFault || (fault.eVerdict == DOUBTFUL && ::access(read.value.c_str(), kRead) == 0)) {
        check->paths[directory.cpKey] = read.value;
    }
    if (!bFault) {
        say_right(check, subject + ": " + read.value + " is there, " +
                             ((directory.iNeed & W_OK) != 0 ? "writable" : "readable"));
    }
}

void check_below(s_CHECK *check) {
    const auto work = check->paths.find("gv_rw_work");
    if (work == check->paths.end()) {
        say_doubtful(check,
                     "sem/, vnslis/ and diskmnt/ were not looked at: the work directory "
                     "cannot be used",
                     "gv_rw_work first");
        return;
    }
    for (const s_BELOW &below : kBelow) {
        const std::string path = work->second + below.cpName;
        s_FAULT fault = directory_fault(*check, path, below.iNeed);
        if (!fault.what.empty() && !fault.bShared) {
            fault.what += std::string(", ") + below.cpNeed;
            fault.eVerdict = std::min(fault.eVerdict, below.eMissing);
        }
        if (!say_fault(check, std::string("work directory's ") + below.cpName, fault)) {
            say_right(check, path + " is there");
        }
    }
}

} // namespace

void CHECK_PATHES(s_CHECK *check) {
    for (const s_DIRECTORY &directory : kDirectories) {
        check_directory(check, directory);
    }
    check_below(check);
}

void CHECK_OWNER(s_CHECK *check) {
    char szRoot[1024];
    char szMsg[kMessageSize];
    i_READ_INI("VN_INI", kSection, "gv_rw", szRoot, sizeof szRoot, szMsg, sizeof szMsg);
    std::string place = szRoot;
    struct stat status = {};
    if (place.empty() || ::stat(place.c_str(), &status) != 0) {
        place = check->main_ini;
        check->bOwner = ::stat(place.c_str(), &status) == 0;
    } else {
        check->bOwner = true;
    }
    check->owner = status.st_uid;
    const std::string caller = user_name(::geteuid());
    const std::string owner = user_name(check->owner);
    if (::geteuid() == 0 || ::geteuid() == check->owner) {
        say_right(check, "looked at as " + caller + ", the installation's owner is " + owner +
                             ", who owns " + place);
    } else {
        const std::string trusted = check->owner == 0 ? "" : " or " + owner;
        say_doubtful(check,
                     "looked at as " + caller + ", who is neither root nor the owner of " + place +
                         ": what may be done there is judged by modes alone",
                     "run the check as root" + trusted);
    }
}
