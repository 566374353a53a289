// Running a command for a user, see user_command.h. What is allowed is decided on the program's
// path; docs/security.md says what this trusts.
#include "kernel/unix_hal/user_command.h"

#include "common/common/shell_quote.h"
#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/configuration/ini.h"
#include "common/unix/files/line_reader.h"
#include "common/unix/processes/child.h"
#include "common/unix/processes/run.h"
#include "common/unix/system/user_switch.h"
#include "common/unix/trace/trace.h"

#include <algorithm>
#include <cstring>
#include <string>

const char *gcpAllowList = "/etc/vorna_cmdusers.allow";

namespace {

constexpr int kRefused = 2;
constexpr std::size_t kCommandLimit = 1023;

// The argument vector as a command line that means itself.
std::string line_of(char **argv) {
    std::string line;
    for (; *argv != nullptr; ++argv) {
        line += (line.empty() ? "" : " ") + shell_quoted(*argv, QUOTES_NONE);
    }
    return line;
}

// Finds what is to be run; the program is empty when there is nothing. In a line for the shell the
// program's word ends where the shell ends it: at a blank or at the sign of a list, pipe or
// redirection.
s_COMMAND find_command(const char *cpCmd, char **ArgList, str_log *strLog) {
    s_COMMAND command;
    if (cpCmd[0] != '\0') {
        const std::string_view line = cpCmd;
        command.line = line.substr(std::min(line.find_first_not_of(' '), line.size()));
        command.program = command.line.substr(0, command.line.find_first_of(" ;|&<>"));
    } else if (ArgList != nullptr && ArgList[0] != nullptr) {
        trace_log(strLog, TRACE_EVENTS, "Use command from argv: [%s]", ArgList[0]);
        command.argv = ArgList;
        command.program = ArgList[0];
        command.line = line_of(ArgList);
    }
    return command;
}

// The program always, the line where su gets it.
bool fits(const s_COMMAND &command, const std::string &user) {
    return command.program.size() <= kCommandLimit &&
           (user == "root" || command.line.size() <= kCommandLimit);
}

// A program inside the directory; one whose path only begins with the same letters, or leads out of
// it again, is not. Nor is a word that the shell would make something else of.
bool is_inside(const s_COMMAND &command, std::string_view directory) {
    const std::string_view program = command.program;
    const std::string_view name =
        program.substr(std::min(directory.size(), program.size())); // the directory is quoted
    const bool bPlain = command.argv != nullptr || shell_quoted(name, QUOTES_NONE) == name;
    return bPlain && !directory.empty() && program.starts_with(directory) &&
           !path_goes_up(program) &&
           (directory.back() == '/' || program.substr(directory.size()).starts_with("/"));
}

// Puts the program directory before a relative program.
void make_absolute(const char *cpDirectory, s_COMMAND *command) {
    if (command->program[0] != '/') {
        command->program.insert(0, cpDirectory);
        command->line.insert(0, shell_quoted(cpDirectory, QUOTES_NONE));
    }
}

// Which line of the allow list permits the program.
void ask_allow_list(const std::string &user, s_COMMAND_DECISION *decision, str_log *strLog) {
    line_reader list(gcpAllowList);
    decision->eRule = list.is_open() ? COMMAND_NOT_ALLOWED : COMMAND_NO_LIST;
    std::string_view line;
    while (list.next(&line)) {
        ++decision->iLine;
        const e_COMMAND_RULE eRule = allow_line_rule(line, user, decision->command.program);
        if (eRule != COMMAND_NOT_ALLOWED) {
            trace_log(strLog, TRACE_EVENTS, "Line contains %scommand: %s",
                      eRule == COMMAND_BY_JOKER ? "joker for " : "",
                      decision->command.program.c_str());
            decision->eRule = eRule;
            decision->list_line = line.substr(0, ALLOW_LINE_LENGTH);
            return;
        }
    }
}

// The exit state of what i_cm_execvp_status returned; its ends that are no wait status stay.
int state_of_program(int iStatus) {
    const int iState = exit_state(iStatus);
    return iStatus < 0 || iStatus == kNotPrepared || iState == 0 ? iStatus : iState;
}

// Runs a command line. Returns its exit state, or what else the start returned.
int run_line(const std::string &line, str_log *strLog) {
    trace_log(strLog, TRACE_EVENTS, "Cmd: [%s]", line.c_str());
    int iStatus = 0;
    const int iRet = i_cm_system_status(line.c_str(), &iStatus);
    return iRet == 0 ? exit_state(iStatus) : iRet;
}

// Runs the command as the user. Returns as above.
int run(const std::string &user, const s_COMMAND &command, str_log *strLog) {
    if (user != "root") {
        const s_USER_SWITCH &how = kUserSwitches[kThisSystem];
        return run_line(how.cpProgram + shell_quoted(user, QUOTES_NONE) + how.cpCommand + '\'' +
                            shell_quoted(command.line, QUOTES_SINGLE) + '\'',
                        strLog);
    }
    trace_log(strLog, TRACE_EVENTS, "User 'root'. Do not call by 'su -'");
    if (command.argv == nullptr) {
        return run_line(command.line, strLog);
    }
    trace_log(strLog, TRACE_EVENTS, "Cmd: [%s]", command.line.c_str());
    return state_of_program(i_cm_execvp_status(command.program.c_str(), command.argv));
}

// The call's result for the command's exit state, with the message.
int result_of(int iRet, char *cpMsg, str_log *strLog) {
    if (iRet != 0) {
        text_print(cpMsg, kMessageSize, "Program returned exit state %d", iRet);
        trace_log(strLog, TRACE_EVENTS, "Execution returned error: iRet = %d", iRet);
        return kRefused;
    }
    text_copy(cpMsg, kMessageSize, "success");
    trace_log(strLog, TRACE_EVENTS, "Execution returned ok: iRet = %d", iRet);
    return 0;
}

// The refusal by a decision, with the message.
int refuse(const std::string &user, const s_COMMAND_DECISION &decision, char *cpMsg) {
    if (decision.eRule == COMMAND_TOO_LONG) {
        text_copy(cpMsg, kMessageSize, "command is too long");
    } else if (decision.eRule == COMMAND_NO_LIST) {
        text_print(cpMsg, kMessageSize, "could not open file %s", gcpAllowList);
    } else {
        text_print(cpMsg, kMessageSize, "Command %s with user %s not allowed",
                   decision.command.program.c_str(), user.c_str());
    }
    return kRefused;
}

} // namespace

