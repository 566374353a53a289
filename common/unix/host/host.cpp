// What this host is called and is (host.h).
#include "common/unix/host/host.h"

#include "common/common/text.h"
#include "common/unix/configuration/ini.h"
#include "common/unix/database/access.h"
#include "common/unix/database/record_list.h"
#include "common/unix/trace/trace.h"

#include <string>

void get_my_hostname(int, char *cpName) {
    constexpr int kNameSize = 160;
    char szMsg[256];
    if (i_READ_INI("VN_INI", "[SERVER]", "name", cpName, kNameSize, szMsg, sizeof szMsg) != 1) {
        text_copy(cpName, kNameSize, "??2");
    }
}

namespace {

constexpr int kOsSize = 32;

// The value of a record's first column, however the database spells its name.
std::string first_value(const std::string &record) {
    const std::size_t begin = record.find('=') + 1;
    return record.substr(begin, record.find('|', begin) - begin);
}

} // namespace

int i_GET_MY_OS(char *cpOs, str_log strLog) {
    char szMsg[DB_MESSAGE_SIZE] = "";
    DB_REC_LIS list = {};
    text_copy(list.szId, "GET_MY_OS");
    int iResult = iDB_ACCESS("select os from clients where client_id=0", szMsg, &list, strLog);
    if (iResult == 1) {
        iResult = list.iRows > 0 ? 1 : 0;
        text_copy(cpOs, kOsSize, iResult == 1 ? first_value(list.pstrFirstRec->cpData) : "");
    }
    vDB_SEL_FREE(&list);
    return iResult;
}

char *get_my_platform(char *cpPlatform) {
    text_copy(cpPlatform, 5, "UNIX");
    return cpPlatform;
}
