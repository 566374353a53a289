// Who could direct the agent, see permissions.h. A place is a file or directory; its fault is said
// once, however much lies below it.
#include "kernel/check/rights/permissions.h"

#include "common/common/shell_quote.h"
#include "common/common/text.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/system/access_list.h"
#include "kernel/check/programs.h"
#include "kernel/check/rights/owner.h"
#include "kernel/unix_hal/user_command.h"

#include <cerrno>
#include <string_view>
#include <sys/stat.h>

namespace {

// What is looked at, and who may change it.
struct s_GUARDED {
    const char *cpKey; // of "[Pathes]"
    const char *cpUse;
    const char *cpBelow; // a directory in it; null: the directory itself
    e_CIRCLE eCircle;
    bool bEntries; // what lies in it is looked at, too
};

constexpr s_GUARDED kGuarded[] = {
    {"gv_rw_ini", "the INI files", nullptr, CIRCLE_OWNER, true},
    {"gv_ro", "the programs", nullptr, CIRCLE_OWNER, false},
    {"gv_ro_bin", "the programs", nullptr, CIRCLE_OWNER, true},
    {"gv_ro_vns", "the programs of the media server", nullptr, CIRCLE_OWNER, true},
    {"gv_ro_db", "the programs of the database", nullptr, CIRCLE_OWNER, true},
    {"gv_ro_pgsql", "the programs of the database", nullptr, CIRCLE_OWNER, true},
    {"gv_rw_tmp", "the lists of processes to stop", nullptr, CIRCLE_OWNER, false},
    {"gv_rw_glbv", "the global variables", nullptr, CIRCLE_GROUP, true},
    {"gv_rw_work", "the work directory", nullptr, CIRCLE_GROUP, false},
    {"gv_rw_work", "the semaphores", "sem/", CIRCLE_GROUP, true},
    {"gv_rw_lgc", "the traces", nullptr, CIRCLE_GROUP, true},
};

// One place. bSticky: a sticky directory, in which one cannot replace what is another's, is none to
// everybody's will.
bool check_place(s_CHECK *check, const std::string &place, const struct stat &status,
                 const std::string &use, e_CIRCLE eCircle, bool bSticky) {
    struct stat judged = status;
    if (bSticky && (status.st_mode & S_ISVTX) != 0) {
        judged.st_mode &= ~static_cast<mode_t>(S_IWGRP | S_IWOTH);
    }
    const std::string who = strangers(*check, judged, S_IWOTH, eCircle);
    if (who.empty() && has_access_list(place)) {
        if (tell_once(check, place)) {
            say_doubtful(check, place + " has an access list, which was not looked at",
                         "see getfacl " + shell_quoted(place, QUOTES_NONE));
        }
        return false;
    }
    if (who.empty()) {
        return true;
    }
    if (tell_once(check, place)) {
        const std::string owner = check->bOwner ? user_name(check->owner) : "root";
        const bool bMode = who == "everybody" || who.starts_with("group");
        say_wrong(
            check, who + " can change " + place + " and thereby " + use,
            (bMode ? (who == "everybody" ? "chmod o-w " : "chmod g-w ") : "chown " + owner + " ") +
                shell_quoted(place, QUOTES_NONE));
    }
    return false;
}

// The place itself and all directories on the way to it.
bool check_way(s_CHECK *check, const std::string &path, const std::string &use, e_CIRCLE eCircle) {
    bool bGood = true;
    struct stat own = {};
    if (::stat(path.c_str(), &own) != 0) {
        say_doubtful(check, "who may change " + path + " was not looked at: " + error_text(errno),
                     "make it readable or create it");
        return false;
    }
    for (const std::string &directory : way_to(path)) {
        struct stat status = {};
        if (::stat(directory.c_str(), &status) != 0) {
            continue; // gone by now
        }
        const bool bItself = status.st_dev == own.st_dev && status.st_ino == own.st_ino;
        bGood = check_place(check, directory, status, use, eCircle, !bItself) && bGood;
    }
    return S_ISDIR(own.st_mode) ? bGood
                                : check_place(check, path, own, use, eCircle, false) && bGood;
}

// What cannot be asked for, unless it is gone by now. Returns whether it is.
bool is_gone(s_CHECK *check, const std::string &path, int iErrno) {
    if (iErrno == ENOENT) {
        return true;
    }
    say_doubtful(check, "who may change " + path + " was not looked at: " + error_text(iErrno),
                 "let root run the check");
    return false;
}

bool check_entry(s_CHECK *check, const std::string &path, const s_GUARDED &guarded) {
    struct stat status = {};
    if (::lstat(path.c_str(), &status) != 0) {
        return is_gone(check, path, errno);
    }
    if (S_ISLNK(status.st_mode)) {
        return ::stat(path.c_str(), &status) != 0
                   ? is_gone(check, path, errno)
                   : check_way(check, path, guarded.cpUse, guarded.eCircle);
    }
    return check_place(check, path, status, guarded.cpUse, guarded.eCircle, false);
}

// All that lies in a directory. False when something there has a fault or it cannot be listed.
bool check_entries(s_CHECK *check, const std::string &directory, const s_GUARDED &guarded) {
    const unique_directory list(::opendir(directory.c_str()));
    if (!list) {
        say_doubtful(check, directory + " was not looked into: " + error_text(errno),
                     "let root run the check");
        return false;
    }
    bool bGood = true;
    errno = 0; // what tells an error of readdir from the end
    while (const dirent *entry = ::readdir(list.get())) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") {
            bGood = check_entry(check, directory + std::string(name), guarded) && bGood;
        }
        errno = 0;
    }
    return (errno == 0 || is_gone(check, "all of " + directory, errno)) && bGood;
}

