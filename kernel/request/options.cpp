// The state of a call, see options.h.
#include "kernel/request/options.h"

#include "common/common/text.h"
#include "common/unix/trace/trace.h"

#include <algorithm>
#include <iterator>

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
char gszOpt_end[256];

char gszRo[512];
char gszRoVns[512];
char gszRwIni[512];
char gszRwVbc[512];
char gszRwTmp[512];
char gszRwWork[512];
char gszRw[512];

str_log strLog = {};
char tmp_sc[34500];

namespace {

const char *pCut[16]; // more than there are options; null behind the last

} // namespace

void v_MARK_CUT(const char *cpBuffer) {
    if (!bIS_CUT(cpBuffer)) {
        *std::find(std::begin(pCut), std::end(pCut) - 1, nullptr) = cpBuffer;
    }
}

bool bIS_CUT(const char *cpBuffer) {
    return std::find(std::begin(pCut), std::end(pCut), cpBuffer) != std::end(pCut);
}
