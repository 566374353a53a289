// Formatting of messages whose length is not known before.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>

// The formatted text, whole. At most iLimit characters of the format count; it is never cut in the
// middle of a conversion. A format that cannot be formatted gives an empty text.
std::string format_text(const char *cpFormat, std::size_t iLimit, va_list arguments)
    __attribute__((format(printf, 1, 0)));
