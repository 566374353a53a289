// The one way in which names get into shell commands: whatever bytes a name holds, the shell sees
// that name and nothing else. Ordinary names come out as they are.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// Where the command text puts the name.
enum e_QUOTES {
    QUOTES_NONE,   // as a bare word: quoted as a whole when it needs it
    QUOTES_SINGLE, // between single quotes that the command text has
    QUOTES_DOUBLE  // between double quotes that the command text has
};

// The text in the form that means itself at that place.
std::string shell_quoted(std::string_view text, e_QUOTES eQuotes);

// The same for the name of a file that a program takes as an operand: one that begins with "-" is
// led by "./", so that the program does not take it for an option.
std::string shell_file(std::string_view name, e_QUOTES eQuotes);

// The words of a text as a shell splits it: at blanks, tabs and line feeds that no quotes and no
// backslash protect, which are taken off. Nothing is expanded. False when a quote does not end.
bool shell_words(std::string_view text, std::vector<std::string> *words);
