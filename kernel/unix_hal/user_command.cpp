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
#include "common/unix/trace/trace.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

const char *gcpAllowList = "/etc/vorna_cmdusers.allow";

namespace {

constexpr int kRefused = 2;
constexpr std::size_t kCommandLimit = 1023;
constexpr std::size_t kLineLimit = 255; // of the allow list

struct s_COMMAND {
    std::string program;   // its path
    std::string line;      // the whole command line for a shell
    char **argv = nullptr; // instead of the line: the program's arguments
};

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

// What a line of the allow list permits the user.
bool line_allows(std::string_view line, const std::string &user, const std::string &program,
                 str_log *strLog) {
    line = line.substr(0, kLineLimit);
    if (!line.starts_with(user + ' ')) {
        return false;
    }
    if (line.find(user + " *") != std::string_view::npos) {
        trace_log(strLog, TRACE_EVENTS, "Line contains joker for command: %s", program.c_str());
        return true;
    }
    if (line.find(user + ' ' + program) != std::string_view::npos) {
        trace_log(strLog, TRACE_EVENTS, "Line contains command: %s", program.c_str());
        return true;
    }
    return false;
}

int refuse(const std::string &user, const std::string &program, char *cpMsg) {
    text_print(cpMsg, kMessageSize, "Command %s with user %s not allowed", program.c_str(),
               user.c_str());
    return kRefused;
}

// 0 when the allow list permits it, else the refusal.
int ask_allow_list(const std::string &user, const std::string &program, char *cpMsg,
                   str_log *strLog) {
    line_reader list(gcpAllowList);
    if (!list.is_open()) {
        text_print(cpMsg, kMessageSize, "could not open file %s", gcpAllowList);
        return kRefused;
    }
    std::string_view line;
    while (list.next(&line)) {
        if (line_allows(line, user, program, strLog)) {
            return 0;
        }
    }
    return refuse(user, program, cpMsg);
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
        return run_line("su - " + shell_quoted(user, QUOTES_NONE) + " -c '" +
                            shell_quoted(command.line, QUOTES_SINGLE) + "'",
                        strLog);
    }
    trace_log(strLog, TRACE_EVENTS, "User 'root'. Do not call by 'su -'");
    if (command.argv == nullptr) {
        return run_line(command.line, strLog);
    }
    trace_log(strLog, TRACE_EVENTS, "Cmd: [%s]", command.line.c_str());
    return state_of_program(i_cm_execvp_status(command.program.c_str(), command.argv));
}

// Puts the program directory before a relative program.
void make_absolute(const char *cpDirectory, s_COMMAND *command) {
    if (command->program[0] != '/') {
        command->program.insert(0, cpDirectory);
        command->line.insert(0, shell_quoted(cpDirectory, QUOTES_NONE));
    }
}

// 0 when the user may run the command, else the refusal.
int decide(const std::string &user, const s_COMMAND &command, const char *cpDirectory, char *cpMsg,
           str_log *strLog) {
    trace_log(strLog, TRACE_EVENTS, "Compare pathes %s %s", command.program.c_str(), cpDirectory);
    if (is_inside(command, cpDirectory)) {
        trace_log(strLog, TRACE_EVENTS, "Command allowed, bcs. in Vorna bin directory");
        return 0;
    }
    return ask_allow_list(user, command.program, cpMsg, strLog);
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

// Decides and runs. Returns the call's result, with the message.
int execute(const std::string &user, const char *cpCmd, char **ArgList, char *cpMsg,
            str_log *strLog) {
    char szDirectory[1024]; // a path that is cut would name another directory
    char szError[256];
    i_READ_INI("VN_INI", "[Pathes]", "gv_ro_bin", szDirectory, sizeof szDirectory, szError,
               sizeof szError);
    s_COMMAND command = find_command(cpCmd, ArgList, strLog);
    if (!fits(command, user)) {
        text_copy(cpMsg, kMessageSize, "command is too long");
        return kRefused;
    }
    trace_log(strLog, TRACE_EVENTS, "Cmd2: [%s]", command.program.c_str());
    if (command.program.empty()) {
        return refuse(user, "", cpMsg);
    }
    make_absolute(szDirectory, &command);
    if (user.empty() || user[0] == '-') { // would be an option of su
        return refuse(user, command.program, cpMsg);
    }
    if (const int iRefused = decide(user, command, szDirectory, cpMsg, strLog)) {
        return iRefused;
    }
    return result_of(run(user, command, strLog), cpMsg, strLog);
}

} // namespace

int i_EXECUTE_USER_COMMAND(const char *cpUser, const char *cpCmd, char **ArgList, char *cpMsg,
                           str_log strLog) {
    trace_log(&strLog, TRACE_EVENTS, "+++ EXECUTE_USER_COMMAND %s %s", cpUser, cpCmd);
    const int iResult = execute(cpUser, cpCmd, ArgList, cpMsg, &strLog);
    trace_log(&strLog, TRACE_EVENTS, "--- EXECUTE_USER_COMMAND: %s", cpMsg);
    return iResult;
}
