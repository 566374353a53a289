// What this host is called and is (cm_file_util.h).
#include "common/common/text.h"
#include "common/unix/cm_db.h"
#include "common/unix/cm_file_util.h"
#include "common/unix/cm_ini.h"

void get_my_hostname(int, char *cpName) {
    constexpr int kNameSize = 160;
    char szMsg[256];
    if (i_READ_INI("VN_INI", "[SERVER]", "name", cpName, kNameSize, szMsg, sizeof szMsg) != 1) {
        text_copy(cpName, kNameSize, "??2");
    }
}

int i_GET_MY_OS(char *cpOs, str_log strLog) {
    char szMsg[DB_MESSAGE_SIZE] = "";
    DB_REC_LIS list = {};
    text_copy(list.szId, "GET_MY_OS");
    int iResult = iDB_ACCESS("select os from clients where client_id=0", szMsg, &list, strLog);
    if (iResult == 1) {
        char szOs[sizeof(col::szValue)] = "";
        iResult = iDB_SEL_GET(&list, 1, szMsg, &strLog, "os", szOs, static_cast<char *>(nullptr));
        text_copy(cpOs, 64, szOs);
    }
    vDB_SEL_FREE(&list);
    return iResult;
}

char *get_my_platform(char *cpPlatform) {
    text_copy(cpPlatform, 5, "UNIX");
    return cpPlatform;
}
