// Users and permissions, see owner.h.
#include "kernel/check/rights/owner.h"

#include "common/common/shell_quote.h"
#include "common/common/text.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <grp.h>
#include <map>
#include <pwd.h>
#include <unistd.h>

namespace {

constexpr int kMostLinks = 40; // on a way; more is a circle

std::string group_name(gid_t group) {
    const struct group *entry = ::getgrgid(group);
    return entry == nullptr ? std::to_string(group) : entry->gr_name;
}

// The users whose group this is, as far as the system can list them.
std::vector<uid_t> members_of(gid_t group) {
    std::vector<uid_t> members;
    std::vector<std::string> names;
    if (const struct group *entry = ::getgrgid(group)) {
        for (char **name = entry->gr_mem; *name != nullptr; ++name) {
            names.emplace_back(*name);
        }
    }
    for (const std::string &name : names) {
        if (const passwd *user = ::getpwnam(name.c_str())) {
            members.push_back(user->pw_uid);
        }
    }
    ::setpwent();
    while (const passwd *user = ::getpwent()) {
        if (user->pw_gid == group) {
            members.push_back(user->pw_uid);
        }
    }
    ::endpwent();
    return members;
}

const std::vector<uid_t> &known_members_of(gid_t group) {
    static std::map<gid_t, std::vector<uid_t>> known; // to list all users takes its time
    const auto place = known.find(group);
    return place != known.end() ? place->second : known[group] = members_of(group);
}

bool is_member(uid_t user, gid_t group) {
    const std::vector<uid_t> &members = known_members_of(group);
    return std::find(members.begin(), members.end(), user) != members.end();
}

// True for a group of the owner's, and for one to which none but trusted users belong. Of a group
// whose members are not known nobody can say so.
bool is_trusted_group(const s_CHECK &check, gid_t group, e_CIRCLE eCircle) {
    const std::vector<uid_t> &members = known_members_of(group);
    const bool bClosed =
        !members.empty() && std::all_of(members.begin(), members.end(),
                                        [&](uid_t user) { return is_trusted(check, user); });
    return bClosed || (eCircle == CIRCLE_GROUP && check.bOwner && is_member(check.owner, group));
}

// What the mode's bits let a user do.
bool mode_allows(uid_t user, const struct stat &status, int iNeed) {
    const auto need = static_cast<mode_t>(iNeed);
    if (user == status.st_uid) {
        return (status.st_mode >> 6 & need) == need;
    }
    const mode_t bits = is_member(user, status.st_gid) ? status.st_mode >> 3 : status.st_mode;
    return (bits & need) == need;
}

std::string need_text(int iNeed) {
    const std::string read = (iNeed & R_OK) != 0 ? "read" : "";
    const std::string write = (iNeed & W_OK) != 0 ? "write" : "";
    return joined(joined(read, write), (iNeed & X_OK) != 0 ? "enter" : "");
}

// What keeps the owner from it when another, root as a rule, looks.
s_FAULT owner_fault(const s_CHECK &check, const std::string &path, int iNeed) {
    const std::string who = user_name(check.owner);
    for (const std::string &directory : way_to(path)) {
        struct stat status = {};
        if (::stat(directory.c_str(), &status) == 0 && !mode_allows(check.owner, status, X_OK)) {
            return {who + ", the installation's owner, cannot enter " + directory,
                    "chmod or chown " + shell_quoted(directory, QUOTES_NONE), DOUBTFUL, true};
        }
    }
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0 || mode_allows(check.owner, status, iNeed)) {
        return {};
    }
    return {who + ", the installation's owner, cannot " + need_text(iNeed) + " " + path,
            "chown " + who + " " + shell_quoted(path, QUOTES_NONE) +
                " or let only root run the agent",
            DOUBTFUL};
}

} // namespace

std::string user_name(uid_t user) {
    const passwd *entry = ::getpwuid(user);
    return entry == nullptr ? std::to_string(user) : entry->pw_name;
}

bool is_trusted(const s_CHECK &check, uid_t user) {
    return user == 0 || (check.bOwner && user == check.owner);
}

std::string strangers(const s_CHECK &check, const struct stat &status, mode_t need,
                      e_CIRCLE eCircle) {
    if ((status.st_mode & need) != 0) {
        return "everybody";
    }
    if ((status.st_mode & need << 3) != 0 && !is_trusted_group(check, status.st_gid, eCircle)) {
        return "group " + group_name(status.st_gid);
    }
    return is_trusted(check, status.st_uid) ? "" : "its owner " + user_name(status.st_uid);
}

std::vector<std::string> way_to(const std::string &path) {
    std::vector<std::string> way = {"/"};
    std::string place; // empty: the root
    std::string rest = path;
    int iLinks = 0;
    while (!rest.empty()) {
        const std::size_t slash = std::min(rest.find('/'), rest.size());
        const std::string name = rest.substr(0, slash);
        rest.erase(0, slash + 1);
        if (name.empty() || name == ".") {
            continue;
        }
        if (name == "..") {
            place.resize(place.find_last_of('/') == std::string::npos ? 0
                                                                      : place.find_last_of('/'));
            continue;
        }
        const std::string next = place + '/' + name;
        char szTarget[4096];
        const ssize_t length = ::readlink(next.c_str(), szTarget, sizeof szTarget);
        struct stat status = {};
        if (length > 0 && ++iLinks <= kMostLinks) {
            const std::string target(szTarget, static_cast<std::size_t>(length));
            place = target.front() == '/' ? "" : place;
            rest = target + '/' + rest;
        } else if (::stat(next.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
            place = next;
            way.push_back(next);
        }
    }
    return way;
}

bool is_outsider(const s_CHECK &check) {
    return !is_trusted(check, ::geteuid());
}

s_FAULT hidden_fault(const std::string &path) {
    return {path + " was not looked at, " + user_name(::geteuid()) + " may not",
            "let root or the user who runs the agent look", DOUBTFUL};
}

s_FAULT reading_fault(const s_CHECK &check, const std::string &file, int iErrno) {
    if (iErrno == EACCES && is_outsider(check)) {
        return hidden_fault(file);
    }
    const std::string reason = iErrno == EINVAL ? "it is no regular file" : error_text(iErrno);
    return {file + " cannot be read: " + reason, "make it readable, or remove it"};
}

s_FAULT access_fault(const s_CHECK &check, const std::string &path, int iNeed) {
    const int iLook = is_outsider(check) ? iNeed & ~W_OK : iNeed;
    if (::faccessat(AT_FDCWD, path.c_str(), iLook, AT_EACCESS) != 0) {
        const int iErrno = errno;
        if (iErrno == EACCES && is_outsider(check)) {
            return hidden_fault(path);
        }
        const std::string who = user_name(::geteuid());
        return {who + " cannot " + need_text(iNeed) + " " + path + ": " + error_text(iErrno),
                "give " + who + " the right, see ls -ld " + shell_quoted(path, QUOTES_NONE)};
    }
    const bool bOther = check.bOwner && check.owner != ::geteuid() && check.owner != 0;
    return bOther ? owner_fault(check, path, iNeed) : s_FAULT{};
}

s_FAULT directory_fault(const s_CHECK &check, const std::string &path, int iNeed) {
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0) {
        const int iErrno = errno;
        if (iErrno == EACCES && is_outsider(check)) {
            return hidden_fault(path);
        }
        return {"directory " + path + " cannot be found: " + error_text(iErrno),
                "create it, or correct the path"};
    }
    if (!S_ISDIR(status.st_mode)) {
        return {path + " is no directory", "name a directory"};
    }
    return access_fault(check, path, iNeed);
}
