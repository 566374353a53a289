// The central file, see central.h.
#include "kernel/check/configuration/central.h"

#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/configuration/ini.h"
#include "common/unix/files/regular_file.h"
#include "kernel/check/configuration/ini_lines.h"
#include "kernel/check/rights/owner.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr char kMain[] = "VN_INI";

// What a place is to the agent.
struct s_PLACE {
    std::string file;
    bool bNamed = false;  // by VORNA_INI
    int iErrno = 0;       // why it cannot be read
    std::string main_ini; // the main INI file that it names; empty: none
    std::string vtpd_ini; // and the INI file of the transfer daemon
};

std::string file_named(const s_PLACE &place, const char *cpIdentifier) {
    char szValue[1024];
    char szMsg[kMessageSize];
    const bool bFound = place.iErrno == 0 && i_GetPrivateProfileString(
                                                 place.file.c_str(), nullptr, cpIdentifier, szValue,
                                                 sizeof szValue, szMsg, sizeof szMsg) == 1;
    return bFound ? szValue : "";
}

std::vector<s_PLACE> places() {
    std::vector<s_PLACE> result;
    const std::vector<std::string> files = ini_central_files();
    for (const std::string &file : files) {
        s_PLACE place;
        place.file = file;
        place.bNamed = files.size() == 3 && result.empty();
        place.iErrno = open_regular(file.c_str()) ? 0 : errno;
        place.main_ini = file_named(place, kMain);
        place.vtpd_ini = file_named(place, "VTPD_INI");
        result.push_back(place);
    }
    return result;
}

std::string title_of(const s_PLACE &place) {
    return "central file " + place.file + (place.bNamed ? " (VORNA_INI)" : "");
}

// One that the agent passes over. Returns whether that is a fault.
bool say_passed(s_CHECK *check, const s_PLACE &place) {
    if (place.bNamed && place.file.empty()) {
        say_wrong(check, "VORNA_INI is too long and not used",
                  "give the central file a path of at most 127 bytes");
        return true;
    }
    if (place.iErrno == ENOENT && !place.bNamed) {
        say_right(check, title_of(place) + " is not there, it is passed over");
        return false;
    }
    if (place.iErrno != 0) {
        s_FAULT fault = reading_fault(*check, place.file, place.iErrno);
        fault.mend = place.bNamed ? "correct VORNA_INI, or unset it" : fault.mend;
        say_fault(check, title_of(place) + " is passed over", fault);
        return true;
    }
    check->central.push_back(place.file);
    return read_checked(check, place.file, "", kMain, "it is passed over", WRONG).bTold;
}

void say_used(s_CHECK *check, const s_PLACE &place) {
    check->central.push_back(place.file);
    say_right(check, title_of(place) + " is used, it names the main INI file " + place.main_ini);
}

void say_unasked(s_CHECK *check, const s_PLACE &place, const s_PLACE &used) {
    if (used.vtpd_ini.empty() && !place.vtpd_ini.empty()) {
        check->central.push_back(place.file); // it tells where vtpd.ini is
    }
    if (place.main_ini.empty() || place.main_ini == used.main_ini) {
        say_right(check, title_of(place) + (place.iErrno == ENOENT ? " is not there" : "") +
                             ", it is not asked for the main INI file");
    } else if (used.bNamed) {
        say_doubtful(check,
                     title_of(place) + " names another main INI file, " + place.main_ini +
                         ", for calls without VORNA_INI",
                     "set VORNA_INI in all calls, or let both name the same");
    } else {
        say_doubtful(check,
                     title_of(place) +
                         " is passed over, though it names another main INI "
                         "file, " +
                         place.main_ini,
                     "remove one of the two");
    }
}

// The file that was named, as the agent opens it.
void check_main(s_CHECK *check, const s_PLACE &used) {
    const s_VALUE_READ read = read_checked(check, used.file, "", kMain, "", WRONG);
    const std::string &file = used.main_ini;
    if (read.bTold) {
        return;
    }
    if (file.front() != '/') {
        say_wrong(check, "main INI file " + file + " is sought from the caller's directory on",
                  "write its whole path in " + used.file);
    } else if (!open_regular(file.c_str())) {
        s_FAULT fault = reading_fault(*check, file, errno);
        fault.mend = fault.eVerdict == WRONG ? "create it, or correct " + used.file : fault.mend;
        say_fault(check, "main INI file", fault);
    } else {
        check->main_ini = file;
        say_right(check, "main INI file " + file + " can be read");
    }
}

} // namespace

void CHECK_CENTRAL(s_CHECK *check) {
    const std::vector<s_PLACE> all = places();
    const s_PLACE *used = nullptr;
    bool bSaid = false;
    for (const s_PLACE &place : all) {
        if (used != nullptr) {
            say_unasked(check, place, *used);
        } else if (place.main_ini.empty()) {
            bSaid = say_passed(check, place) || bSaid;
        } else {
            used = &place;
            say_used(check, place);
        }
    }
    if (used != nullptr) {
        check_main(check, *used);
    } else if (!bSaid) {
        say_wrong(check, "no central file is there",
                  "write VN_INI=<main INI file> into " + all.back().file);
    }
}
