// What the programs that run one command by hand have in common.
#pragma once

#include <string>

constexpr int EXIT_NOT_RUN = 253;   // the command was not run: the reason is on standard error
constexpr int EXIT_NO_STATUS = 255; // it may have run, nobody said how it ended

// Standard streams and signals as our code needs them; a lack of memory ends the program with
// EXIT_NOT_RUN. cpName stands before every message.
void tool_prepare(const char *cpName);

// Writes "NAME: TEXT" to standard error.
void tool_say(const std::string &text);

// The same, and ends the program with EXIT_NOT_RUN.
[[noreturn]] void tool_fail(const std::string &text);

// The number in the text, which is to lie between two others; else ends like tool_fail, telling
// what ("port") was wrong.
int tool_number(const char *cpText, int iLeast, int iMost, const char *cpWhat);

// Copies a text that is to be used whole into a buffer; one that does not fit ends the program like
// tool_fail.
void tool_copy(char *buffer, long size, const std::string &text, const char *cpWhat);
template <std::size_t N>
void tool_copy(char (&buffer)[N], const std::string &text, const char *cpWhat) {
    tool_copy(buffer, static_cast<long>(N), text, cpWhat);
}

// The exit status of the program: the one given, or 1 with a message when it would be 0 and
// standard output has not taken everything.
int tool_end(int iStatus);
