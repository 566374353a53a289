// Formatting of messages, see format.h.
#include "common/unix/trace/format.h"

#include "common/common/text.h"

#include <cstdio>
#include <cstring>

namespace {

// The compiler has checked the whole format at its caller's; what is left of it takes a prefix of
// the arguments.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
bool format_whole(std::string *text, const char *cpFormat, va_list arguments) {
    char szShort[2048]; // nearly every message fits: one pass then
    va_list again;
    va_copy(again, arguments);
    const int needed = std::vsnprintf(szShort, sizeof szShort, cpFormat, arguments);
    if (needed >= static_cast<int>(sizeof szShort)) {
        text->resize(static_cast<std::size_t>(needed) + 1);
        std::vsnprintf(text->data(), text->size(), cpFormat, again);
        text->pop_back();
    } else {
        text->assign(szShort, needed < 0 ? 0 : static_cast<std::size_t>(needed));
    }
    va_end(again);
    return needed >= 0;
}
#pragma GCC diagnostic pop

} // namespace

std::string format_cut(const char *cpFormat, std::size_t iLimit) {
    constexpr char kConversions[] = "diouxXeEfFgGaAcspnm%";
    std::size_t end = 0;
    for (std::size_t i = 0; i < iLimit && cpFormat[i] != '\0'; ++i) {
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

bool format_text(std::string *text, const char *cpFormat, std::size_t iLimit, va_list arguments) {
    if (strnlen(cpFormat, iLimit + 1) <= iLimit) {
        return format_whole(text, cpFormat, arguments);
    }
    return format_whole(text, format_cut(cpFormat, iLimit).c_str(), arguments);
}
