// Formatting of messages whose length is not known before.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>

// Fills *text with the formatted text, whole. At most iLimit characters of the format count; it is
// never cut in the middle of a conversion. False, with an empty text, when it cannot be formatted.
bool format_text(std::string *text, const char *cpFormat, std::size_t iLimit, va_list arguments)
    __attribute__((format(printf, 2, 0)));

// The part of a format, at most iLimit characters, that ends in front of a conversion that would be
// incomplete.
std::string format_cut(const char *cpFormat, std::size_t iLimit);
