// The string helpers, see strlib.h. Bounds are those that the callers' buffers are built for.
#include "common/common/strlib.h"

#include "common/common/cm_message.h"
#include "common/common/owner.h"
#include "common/common/text.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int kStrtokSize = 8192;
constexpr int kStrElemSize = 768;

void report_overflow(const char *filled, const char *piece) {
    PROT(by_language("E001-BASICS  STR_CHAIN string overflow",
                     "E001-BASICS  STR_CHAIN Zeichenkette zu lang",
                     "E001-BASICS  STR_CHAIN de Zeichnkettn is z'lang"));
    std::fprintf(stderr,
                 "FATAL: STR_CHAIN: string overflow strlen(filled_string) + strlen(new_string) > "
                 "%d\n  filled_string: %s\n  new_string: %s\n",
                 STR_CHAIN_SIZE, filled, piece);
}

} // namespace

char *str_chain(char *cpInstr, int clr_str, ...) {
    if (clr_str != 0) {
        cpInstr[0] = '\0';
    }
    std::size_t length = std::strlen(cpInstr);
    va_list pieces;
    va_start(pieces, clr_str);
    const char *piece = nullptr;
    while ((piece = va_arg(pieces, const char *)) != nullptr && *piece != '\0') {
        const std::size_t added = std::strlen(piece);
        if (length + added >= STR_CHAIN_SIZE) {
            report_overflow(cpInstr, piece);
            continue;
        }
        std::memcpy(cpInstr + length, piece, added + 1);
        length += added;
    }
    va_end(pieces);
    return cpInstr;
}

char *str_trim(char *cpInstr) {
    constexpr char kBlanks[] = " \t";
    char *begin = cpInstr + std::strspn(cpInstr, kBlanks);
    char *end = begin + std::strlen(begin);
    while (end > begin && std::strchr(kBlanks, end[-1]) != nullptr) {
        --end;
    }
    *std::copy(begin, end, cpInstr) = '\0';
    return cpInstr;
}

char *squeeze(char *s, int c) {
    const char letter = static_cast<char>(c);
    char *end = s + std::strlen(s);
    *std::unique(s, end, [letter](char a, char b) { return a == letter && b == letter; }) = '\0';
    return s;
}

char *szChar2EscapeChar(char *s, int c, int iLen) {
    if (iLen < 1) {
        return s;
    }
    const std::size_t length = strnlen(s, static_cast<std::size_t>(iLen) - 1);
    const unique_memory<char> copy(static_cast<char *>(std::malloc(length + 1)));
    if (!copy) {
        trace_at(TRACE_DETAILS, "szChar2EscapeChar: malloc failed");
        return nullptr;
    }
    std::memcpy(copy.get(), s, length);
    const char *const limit = s + iLen - 1;
    char *out = s;
    for (std::size_t i = 0; i < length && out < limit; ++i) {
        if (copy.get()[i] == static_cast<char>(c)) {
            *out++ = '\\';
            if (out == limit) {
                break;
            }
        }
        *out++ = copy.get()[i];
    }
    *out = '\0';
    return s;
}

char *lowercase(char *s) {
    std::transform(s, s + std::strlen(s), s, text_lower);
    return s;
}

char *uppercase(char *s) {
    std::transform(s, s + std::strlen(s), s, text_upper);
    return s;
}

char *intoas(long lNumber) {
    static char szNumber[32];
    text_print(szNumber, "%ld", lNumber);
    return szNumber;
}

char *longtoasc(long lNumber) {
    static char szNumber[32];
    text_print(szNumber, "%ld", lNumber);
    return szNumber;
}

char *cm_strtok(const char *cpString, int cDelim) {
    static char szText[kStrtokSize];
    static const char *cpEnd = nullptr; // the end of the whole text
    static char *cpNext = nullptr;      // null when no token is left
    if (cpString != nullptr) {
        if (!text_copy(szText, cpString)) {
            std::fprintf(stderr,
                         "string shortend to %d chars bcs. of string overflow: strlen(%s) > %d\n",
                         kStrtokSize - 1, cpString, kStrtokSize - 1);
        }
        char *const end = szText + std::strlen(szText);
        std::replace(szText, end, static_cast<char>(cDelim), '\0');
        cpNext = szText;
        cpEnd = end;
    }
    if (cpNext == nullptr) {
        return nullptr;
    }
    char *token = cpNext;
    char *const end = token + std::strlen(token);
    cpNext = end == cpEnd ? nullptr : end + 1;
    return token;
}

int str_elem(int iIndex, char cDelim, const char *cpSrc, char *cpDest) {
    char szText[kStrElemSize]; // cpSrc and cpDest may be the same buffer
    const bool bLeading = cDelim != '\0' && cpSrc[0] == cDelim;
    text_copy(szText, cpSrc + (bLeading ? 1 : 0));
    cpDest[0] = '\0';
    if (szText[0] == '\0') {
        return 0;
    }
    const char *token = cm_strtok(szText, cDelim);
    for (int i = 0; i < iIndex && token != nullptr; ++i) {
        token = cm_strtok(nullptr, cDelim);
    }
    if (token == nullptr || iIndex < 0) {
        return 0;
    }
    text_copy(cpDest, kStrElemSize, token);
    return 1;
}

char *szPath2Dos(char *cpX) {
    std::replace(cpX, cpX + std::strlen(cpX), '/', '\\');
    return cpX;
}

char *szPath2Unix(char *cpX) {
    std::replace(cpX, cpX + std::strlen(cpX), '\\', '/');
    return cpX;
}
