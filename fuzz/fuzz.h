// What the fuzz targets share: the input as a file, and cutting texts off it.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

// Cuts the text up to the next NUL byte off the front of the input.
inline std::string take_text(std::string_view *input) {
    const std::size_t end = std::min(input->find('\0'), input->size());
    std::string text(input->substr(0, end));
    input->remove_prefix(std::min(end + 1, input->size()));
    return text;
}

// Writes the input into the one file of this process and returns its path.
inline const char *input_file(std::string_view content) {
    static char path[] = "/tmp/vn_fuzz.XXXXXX";
    static const int fd = mkstemp(path);
    if (fd < 0 || ftruncate(fd, 0) != 0 ||
        pwrite(fd, content.data(), content.size(), 0) != static_cast<ssize_t>(content.size())) {
        std::abort();
    }
    static const bool removed = std::atexit([] { unlink(path); }) == 0;
    return removed ? path : nullptr;
}
