// The trace file, see trace.h. The nesting depth belongs to the process, the indentation text to
// the record: records are passed by value, so a callee's blocks never indent its caller's lines.
#include "common/unix/trace/trace.h"

#include "common/common/cm_message.h"
#include "common/common/owner.h"
#include "common/common/strlib.h"
#include "common/common/text.h"
#include "common/unix/configuration/ini.h"
#include "common/unix/files/append.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/files/line_reader.h"
#include "common/unix/processes/parent.h"
#include "common/unix/trace/format.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

LANGUAGES eLang = LANG_EN;

namespace {

constexpr int kFormatSize = 1024;    // bytes of a line's format
constexpr int kLocalTextSize = 4096; // bytes of a line written through trace
constexpr std::size_t kCopyBlock = 65536;
constexpr int kIndentedDepth = 15; // deeper blocks are counted but not indented further

str_log *pstrFirstLog = nullptr;
str_log strLocalLog = {};
bool iLogInitialized = false;
bool iLogEnabledMsg = false;
int iIndex = 0; // open "+++ " blocks

// "hh:mm:ss#" of now.
std::string time_mark() {
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    localtime_r(&now, &local);
    char szMark[32];
    text_print(szMark, "%2d:%02d:%02d#", local.tm_hour, local.tm_min, local.tm_sec);
    return szMark;
}

void copy_to_stderr(const str_log *strLog, const std::string &line) {
    if (strLog->iVerify != 0) {
        write_all(STDERR_FILENO, line);
    }
}

void write_line(const str_log *strLog, const std::string &line) {
    copy_to_stderr(strLog, line);
    append_to_file(strLog->szFile, line);
}

void open_block(str_log *strLog) {
    if (iIndex < kIndentedDepth) {
        text_append(strLog->szIns, "  ");
    }
    if (strLog != &strLocalLog) {
        text_copy(strLocalLog.szIns, strLog->szIns);
    }
    ++iIndex;
}

void close_block(str_log *strLog) {
    if (iIndex <= kIndentedDepth) {
        const std::size_t length = std::strlen(strLog->szIns);
        strLog->szIns[length < 2 ? 0 : length - 2] = '\0';
    }
    if (iIndex > 0) {
        --iIndex;
    }
}

// A line of a copied file, without its newline; an overlong one keeps 255 characters.
std::string copied_line(const char *cpLine) {
    std::string line(cpLine);
    if (line.size() > 256) {
        line.resize(255);
    } else if (!line.empty() && line.back() == '\n') {
        line.pop_back();
    }
    return line;
}

// Opens a regular file for reading and tells its size: more is not copied, because the file may be
// the trace itself.
unique_file open_regular(const char *cpFile, long long *plSize) {
    unique_fd fd(::open(cpFile, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (!fd || ::fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return nullptr;
    }
    *plSize = static_cast<long long>(status.st_size);
    unique_file file(::fdopen(fd.get(), "r"));
    if (file) {
        fd.release(); // the stream closes it
    }
    return file;
}

void copy_file(str_log *strLog, const char *cpFile) {
    char szName[1024];
    text_copy(szName, cpFile);
    const std::string mark = time_mark();
    copy_to_stderr(strLog, mark + strLog->szIns + " COPY_FILE\n");
    const unique_fd out(open_for_append(strLog->szFile));
    if (!out) {
        return;
    }
    trace_log(strLog, TRACE_ALWAYS, "COPY_FILE [%s]", szName);
    long long lRest = 0;
    const unique_file file = open_regular(szName, &lRest);
    if (!file) {
        copy_to_stderr(strLog, mark + " File " + szName + " not found\n");
        write_all(out.get(), mark + "   File " + szName + " not found\n");
        return;
    }
    std::string block;
    char szLine[1023];
    while (lRest > 0 && std::fgets(szLine, sizeof szLine, file.get()) != nullptr) {
        lRest -= static_cast<long long>(std::strlen(szLine));
        const std::string line = copied_line(szLine);
        copy_to_stderr(strLog, mark + strLog->szIns + ' ' + line + '\n');
        block += mark + strLog->szIns + "    " + line + '\n';
        if (block.size() >= kCopyBlock) {
            write_all(out.get(), block);
            block.clear();
        }
    }
    write_all(out.get(), block);
}

__attribute__((format(printf, 2, 0))) void write_trace(str_log *strLog, const char *cpFormat,
                                                       va_list arguments) {
    const errno_keeper keeper;
    if (cpFormat[0] == '-') {
        close_block(strLog);
    }
    if (std::strcmp(cpFormat, "COPY_FILE") == 0) {
        copy_file(strLog, va_arg(arguments, const char *));
        return;
    }
    const std::string head = time_mark() + strLog->szIns + ' ';
    const std::size_t iLimit = kFormatSize - head.size() - 2; // room for "\n" and the terminator
    std::string text;
    format_text(&text, cpFormat, iLimit, arguments);
    write_line(strLog, head + text + '\n');
    if (cpFormat[0] == '+') {
        open_block(strLog);
    }
}

// Writes a line that the first trace record lets through, cut to its buffer.
__attribute__((format(printf, 1, 0))) void write_local(const char *cpFormat, va_list arguments) {
    char szText[kLocalTextSize];
    text_vprint(szText, sizeof szText, cpFormat, arguments);
    trace_log(&strLocalLog, TRACE_ALWAYS, "%s", szText);
}

// The level that module szModule has in the debug switch file, 0 if none.
int level_of(const char *cpFile, const char *szModule) {
    const std::string key = std::string(szModule) + '=';
    line_reader reader(cpFile);
    std::string_view line;
    while (reader.next(&line)) {
        if (line.substr(0, key.size()) == key) {
            line = text_stripped(line.substr(line.find('=') + 1));
            int iLevel = 0;
            std::from_chars(line.data(), line.data() + line.size(), iLevel);
            return iLevel;
        }
    }
    return 0;
}

void report_missing_path(const char *cpWho, const char *cpKey) {
    PROT(by_language("E003-BASICS  %s > %s not yet existing - please restart VORNA.",
                     "E003-BASICS  %s > %s noch nicht vorhanden - bitte VORNA neu starten.",
                     "E003-BASICS  %s > %s gibt's no net - bitschee VORNA nei startn."),
         cpWho, cpKey);
    std::fprintf(stderr, "FATAL: SET_LOG_MAIN: %s not set", cpKey);
}

void configure_record(const char *cpKeyFile, const char *cpKeyDebug, const char *cpDirectory,
                      str_log *strLog) {
    const std::string file(cpKeyFile); // may be the record's own
    strLog->szIns[0] = '\0';
    const int iLevel = log_check(cpKeyDebug);
    if (iLogInitialized && strLog->iFlg > 2) {
        trace_log(strLog, TRACE_ALWAYS, "Logging switched to %s, module %s, Loglevel %d",
                  file.c_str(), cpKeyDebug, iLevel);
    }
    strLog->iVerify = 0;
    strLog->iFlg = iLevel;
    const bool bFullPath = file.find(cpDirectory) != std::string::npos;
    text_copy(strLog->szFile, bFullPath ? file : cpDirectory + file);
    if (iLevel > 0) {
        char szParent[512];
        get_parent_info(szParent, sizeof szParent);
        trace_log(strLog, TRACE_ALWAYS,
                  "Logging %s for module %s: Loglevel %d, PID=%d, parent process: %s",
                  iLogEnabledMsg ? "switched" : "enabled", cpKeyDebug, iLevel,
                  static_cast<int>(getpid()), szParent);
        iLogEnabledMsg = true;
        strLog->iVerify = log_check("STDERR");
    }
    if (!iLogInitialized) {
        pstrFirstLog = strLog;
        iLogInitialized = true;
    }
    if (strLog == pstrFirstLog) {
        strLocalLog = *strLog;
    }
}

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

void choose_language(str_log *strLog) {
    char szLanguage[64];
    char szMsg[256];
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

// The formats of WRITE_TRACE and trace have forms that the compiler does not know, so it cannot
// check them.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
void WRITE_TRACE(str_log *strLog, const char *cpFormat, ...) {
    va_list arguments;
    va_start(arguments, cpFormat);
    write_trace(strLog, cpFormat, arguments);
    va_end(arguments);
}
#pragma GCC diagnostic pop

void trace_log(str_log *strLog, int iLevel, const char *cpFormat, ...) {
    if (strLog->iFlg < iLevel) {
        return;
    }
    va_list arguments;
    va_start(arguments, cpFormat);
    write_trace(strLog, cpFormat, arguments);
    va_end(arguments);
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
void trace(const char *cpFormat, ...) {
    int iLevel = 2;
    if (cpFormat[0] == '%' && cpFormat[1] == 'l' && cpFormat[2] >= '0' && cpFormat[2] <= '9' &&
        cpFormat[3] == ' ') {
        iLevel = cpFormat[2] - '0';
        cpFormat += 4;
    }
    if (strLocalLog.iFlg < iLevel) {
        return;
    }
    va_list arguments;
    va_start(arguments, cpFormat);
    write_local(cpFormat, arguments);
    va_end(arguments);
}
#pragma GCC diagnostic pop

void trace_at(int iLevel, const char *cpFormat, ...) {
    if (strLocalLog.iFlg < iLevel) {
        return;
    }
    va_list arguments;
    va_start(arguments, cpFormat);
    write_local(cpFormat, arguments);
    va_end(arguments);
}

int log_check(const char *cpInput) {
    char szModule[50];
    text_copy(szModule, cpInput);
    uppercase(szModule);
    char szDirectory[512];
    char szMsg[256];
    if (i_READ_INI("VN_INI", "[Pathes]", "gv_rw_ini", szDirectory, sizeof szDirectory, szMsg,
                   sizeof szMsg) != 1) {
        report_missing_path("LOG_CHECK", "gv_rw_ini");
    }
    char szFile[128];
    // A path that does not fit would be another file's.
    return text_print(szFile, "%sdebug.ini", szDirectory) ? level_of(szFile, szModule) : 0;
}

void v_set_log_main(const char *cpKeyFile, const char *cpKeyDebug, str_log *strLog) {
    char szDirectory[512];
    char szMsg[256];
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
        strLocalLog = *strLog;
    }
}
