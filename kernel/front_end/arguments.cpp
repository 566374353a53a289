// The command line and the configuration of a call, see arguments.h. The order of the steps
// shows: it decides which of several faults a caller is told.
#include "kernel/front_end/arguments.h"

#include "common/common/text.h"
#include "common/unix/configuration/call_param.h"
#include "common/unix/configuration/glbv.h"
#include "common/unix/configuration/ini.h"
#include "common/unix/configuration/ini_file.h"
#include "common/unix/processes/process.h"
#include "common/unix/system/option_order.h"
#include "common/unix/trace/record.h"
#include "common/unix/trace/time_text.h"
#include "common/unix/trace/trace.h"
#include "kernel/front_end/usage.h"
#include "kernel/request/finish.h"
#include "kernel/request/options.h"
#include "kernel/request/path_keys.h"

#include <cstring>
#include <string>
#include <unistd.h>

namespace {

constexpr char kLocal[] = "LOCAL";

void trace_user() {
    if (strLog.iFlg > 0) {
        char szUser[256];
        GET_USER_NAME(szUser, sizeof szUser);
        trace_log(&strLog, TRACE_ALWAYS, "\n %s   User= %s ", gszVersion, szUser);
    }
}

[[noreturn]] void refuse_option(int iOption) {
    char szMsg[256];
    text_print(szMsg, "wrong option %c in command line", iOption);
    FINISH(1, szMsg);
}

// The first letter of the word counts.
void choose_function(const char *cpWord) {
    gcFunc = cpWord[0] == '\0' ? FUNCTION_EMPTY : cpWord[0];
}

void apply_option(int iOption, const char *cpArgument, bool *pbVerbose) {
    if (option_set(iOption, cpArgument)) {
        return;
    }
    switch (iOption) {
    case 'f':
        choose_function(cpArgument);
        break;
    case 'r':
        gFlag.Remote = 1;
        break;
    case 'h':
        gFlag.Help = 1;
        USAGE();
    case 'v':
        *pbVerbose = true;
        v_set_log(2, 1, &strLog);
        trace_user();
        break;
    case 'w':
        break;
    default:
        refuse_option(iOption);
    }
}

// Returns whether the call is to be traced whatever the trace switch says.
bool parse_options(int argc, char **argv) {
    bool bVerbose = false;
    int iOption = 0;
    while ((iOption = ::getopt(argc, argv,
                               options_in_order("+:b:C:c:d:f:i:l:m:n:p:s:t:u:x:w:vrh"))) != -1) {
        apply_option(iOption, optarg, &bVerbose);
    }
    return bVerbose;
}

void keep_rest(int argc, char **argv) {
    option_set_words(argc, argv);
    trace_log(&strLog, TRACE_DETAILS, "arguments end with: %s", gszOpt_end);
    if (argc > 0) {
        trace_log(&strLog, TRACE_DETAILS, "First argument non pos argument: %s", argv[0]);
    }
}

bool is_media_server_function() {
    return std::strchr("cmpt", gcFunc) != nullptr;
}

// Without an identifier of the caller's: the 14 digits of the local time.
void make_identifier() {
    char szTime[32] = "I";
    text_copy(gszId, time_get(szTime));
    text_print(gszMissingArg, "-i %s ", gszId);
}

// A path that is cut would name another directory.
void keep_path(const s_PATH_KEY &key, const char *cpPath) {
    if (key.cpBuffer != nullptr && !text_copy(key.cpBuffer, key.iSize, cpPath)) {
        FINISH(2, (std::string(key.cpKey) + " in INI is too long").c_str());
    }
}

void read_paths() {
    char szPath[1024]; // longer than any buffer: a cut path shows
    char szMsg[256];
    for (const s_PATH_KEY *key = gPathKeys; key->cpKey != nullptr; ++key) {
        const bool bFound = i_READ_INI("VN_INI", "[Pathes]", key->cpKey, szPath, sizeof szPath,
                                       szMsg, sizeof szMsg) == 1;
        if (!bFound && (!key->bMediaServerOnly || is_media_server_function())) {
            FINISH(1, key->cpMissing);
        }
        keep_path(*key, szPath);
    }
}

// The variable gv_client_trace lists the function letters whose calls are traced.
void switch_trace() {
    char szName[] = "gv_client_trace";
    char szSwitch[GLBV_VALUE_SIZE];
    glbv('r', szName, szSwitch);
    const bool bTraced = szSwitch[0] != '?' && std::strchr(szSwitch, gcFunc) != nullptr;
    v_set_log(bTraced ? 1 : 0, 1, &strLog);
    trace_user();
}

void find_port() {
    char szFile[1024];
    char szMsg[256];
    if (read_transfer_port(gszRwIni, gszPort, sizeof gszPort, szFile, sizeof szFile, szMsg,
                           sizeof szMsg)) {
        trace_log(&strLog, TRACE_EVENTS, "Got VTPD_PORT %s from vtpd.ini section [VTPD_Server]",
                  gszPort);
        return;
    }
    if (!is_media_server_function()) {
        return;
    }
    text_copy(gszPort, "11001");
    trace_log(&strLog, TRACE_EVENTS,
              "WARNING: Couldn't get VTPD_PORT from vtpd.ini section [VTPD_Server]: %s ", szMsg);
    trace_log(&strLog, TRACE_EVENTS, "WARNING: Using default VTPD_PORT value %s ", gszPort);
}

bool read_server(const char *cpKey) {
    char szServer[1024]; // longer than an option: a cut name shows
    char szMsg[256];
    return i_READ_INI("VN_INI", "[Server]", cpKey, szServer, sizeof szServer, szMsg,
                      sizeof szMsg) == 1 &&
           option_set('C', szServer);
}

void find_server() {
    if (gszCtrlHost[0] == '\0') {
        if (!read_server("name") && !read_server("vorna_server")) {
            FINISH(1, "neither VORNA server was given in -C nor configured in INI");
        }
        text_append(gszMissingArg, std::string("-C ") + gszCtrlHost + " ");
    } else if (std::strcmp(gszCtrlHost, kLocal) == 0) {
        text_copy(gszCtrlHost, gszMyName);
    }
}

void open_trace(int argc, char **argv, const char *cpFile) {
    v_set_log_main(cpFile, "VN_CLIENT", &strLog);
    trace_log(&strLog, TRACE_EVENTS, "+++ ARGUMENTS  %s", GET_CALL_PARAM(argc, argv));
}

// Leaves *pArgv behind the options. Returns whether the call is to be traced whatever the trace
// switch says.
bool parse_command_line(int argc, char ***pArgv) {
    if (argc < 2) {
        USAGE();
    }
    if ((*pArgv)[1][0] != '-') {
        choose_function((*pArgv)[1]);
        trace_log(&strLog, TRACE_EVENTS, "Function: %c", gcFunc);
        ++*pArgv;
        --argc;
    }
    const bool bVerbose = parse_options(argc, *pArgv);
    trace_log(&strLog, TRACE_DETAILS, "Function: %c", gcFunc);
    *pArgv += optind;
    keep_rest(argc - optind, *pArgv);
    return bVerbose;
}

void check_function_and_client() {
    if (gcFunc == FUNCTION_UNKNOWN) {
        FINISH(1, "no valid function was given in -f");
    }
    if (gszClientHost[0] == '\0' || std::strcmp(gszClientHost, kLocal) == 0) {
        text_copy(gszClientHost, gszMyName);
    }
}

void trace_call() {
    trace_log(&strLog, TRACE_EVENTS,
              "ID=%s Function=%c   RemoteFlag=%d  ClientHost=%s   CtrlHost=%s", gszId, gcFunc,
              static_cast<int>(gFlag.Remote), gszClientHost, gszCtrlHost);
    trace_log(&strLog, TRACE_EVENTS, "Options: m=%s s=%s l=%s d=%s b=%s t=%s ", gszOpt_m, gszOpt_s,
              gszOpt_l, gszOpt_d, gszOpt_b, gszOpt_t);
}

} // namespace

void ARGUMENTS(int argc, char ***pArgv) {
    char szTraceFile[384];
    // No option has been read yet, so the identifier is empty: all calls share one trace file.
    text_print(szTraceFile, "vn_client_%s.lgc", gszId);
    open_trace(argc, *pArgv, szTraceFile);
    const bool bVerbose = parse_command_line(argc, pArgv);
    if (gszId[0] == '\0') {
        make_identifier();
    }
    // The values that a call begins with belong together; opening a trace may wait for ps.
    const ini_moment moment;
    read_paths();
    if (!bVerbose) {
        switch_trace();
    }
    find_port();
    trace_log(&strLog, TRACE_EVENTS, "%s  %s  %s  %s", gszRo, gszRwIni, gszRwTmp, szTraceFile);
    find_server();
    check_function_and_client();
    trace_call();
    trace_log(&strLog, TRACE_EVENTS, "--- ARGUMENTS");
}
