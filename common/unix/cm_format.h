// Formatting of messages whose length is not known before.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>

// The formatted text, whole. A format that cannot be formatted gives an empty text.
std::string format_text(const char *cpFormat, va_list arguments)
    __attribute__((format(printf, 1, 0)));

// The format cut to at most iLimit characters, never in the middle of a conversion: what is left
// takes a prefix of the format's arguments.
std::string format_cut(const char *cpFormat, std::size_t iLimit);
