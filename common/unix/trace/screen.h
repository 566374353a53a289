// Standard error as operators see it: whole texts, and a line that somebody left open is known.
#pragma once

#include <string_view>

// Writes the text to standard error.
void write_screen(std::string_view text);

// What a text that is to begin at the start of a line needs before it: "\n" when the last text of
// write_screen left its line open, else nothing.
const char *screen_line_end();
