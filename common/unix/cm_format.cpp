// Formatting of messages, see cm_format.h.
#include "common/unix/cm_format.h"

#include <cstdio>
#include <cstring>

namespace {

// The compiler has checked the whole format at its caller's; what is left of it takes a prefix of
// the arguments.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
std::string format_whole(const char *cpFormat, va_list arguments) {
    char szShort[2048]; // nearly every message fits: one pass then
    va_list again;
    va_copy(again, arguments);
    std::string text;
    const int needed = std::vsnprintf(szShort, sizeof szShort, cpFormat, arguments);
    if (needed >= 0 && static_cast<std::size_t>(needed) < sizeof szShort) {
        text.assign(szShort, static_cast<std::size_t>(needed));
    } else if (needed >= 0) {
        text.resize(static_cast<std::size_t>(needed) + 1);
        std::vsnprintf(text.data(), text.size(), cpFormat, again);
        text.pop_back();
    }
    va_end(again);
    return text;
}
#pragma GCC diagnostic pop

// The format cut to at most iLimit characters, in front of a conversion that does not fit.
std::string format_cut(const char *cpFormat, std::size_t iLimit) {
    constexpr char kConversions[] = "diouxXeEfFgGaAcspnm%";
    std::size_t end = 0;
    for (std::size_t i = 0; cpFormat[i] != '\0' && i < iLimit; ++i) {
        if (cpFormat[i] == '%') {
            i += 1 + std::strcspn(cpFormat + i + 1, kConversions);
            if (cpFormat[i] == '\0' || i >= iLimit) {
                break;
            }
        }
        end = i + 1;
    }
    return {cpFormat, end};
}

} // namespace

std::string format_text(const char *cpFormat, std::size_t iLimit, va_list arguments) {
    if (strnlen(cpFormat, iLimit + 1) <= iLimit) {
        return format_whole(cpFormat, arguments);
    }
    return format_whole(format_cut(cpFormat, iLimit).c_str(), arguments);
}
