// Configuring trace records, see record.h.
#include "common/unix/trace/record.h"

#include "common/common/strlib.h"
#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/configuration/ini.h"
#include "common/unix/files/line_reader.h"
#include "common/unix/processes/parent.h"
#include "common/unix/trace/screen.h"

#include <charconv>
#include <cstring>
#include <string>
#include <string_view>
#include <strings.h>
#include <unistd.h>

LANGUAGES eLang = LANG_EN;

LANGUAGES language_of(const char *cpValue) {
    if (strcasecmp(cpValue, "de_by") == 0) {
        return LANG_BY;
    }
    if (std::strncmp(cpValue, "de", 2) == 0) {
        return LANG_DE;
    }
    struct s_CODE {
        const char *cpCode;
        LANGUAGES eLanguage;
    };
    constexpr s_CODE kCodes[] = {
        {"es", LANG_ES}, {"fr", LANG_FR}, {"hr", LANG_HR}, {"pt", LANG_PT}};
    for (const s_CODE &code : kCodes) {
        if (std::strcmp(cpValue, code.cpCode) == 0) {
            return code.eLanguage;
        }
    }
    return LANG_EN;
}

namespace {

str_log *pstrFirstLog = nullptr; // the first record ever configured
bool iLogEnabledMsg = false;

// The number that a text begins with, behind blanks and a sign; 0 if none.
int number_of(std::string_view text) {
    text = text_stripped(text);
    if (text.size() > 1 && text.front() == '+' && text[1] != '-') {
        text.remove_prefix(1);
    }
    int iNumber = 0;
    std::from_chars(text.data(), text.data() + text.size(), iNumber);
    return iNumber;
}

void report_missing_path(const char *cpWho, const char *cpKey) {
    PROT(by_language("E003-BASICS  %s > %s not yet existing - please restart VORNA.",
                     "E003-BASICS  %s > %s noch nicht vorhanden - bitte VORNA neu starten.",
                     "E003-BASICS  %s > %s gibt's no net - bitschee VORNA nei startn."),
         cpWho, cpKey);
    write_screen(std::string("FATAL: SET_LOG_MAIN: ") + cpKey + " not set");
}

// The first line of a record that is configured to trace.
void announce(const char *cpKeyDebug, str_log *strLog) {
    char szParent[512];
    get_parent_info(szParent, sizeof szParent);
    trace_log(strLog, TRACE_ALWAYS,
              "Logging %s for module %s: Loglevel %d, PID=%d, parent process: %s",
              iLogEnabledMsg ? "switched" : "enabled", cpKeyDebug, strLog->iFlg,
              static_cast<int>(getpid()), szParent);
    iLogEnabledMsg = true;
    strLog->iVerify = log_check("STDERR");
}

// Fills in the trace file. A path that does not fit would be another file: then there is none.
bool set_file(const std::string &file, const char *cpDirectory, str_log *strLog) {
    const bool bFullPath = file.find(cpDirectory) != std::string::npos;
    const bool bFits = text_copy(strLog->szFile, bFullPath ? file : cpDirectory + file);
    if (!bFits) {
        strLog->szFile[0] = '\0';
    }
    return bFits;
}

void configure_record(const char *cpKeyFile, const char *cpKeyDebug, const char *cpDirectory,
                      str_log *strLog) {
    const std::string file(cpKeyFile); // may be the record's own
    strLog->szIns[0] = '\0';
    const int iLevel = log_check(cpKeyDebug);
    if (pstrFirstLog != nullptr && strLog->iFlg > 2) {
        trace_log(strLog, TRACE_ALWAYS, "Logging switched to %s, module %s, Loglevel %d",
                  file.c_str(), cpKeyDebug, iLevel);
    }
    strLog->iVerify = 0;
    strLog->iFlg = set_file(file, cpDirectory, strLog) ? iLevel : 0;
    if (strLog->iFlg > 0) {
        announce(cpKeyDebug, strLog);
    }
    if (pstrFirstLog == nullptr) {
        pstrFirstLog = strLog;
    }
    if (strLog == pstrFirstLog) {
        v_SET_LOCAL_LOG(*strLog);
    }
}

void choose_language(str_log *strLog) {
    char szLanguage[64];
    char szMsg[kMessageSize];
    if (i_READ_INI("VN_INI", "[SETUP]", "lang", szLanguage, sizeof szLanguage, szMsg,
                   sizeof szMsg) == 1) {
        trace_log(strLog, TRACE_DETAILS, "set language to %s", szLanguage);
        eLang = language_of(szLanguage);
        return;
    }
    trace_log(strLog, TRACE_DETAILS, "didn't find key lang in vn.ini > set language to en");
    eLang = LANG_EN;
}

} // namespace

int debug_level_of(const char *cpFile, const char *szModule) {
    const std::string key = std::string(szModule) + '=';
    line_reader reader(cpFile);
    std::string_view line;
    while (reader.next(&line)) {
        if (line.substr(0, key.size()) == key) {
            return number_of(line.substr(key.size()));
        }
    }
    return 0;
}

// A path that does not fit would be another file's.
std::string debug_switch_file(const std::string &directory) {
    char szFile[128];
    return text_print(szFile, "%sdebug.ini", directory.c_str()) ? szFile : "";
}

int log_check(const char *cpInput) {
    char szModule[50];
    text_copy(szModule, cpInput);
    uppercase(szModule);
    char szDirectory[512];
    char szMsg[kMessageSize];
    if (i_READ_INI("VN_INI", "[Pathes]", "gv_rw_ini", szDirectory, sizeof szDirectory, szMsg,
                   sizeof szMsg) != 1) {
        report_missing_path("LOG_CHECK", "gv_rw_ini");
    }
    const std::string file = debug_switch_file(szDirectory);
    return file.empty() ? 0 : debug_level_of(file.c_str(), szModule);
}

void v_set_log_main(const char *cpKeyFile, const char *cpKeyDebug, str_log *strLog) {
    char szDirectory[512];
    char szMsg[kMessageSize];
    if (i_READ_INI("VN_INI", "[Pathes]", "gv_rw_lgc", szDirectory, sizeof szDirectory, szMsg,
                   sizeof szMsg) == 1) {
        configure_record(cpKeyFile, cpKeyDebug, szDirectory, strLog);
    } else {
        report_missing_path("SET_LOG_MAIN", "gv_rw_lgc");
    }
    choose_language(strLog);
}

void v_set_log(int iLogLevel, int iVerbose, str_log *strLog) {
    trace_log(strLog, TRACE_EVENTS, "v_set_log: Set loglevel %d, verbose %d", strLog->iFlg,
              strLog->iVerify);
    strLog->iFlg = iLogLevel;
    strLog->iVerify = iVerbose;
    if (strLog == pstrFirstLog) {
        v_SET_LOCAL_LOG(*strLog);
    }
}
