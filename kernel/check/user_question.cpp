// Would function x run it? See user_question.h.
#include "kernel/check/user_question.h"

#include "common/common/types.h"
#include "common/unix/configuration/ini.h"
#include "kernel/check/programs.h"
#include "kernel/check/rights/owner.h"
#include "kernel/request/options.h"
#include "kernel/unix_hal/user_command.h"

#include <cstring>
#include <pwd.h>
#include <string>
#include <unistd.h>

namespace {

constexpr char kFix[] = "correct the call";

// What the front end refuses before it asks for the command.
s_FAULT call_fault(const char *cpUser, const char *cpCommand, int iWords, char **words) {
    option_set('u', cpUser);
    option_set('s', cpCommand == nullptr ? "" : cpCommand);
    option_set_words(iWords, words);
    if (gszOpt_u[0] == '\0') {
        return {"refused: missing option -u user", kFix};
    }
    if (const char cOption = option_first_cut("us")) {
        return {std::string("refused: option -") + cOption + " is too long", kFix};
    }
    if (std::strcmp(cpUser, "vbccopy") == 0 && gszOpt_s[0] == '\0') {
        return {"refused: missing option -s command", "give the command of vbccopy by -s"};
    }
    return {};
}

std::string line_text(const s_COMMAND_DECISION &decision) {
    return "line " + std::to_string(decision.iLine) + " of " + gcpAllowList + " (" +
           decision.list_line + ")";
}

s_FAULT refusal_of(const s_COMMAND_DECISION &decision, const std::string &user) {
    const std::string &program = decision.command.program;
    switch (decision.eRule) {
    case COMMAND_TOO_LONG:
        return {"refused: command is too long", "shorten it"};
    case COMMAND_MISSING:
        return {"refused: there is no program", kFix};
    case COMMAND_NO_USER:
        return {"refused: no user may begin with \"-\"", kFix};
    case COMMAND_NO_LIST:
        return {program + " is refused: it is not in the program directory, and the allow list " +
                    gcpAllowList + " cannot be read",
                "write the line \"" + user + " " + program + "\" into it"};
    case COMMAND_NOT_ALLOWED:
        return {program + " is refused: it is not in the program directory, and no line of " +
                    gcpAllowList + " permits it",
                "write the line \"" + user + " " + program + "\" into it"};
    default:
        return {};
    }
}

std::string rule_of(const s_COMMAND_DECISION &decision) {
    switch (decision.eRule) {
    case COMMAND_BY_JOKER:
        return line_text(decision) + " permits every program";
    case COMMAND_BY_LINE:
        return line_text(decision) + " contains it";
    default:
        return "it is in the program directory, which is allowed to all users";
    }
}

// What su needs to become the user.
s_FAULT su_fault(const s_CHECK &check, const std::string &user) {
    const passwd *entry = ::getpwnam(user.c_str());
    if (entry == nullptr) {
        return {"this machine does not know the user " + user, "make the user"};
    }
    const std::string shell = entry->pw_shell[0] == '\0' ? "/bin/sh" : entry->pw_shell;
    const std::string name = shell.substr(shell.rfind('/') + 1);
    if (name == "nologin" || name == "false") {
        return {user + "'s shell is " + shell + ", which runs no command",
                "give " + user + " a shell"};
    }
    s_FAULT fault = program_fault(check, shell);
    if (fault.what.empty()) {
        std::string file;
        fault = find_program(check, "su", &file);
    }
    if (fault.what.empty() && ::geteuid() != 0) {
        return {"su would ask " + user_name(::geteuid()) + " for a password and fail",
                "run the agent, and this check, as root"};
    }
    return fault;
}

s_FAULT user_fault(const s_CHECK &check, const std::string &user) {
    if (user != "root") {
        return su_fault(check, user);
    }
    if (::geteuid() != 0) {
        return {"the command of root runs as " + user_name(::geteuid()) + ", as the agent would",
                "run the agent, and this check, as root", DOUBTFUL};
    }
    return {};
}

// Without it every call ends before it comes to its command.
s_FAULT program_directory_fault() {
    char szDirectory[1024];
    char szMsg[kMessageSize];
    if (i_READ_INI("VN_INI", "[Pathes]", "gv_ro_bin", szDirectory, sizeof szDirectory, szMsg,
                   sizeof szMsg) == 1) {
        return {};
    }
    return {std::string("every call is refused, gv_ro_bin cannot be read (") + szMsg + ")",
            "see vn_check without -u"};
}

} // namespace

void CHECK_USER_COMMAND(s_CHECK *check, const char *cpUser, const char *cpCommand, int iWords,
                        char **words) {
    const std::string user = cpUser;
    const std::string title = "x -u " + user;
    if (say_fault(check, title, program_directory_fault()) ||
        say_fault(check, title, call_fault(cpUser, cpCommand, iWords, words))) {
        return;
    }
    if (user == "vbccopy") {
        say_right(check, title + " runs every command through the shell as " +
                             user_name(::geteuid()) + ", no rule is asked");
        return;
    }
    const s_COMMAND_DECISION decision = decide_user_command(user, gszOpt_s, words, &strLog);
    if (say_fault(check, title, refusal_of(decision, user))) {
        return;
    }
    const std::string &program = decision.command.program;
    say_right(check, title + " may run " + program + ": " + rule_of(decision) +
                         (decision.command.argv == nullptr
                              ? ", what follows the program is the shell's and not looked at"
                              : ""));
    const bool bProgram = !say_fault(check, title, program_fault(*check, program));
    const bool bUser = !say_fault(check, title, user_fault(*check, user));
    if (bProgram && bUser) {
        say_right(check, title + " runs " + program);
    }
}
