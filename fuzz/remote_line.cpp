// The command in the control daemon's form, and lines of a remote command's output.
// Covers: control/convert.cpp kernel/remote/call/line.cpp
#include "fuzz/fuzz.h"

#include "kernel/vn_ctrlc_lib.h"

#include <memory>
#include <vector>

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::string_view input(reinterpret_cast<const char *>(data), size);
    str_log log = {};
    const std::string command = take_text(&input);
    std::vector<char> converted(1 + command.size() % 300);
    vConvertCommand(command.c_str(), converted.data(), static_cast<int>(converted.size()), &log);
    static RCMD rcmd;
    std::vector<char> buffer(input.begin(), input.end());
    buffer.push_back('\0');
    int left = static_cast<int>(input.size());
    const int limit = 2 + static_cast<int>(command.size() % 100);
    std::vector<char> line(static_cast<std::size_t>(limit));
    while (szGetLine(buffer.data(), &left, &rcmd, 1, line.data(), limit, log) != nullptr) {
        if (left < 0) {
            std::abort();
        }
    }
    return 0;
}
