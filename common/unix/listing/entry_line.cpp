// An entry's line, see entry_line.h. A listing may have millions of them: nothing is formatted
// through a format text that need not be.
#include "common/unix/listing/entry_line.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace {

constexpr std::size_t kSizeLength = 320; // digits of the largest double

char *put(char *to, std::string_view text) {
    if (!text.empty()) {
        std::memcpy(to, text.data(), text.size());
    }
    return to + text.size();
}

char *put_size(char *to, double dSize) {
    constexpr double kExact = 9007199254740992.0; // integers up to here have no fraction to round
    if (dSize >= 0 && dSize < kExact && dSize == std::floor(dSize)) {
        return std::to_chars(to, to + kSizeLength, static_cast<unsigned long long>(dSize)).ptr;
    }
    return to + std::snprintf(to, kSizeLength, "%.0f", dSize);
}

} // namespace

char *put_entry_line(char *to, const s_ENTRY_LINE &line) {
    *to++ = '"';
    char *name = to;
    to = put(put(to, line.directory), line.name);
    while ((name = static_cast<char *>(
                std::memchr(name, '\\', static_cast<std::size_t>(to - name)))) != nullptr) {
        *name = '/';
    }
    const char kind[] = {'"', ' ', line.cBaseType, line.cType, ' '};
    to = put(to, {kind, sizeof kind});
    to = put(put(put(to, line.changed), " "), line.modified);
    *to++ = ' ';
    to = put(put_size(to, line.dSize), " - ,"); // the owner is never told
    to = put(to, line.info);
    *to++ = '\n';
    return to;
}
