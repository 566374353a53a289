// The call's parameters as text, see call_param.h.
#include "common/unix/configuration/call_param.h"

#include "common/common/text.h"

#include <cstring>
#include <string>

namespace {

constexpr int kParamSize = 2048;
constexpr char kTruncated[] = "... truncated";

} // namespace

char *GET_CALL_PARAM(int argc, char **argv) {
    static char szParam[kParamSize];
    szParam[0] = '\0';
    for (int i = 0; i < argc; ++i) {
        if (std::strlen(szParam) + std::strlen(argv[i]) < kParamSize - 3) {
            text_append(szParam, std::string("\"") + argv[i] + "\" ");
        } else {
            // Ends at the buffer's last byte; behind a shorter text it is not seen.
            std::memcpy(szParam + kParamSize - sizeof kTruncated, kTruncated, sizeof kTruncated);
        }
    }
    return szParam;
}
