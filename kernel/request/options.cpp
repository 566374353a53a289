// The state of a call, see options.h.
#include "kernel/request/options.h"

#include "common/common/text.h"

#include <cstring>

char gcFunc = FUNCTION_UNKNOWN;
s_FLAG gFlag = {};

char gszId[256];
char gszClientHost[160];
char gszCtrlHost[160];
char gszMyName[160];
char gszPort[160];
char gszMissingArg[192];

char gszOpt_b[16];
char gszOpt_c[256];
char gszOpt_d[512];
char gszOpt_l[256];
char gszOpt_m[3];
char gszOpt_n[512];
char gszOpt_s[512];
char gszOpt_t[512];
char gszOpt_u[256];
char gszOpt_end[4096];

char gszRo[512];
char gszRoVns[512];
char gszRwIni[512];
char gszRwVbc[512];
char gszRwTmp[512];
char gszRwWork[512];
int giWorkErrno = 0;
char gszRw[512];

str_log strLog = {};
char tmp_sc[34500];

namespace {

struct s_OPTION {
    const char *cpLetters; // all that fill the buffer
    char *cpBuffer;
    long iSize;
    bool bCut;
};

template <std::size_t N>
constexpr s_OPTION option(const char *cpLetters, char (&szBuffer)[N]) {
    return {cpLetters, szBuffer, static_cast<long>(N), false};
}

s_OPTION options[] = {
    option("C", gszCtrlHost), option("c", gszClientHost), option("i", gszId),
    option("b", gszOpt_b),    option("d", gszOpt_d),      option("lp", gszOpt_l),
    option("m", gszOpt_m),    option("n", gszOpt_n),      option("s", gszOpt_s),
    option("t", gszOpt_t),    option("u", gszOpt_u),      option("*", gszOpt_end),
};

s_OPTION *find_option(int iOption) {
    for (s_OPTION &option : options) {
        if (std::strchr(option.cpLetters, iOption) != nullptr) {
            return &option;
        }
    }
    return nullptr;
}

} // namespace

bool option_set(int iOption, const char *cpText) {
    s_OPTION *option = find_option(iOption);
    if (option != nullptr) {
        option->bCut = !text_copy(option->cpBuffer, option->iSize, cpText);
    }
    return option != nullptr;
}

void option_set_words(int iCount, char **argv) {
    bool bWhole = true;
    for (int i = 0; i < iCount && bWhole; ++i) {
        bWhole = (i == 0 || text_append(gszOpt_end, " ")) && text_append(gszOpt_end, argv[i]);
    }
    find_option(OPTION_WORDS)->bCut = !bWhole;
}

char option_first_cut(const char *cpOptions) {
    for (; *cpOptions != '\0'; ++cpOptions) {
        if (find_option(*cpOptions)->bCut) {
            return *cpOptions;
        }
    }
    return '\0';
}
