// An entry's line, see entry_line.h. A listing may have millions of them: nothing is formatted
// through a format text that need not be.
#include "common/unix/listing/entry_line.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace {

void append_size(std::string *line, double dSize) {
    constexpr double kExact = 9007199254740992.0; // integers up to here have no fraction to round
    char szSize[400];
    if (dSize >= 0 && dSize < kExact && dSize == std::floor(dSize)) {
        const auto end =
            std::to_chars(szSize, szSize + sizeof szSize, static_cast<unsigned long long>(dSize));
        line->append(szSize, end.ptr);
    } else {
        std::snprintf(szSize, sizeof szSize, "%.0f", dSize);
        line->append(szSize);
    }
}

} // namespace

void append_entry_line(std::string *lines, const s_ENTRY_LINE &line) {
    *lines += '"';
    const std::size_t iName = lines->size();
    lines->append(line.name);
    std::replace(lines->begin() + static_cast<std::ptrdiff_t>(iName), lines->end(), '\\', '/');
    const char kind[] = {'"', ' ', line.cBaseType, line.cType, ' '};
    lines->append(kind, sizeof kind);
    lines->append(line.changed);
    *lines += ' ';
    lines->append(line.modified);
    *lines += ' ';
    append_size(lines, line.dSize);
    lines->append(" - ,"); // the owner is never told
    lines->append(line.info);
    *lines += '\n';
}
