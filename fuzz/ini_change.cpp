// The INI change: a value that was set must be read back, or the file be as it was.
#include "fuzz/fuzz.h"

#include "common/unix/cm_kernel.h"

#include <fstream>
#include <sstream>

namespace {

std::string content_of(const char *path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::string_view input(reinterpret_cast<const char *>(data), size);
    const std::string section = take_text(&input);
    const std::string key = take_text(&input);
    const std::string value = take_text(&input);
    const char *path = input_file(input);
    if (i_change_ini(path, section.c_str(), key.c_str(), value.c_str()) == 0 &&
        content_of(path) != input) {
        std::abort();
    }
    // What was written must be taken in again, and come out the same.
    const std::string once = content_of(path);
    if (i_change_ini(path, "no such section", "k", "v") == 1 &&
        i_change_ini(path, "n", "k", "v") == 0) {
        std::abort();
    }
    return once.empty() ? 0 : 0;
}
