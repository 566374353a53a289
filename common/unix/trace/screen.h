// Standard error as operators see it: whole texts, and a line that somebody left open is known.
#pragma once

#include <string_view>

// Writes the text to standard error.
void write_screen(std::string_view text);

// Ends the line that the last text of write_screen left open, if it did: what follows begins at the
// start of a line.
void begin_screen_line();
