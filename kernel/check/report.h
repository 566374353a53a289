// What a check of an installation knows and says: a line for each thing that was looked at.
#pragma once

#include <map>
#include <set>
#include <string>
#include <sys/types.h>
#include <vector>

enum e_VERDICT { RIGHT = 0, DOUBTFUL = 1, WRONG = 2 }; // also the exit status of the worst

// A check while it is under way.
struct s_CHECK {
    bool bQuiet = false;              // only what is not right is said
    e_VERDICT eWorst = RIGHT;         // of all that was said
    bool bPath = false;               // there is a PATH
    bool bOwnPath = true;             // it is the caller's, not one that was named
    std::string path;                 // the PATH with which the agent is started
    std::string main_ini;             // the main INI file; empty: there is none that can be read
    std::vector<std::string> central; // the central files that were asked and are there
    std::map<std::string, std::string> paths; // the directories of "[Pathes]" that can be used
    std::string vtpd_ini;                     // the transfer daemon's INI file; empty: not known
    std::string protocol;                     // the protocol's path; empty: not known
    bool bOwner = false;                      // the installation's owner is known
    uid_t owner = 0;                          // who owns the root of all that is written
    std::set<std::string> told; // lines of files, and places, of which a fault has been said
};

// What is not right about something; empty: nothing.
struct s_FAULT {
    std::string what;
    std::string mend;
    e_VERDICT eVerdict = WRONG;
    bool bShared = false; // other subjects have the same fault: it is said of the first
};

// "right: <what>", not with bQuiet; "doubtful: <what>; mend: <how>"; "wrong: <what>; mend: <how>".
void say_right(s_CHECK *check, const std::string &what);
void say_doubtful(s_CHECK *check, const std::string &what, const std::string &mend);
void say_wrong(s_CHECK *check, const std::string &what, const std::string &mend);

// The fault of a subject: "<subject>: <what>". False when there is none.
bool say_fault(s_CHECK *check, const std::string &subject, const s_FAULT &fault);

// Notes that a fault of this line or place is said. False when it was before.
bool tell_once(s_CHECK *check, const std::string &place);

// Texts one behind the other, with ", " between them.
std::string joined(const std::string &list, const std::string &next);