bool command_is_allowed(e_COMMAND_RULE eRule) {
    return eRule == COMMAND_IN_DIRECTORY || eRule == COMMAND_BY_JOKER || eRule == COMMAND_BY_LINE;
}

e_COMMAND_RULE allow_line_rule(std::string_view line, const std::string &user,
                               const std::string &program) {
    line = line.substr(0, ALLOW_LINE_LENGTH);
    if (!line.starts_with(user + ' ')) {
        return COMMAND_NOT_ALLOWED;
    }
    if (line.find(user + " *") != std::string_view::npos) {
        return COMMAND_BY_JOKER;
    }
    return line.find(user + ' ' + program) != std::string_view::npos ? COMMAND_BY_LINE
                                                                     : COMMAND_NOT_ALLOWED;
}

s_COMMAND_DECISION decide_user_command(const std::string &user, const char *cpCmd, char **ArgList,
                                       str_log *strLog) {
    char szDirectory[1024]; // a path that is cut would name another directory
    char szError[256];
    i_READ_INI("VN_INI", "[Pathes]", "gv_ro_bin", szDirectory, sizeof szDirectory, szError,
               sizeof szError);
    s_COMMAND_DECISION decision;
    decision.command = find_command(cpCmd, ArgList, strLog);
    if (!fits(decision.command, user)) {
        decision.eRule = COMMAND_TOO_LONG;
        return decision;
    }
    trace_log(strLog, TRACE_EVENTS, "Cmd2: [%s]", decision.command.program.c_str());
    if (decision.command.program.empty()) {
        decision.eRule = COMMAND_MISSING;
        return decision;
    }
    make_absolute(szDirectory, &decision.command);
    if (user.empty() || user[0] == '-') { // would be an option of su
        decision.eRule = COMMAND_NO_USER;
        return decision;
    }
    trace_log(strLog, TRACE_EVENTS, "Compare pathes %s %s", decision.command.program.c_str(),
              szDirectory);
    if (is_inside(decision.command, szDirectory)) {
        trace_log(strLog, TRACE_EVENTS, "Command allowed, bcs. in Vorna bin directory");
        decision.eRule = COMMAND_IN_DIRECTORY;
    } else {
        ask_allow_list(user, &decision, strLog);
    }
    return decision;
}

int i_EXECUTE_USER_COMMAND(const char *cpUser, const char *cpCmd, char **ArgList, char *cpMsg,
                           str_log strLog) {
    trace_log(&strLog, TRACE_EVENTS, "+++ EXECUTE_USER_COMMAND %s %s", cpUser, cpCmd);
    const s_COMMAND_DECISION decision = decide_user_command(cpUser, cpCmd, ArgList, &strLog);
    const int iResult = command_is_allowed(decision.eRule)
                            ? result_of(run(cpUser, decision.command, &strLog), cpMsg, &strLog)
                            : refuse(cpUser, decision, cpMsg);
    trace_log(&strLog, TRACE_EVENTS, "--- EXECUTE_USER_COMMAND: %s", cpMsg);
    return iResult;
}
