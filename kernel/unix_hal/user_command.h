// Running a command for a user.
#pragma once

#include "common/unix/trace/trace.h"

#include <string>
#include <string_view>

// What is to be run.
struct s_COMMAND {
    std::string program;   // its path
    std::string line;      // the whole command line for a shell
    char **argv = nullptr; // instead of the line: the program's arguments
};

// What decides whether a command is run.
enum e_COMMAND_RULE {
    COMMAND_NOT_ALLOWED,  // no line of the allow list permits it
    COMMAND_NO_LIST,      // and there is no list that can be read
    COMMAND_TOO_LONG,     // program or line do not fit
    COMMAND_MISSING,      // there is no program
    COMMAND_NO_USER,      // the user is empty or would be an option
    COMMAND_IN_DIRECTORY, // the program directory allows it to all users
    COMMAND_BY_JOKER,     // a line allows the user everything
    COMMAND_BY_LINE       // a line allows the user this program
};

struct s_COMMAND_DECISION {
    e_COMMAND_RULE eRule = COMMAND_NOT_ALLOWED;
    s_COMMAND command;
    int iLine = 0;         // number of the line that allows it
    std::string list_line; // and its text
};

bool command_is_allowed(e_COMMAND_RULE eRule);

// Decides about cpCmd, or without it about the first argument of ArgList with the others, for the
// user. Runs nothing.
s_COMMAND_DECISION decide_user_command(const std::string &user, const char *cpCmd, char **ArgList,
                                       str_log *strLog);

// Bytes of a line of the allow list that count.
constexpr std::size_t ALLOW_LINE_LENGTH = 255;

// What a line of the allow list says about the program: COMMAND_BY_JOKER, COMMAND_BY_LINE or
// COMMAND_NOT_ALLOWED.
e_COMMAND_RULE allow_line_rule(std::string_view line, const std::string &user,
                               const std::string &program);

// Runs cpCmd, or without it the first argument of ArgList with the others, as cpUser, if the
// program is one of the installation's program directory or the allow list permits it. Returns 0,
// or 2 for every refusal and failure; cpMsg (256 bytes) tells.
int i_EXECUTE_USER_COMMAND(const char *cpUser, const char *cpCmd, char **ArgList, char *cpMsg,
                           str_log strLog);

// The allow list: lines of a user, a blank, and a program's path or "*".
extern const char *gcpAllowList;
