// Formatting of messages, see cm_format.h.
#include "common/unix/cm_format.h"

#include <cstdio>
#include <cstring>

std::string format_text(const char *cpFormat, va_list arguments) {
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