std::string circle_text(const s_CHECK &check, e_CIRCLE eCircle) {
    const bool bOther = check.bOwner && check.owner != 0;
    const std::string who = bOther ? "root and " + user_name(check.owner) : "root";
    return "only " + who + (eCircle == CIRCLE_GROUP && bOther ? " and his groups" : "");
}

void check_guarded(s_CHECK *check, const s_GUARDED &guarded) {
    const auto place = check->paths.find(guarded.cpKey);
    if (place == check->paths.end()) {
        return; // said when the directories were looked at
    }
    struct stat status = {};
    const std::string path = place->second + (guarded.cpBelow == nullptr ? "" : guarded.cpBelow);
    if (guarded.cpBelow != nullptr && ::stat(path.c_str(), &status) != 0) {
        return; // likewise
    }
    bool bGood = check_way(check, path, guarded.cpUse, guarded.eCircle);
    bGood = (!guarded.bEntries || check_entries(check, path, guarded)) && bGood;
    if (bGood) {
        say_right(check, circle_text(*check, guarded.eCircle) + " may change " + path +
                             (guarded.bEntries ? " and what lies there" : ""));
    }
}

// What may hold names and commands is not for all to read.
void check_reading(s_CHECK *check, const std::string &directory, const std::string &use) {
    struct stat status = {};
    if (::stat(directory.c_str(), &status) != 0) {
        return; // said when it was looked for
    }
    if ((status.st_mode & (S_IROTH | S_IXOTH)) != 0) {
        say_doubtful(check,
                     use + " in " + directory +
                         " may hold names and commands, and everybody may look there",
                     "chmod o-rx " + shell_quoted(directory, QUOTES_NONE));
    } else {
        say_right(check, use + " in " + directory + " cannot be read by everybody");
    }
}

// One who may set VORNA_INI for a program with others' rights directs it.
void check_set_user_id(s_CHECK *check) {
    std::string other;
    const auto place = check->paths.find("gv_ro_bin");
    std::string agent = place == check->paths.end() ? "" : place->second + "vn_client";
    struct stat status = {};
    if (::stat(agent.c_str(), &status) != 0) {
        agent = search_program(*check, check->path, "vn_client", &other);
    }
    if (::stat(agent.c_str(), &status) != 0) {
        say_doubtful(check,
                     "whether the agent has a set-id bit was not looked at: vn_client is "
                     "neither in gv_ro_bin nor in PATH",
                     "name its directory by -p");
    } else if ((status.st_mode & (S_ISUID | S_ISGID)) != 0) {
        say_wrong(check, agent + " has a set-id bit: its callers direct it by VORNA_INI",
                  "chmod ug-s " + shell_quoted(agent, QUOTES_NONE));
    } else {
        say_right(check, agent + " has no set-id bit");
    }
}

void check_file(s_CHECK *check, const std::string &file, const std::string &use) {
    if (check_way(check, file, use, CIRCLE_OWNER)) {
        say_right(check, circle_text(*check, CIRCLE_OWNER) + " may change " + file);
    }
}

void check_protocol(s_CHECK *check) {
    if (check->protocol.empty()) {
        return;
    }
    const std::string directory = check->protocol.substr(0, check->protocol.rfind('/') + 1);
    const std::string files[] = {check->protocol, check->protocol + ".err"};
    bool bGood = check_way(check, directory, "the protocol", CIRCLE_GROUP);
    for (const std::string &file : files) {
        struct stat status = {};
        const bool bThere = ::stat(file.c_str(), &status) == 0;
        bGood = (bThere ? check_way(check, file, "the protocol", CIRCLE_GROUP)
                        : is_gone(check, file, errno)) &&
                bGood;
    }
    if (bGood) {
        say_right(check, circle_text(*check, CIRCLE_GROUP) + " may change " + check->protocol);
    }
    check_reading(check, directory, "the protocol");
}

} // namespace

bool CHECK_WAY(s_CHECK *check, const std::string &path, const std::string &use) {
    return check_way(check, path, use, CIRCLE_OWNER);
}

void CHECK_PERMISSIONS(s_CHECK *check) {
    if (!check->bOwner) {
        return; // said when there was no main INI file
    }
    for (const std::string &file : check->central) {
        check_file(check, file, "the central file");
    }
    struct stat status = {};
    if (::stat(gcpAllowList, &status) == 0) {
        check_file(check, gcpAllowList, "the allow list");
    }
    check_file(check, check->main_ini, "the main INI file");
    if (!check->vtpd_ini.empty()) {
        check_file(check, check->vtpd_ini, "the transfer daemon's port");
    }
    for (const s_GUARDED &guarded : kGuarded) {
        check_guarded(check, guarded);
    }
    check_set_user_id(check);
    const auto traces = check->paths.find("gv_rw_lgc");
    if (traces != check->paths.end()) {
        check_reading(check, traces->second, "the traces");
    }
    check_protocol(check);
}
