// What a call reads first from the configuration, see path_keys.h.
#include "kernel/request/path_keys.h"

#include "common/common/text.h"
#include "common/unix/configuration/ini.h"
#include "common/unix/trace/trace.h"
#include "kernel/request/options.h"

const s_PATH_KEY gPathKeys[] = {
    {"gv_ro", "missing gv_ro in INI", nullptr, 0, false},
    {"gv_ro_bin", "missing gv_ro_bin in INI", gszRo, sizeof gszRo, false},
    {"gv_ro_vns", "missing gv_ro_vns in INI", gszRoVns, sizeof gszRoVns, true},
    {"gv_rw", "missing gv_rw in INI", nullptr, 0, false},
    {"gv_rw_ini", "missing gv_rw_ini in INI", gszRwIni, sizeof gszRwIni, false},
    {"gv_rw_vbc_log", "missing gv_rw_vbc in INI", gszRwVbc, sizeof gszRwVbc, false},
    {"gv_rw_tmp", "missing gv_rw_tmp in INI", gszRwTmp, sizeof gszRwTmp, false},
    {"gv_rw_work", "missing gv_rw_work in INI", gszRwWork, sizeof gszRwWork, false},
    {nullptr, nullptr, nullptr, 0, false},
};

bool read_transfer_port(const char *cpIniDirectory, char *szPort, int iSize, char *cpFile,
                        int iFileSize, char *cpMsg, int iLength) {
    constexpr char kIdentifier[] = "VTPD_INI";
    constexpr char kSection[] = "[VTPD_Server]";
    constexpr char kKey[] = "VTPD_PORT";
    if (i_GET_ROOT_FOR_INI(kIdentifier, cpFile, iFileSize, cpMsg, iLength) == 1) {
        return i_READ_INI(kIdentifier, kSection, kKey, szPort, iSize, cpMsg, iLength) == 1;
    }
    text_print(cpFile, iFileSize, "%svtpd.ini", cpIniDirectory);
    if (i_GetPrivateProfileString(cpFile, kSection, kKey, szPort, iSize, cpMsg, iLength) == 1) {
        return true;
    }
    trace_at(TRACE_DETAILS, "READ_INI: %s %s %s not found", kIdentifier, kSection, kKey);
    return false;
}
