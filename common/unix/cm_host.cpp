// What this host is called and is (cm_file_util.h).
#include "common/common/text.h"
#include "common/unix/cm_file_util.h"
#include "common/unix/cm_ini.h"

void get_my_hostname(int, char *cpName) {
    constexpr int kNameSize = 160;
    char szMsg[256];
    if (i_READ_INI("VN_INI", "[SERVER]", "name", cpName, kNameSize, szMsg, sizeof szMsg) != 1) {
        text_copy(cpName, kNameSize, "??2");
    }
}

char *get_my_platform(char *cpPlatform) {
    text_copy(cpPlatform, 5, "UNIX");
    return cpPlatform;
}
