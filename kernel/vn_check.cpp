// The check's entry: looks at an installation with the agent's own code, and changes nothing.
// Whatever cannot be looked at is said, and what was not said to be right is not.
#include "common/unix/configuration/ini.h"
#include "kernel/check/call.h"
#include "kernel/check/configuration/central.h"
#include "kernel/check/configuration/ini_lines.h"
#include "kernel/check/configuration/levels.h"
#include "kernel/check/configuration/pathes.h"
#include "kernel/check/configuration/settings.h"
#include "kernel/check/configuration/variables.h"
#include "kernel/check/programs.h"
#include "kernel/check/report.h"
#include "kernel/check/rights/allow_list.h"
#include "kernel/check/rights/permissions.h"
#include "kernel/check/user_question.h"
#include "kernel/unix_hal/user_command.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

void use_etc(const std::string &directory) {
    static const std::string first = directory + "/opt/vorna/vorna.ini";
    static const std::string second = directory + "/vorna2000.ini";
    static const std::string list = directory + "/vorna_cmdusers.allow";
    gIniPlaces = {{first.c_str(), second.c_str()}};
    gcpAllowList = list.c_str();
}

void check_configuration(s_CHECK *check) {
    if (check->main_ini.empty()) {
        say_doubtful(check,
                     "directories, variables, settings, levels, programs and permissions "
                     "were not looked at: no main INI file can be read",
                     "the central file first");
        return;
    }
    CHECK_OWNER(check);
    CHECK_PATHES(check);
    CHECK_SETTINGS(check);
    CHECK_INI_LINES(check, check->main_ini);
    CHECK_VARIABLES(check);
    CHECK_LEVELS(check);
    CHECK_PROGRAMS(check);
}

void check_installation(s_CHECK *check) {
    CHECK_CENTRAL(check);
    for (const std::string &file : check->central) {
        CHECK_INI_LINES(check, file);
    }
    check_configuration(check);
    CHECK_ALLOW_LIST(check);
    CHECK_PERMISSIONS(check);
}

} // namespace

int main(int argc, char **argv) {
    const s_CHECK_CALL call = CHECK_ARGUMENTS(argc, argv);
    s_CHECK check;
    const char *cpPath = call.cpPath == nullptr ? std::getenv("PATH") : call.cpPath;
    check.bQuiet = call.bQuiet;
    check.bPath = cpPath != nullptr;
    check.bOwnPath = call.cpPath == nullptr;
    check.path = cpPath == nullptr ? "" : cpPath;
    if (call.cpEtc != nullptr) {
        use_etc(call.cpEtc);
    }
    if (call.cpUser != nullptr) {
        CHECK_USER_COMMAND(&check, call.cpUser, call.cpCommand, call.iWords, call.words);
    } else {
        check_installation(&check);
    }
    // An answer that nobody got is no good one.
    return std::fflush(stdout) == 0 && std::ferror(stdout) == 0 ? check.eWorst : WRONG;
}
