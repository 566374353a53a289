// The time stamps and their arithmetic.
// Covers: common/unix/trace/time_text.cpp
#include "fuzz/fuzz.h"

#include "common/unix/cm_trace.h"

#include <cstring>

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::string text(reinterpret_cast<const char *>(data), std::min<std::size_t>(size, 200));
    text.resize(256);
    time_get(text.data());
    if (std::strlen(text.c_str()) > 24) {
        std::abort();
    }
    return 0;
}
