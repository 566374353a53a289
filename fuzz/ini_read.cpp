// The INI reader: section and key, then the file.
// Covers: common/unix/configuration/ini.cpp
#include "fuzz/fuzz.h"

#include "common/unix/cm_kernel.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::string_view input(reinterpret_cast<const char *>(data), size);
    const std::string section = take_text(&input);
    const std::string key = take_text(&input);
    const char *path = input_file(input);
    char value[300];
    char msg[64];
    i_GetPrivateProfileString(path, section.c_str(), key.c_str(), value, sizeof value, msg,
                              sizeof msg);
    s_LL list;
    InitLL(&list);
    i_GetPrivateProfileList(path, section.c_str(), key.c_str(), &list, msg, sizeof msg);
    EmptyLL(&list);
    return 0;
}
