// The dispatcher of commands for clients, see dispatcher.h.
#include "kernel/remote/dispatcher.h"

#include "common/common/LL.h"
#include "common/common/cm_message.h"
#include "common/common/shell_quote.h"
#include "common/common/text.h"
#include "common/unix/configuration/environment.h"
#include "common/unix/database/access.h"
#include "common/unix/database/record_list.h"
#include "common/unix/database/statement.h"
#include "common/unix/processes/run.h"
#include "common/unix/trace/trace.h"
#include "kernel/remote/async.h"
#include "kernel/remote/call/local_run.h"
#include "kernel/remote/call/rcmd.h"
#include "kernel/remote/search.h"
#include "kernel/unix_hal/access.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

namespace {

constexpr char kFakeVersion[] = "vn_client " VN_VERSION " NetWare";
constexpr int kCommandLimit = sizeof(RCMD::szCmd);

// What the catalogue has about a client.
struct s_CLIENT {
    char szPlatform[sizeof(col::szValue)];
    char szAccessMode[sizeof(col::szValue)];
    char szOptions[sizeof(col::szValue)];
};

// Reads the client's record. False, with a protocol event, when there is none.
bool read_client(RCMD *pRCmd, s_CLIENT *client, str_log strLog) {
    const std::string statement =
        "select oper_systems.platform,clients.accessmode,clients.access_options from "
        "oper_systems,clients where clients.name='" +
        db_quoted(pRCmd->szClient) + "' and oper_systems.os=clients.os";
    char szMsg[DB_MESSAGE_SIZE] = "";
    DB_REC_LIS list = {};
    text_copy(list.szId, "RCMD");
    const bool bAnswered = iDB_ACCESS(statement.c_str(), szMsg, &list, strLog) == 1;
    bool bFound = false;
    if (!bAnswered) {
        text_copy(pRCmd->szMsg, szMsg); // the database layer has reported it
    } else if (list.iRows > 0) {
        bFound = iDB_SEL_GET(&list, 1, szMsg, &strLog, "platform", client->szPlatform, "accessmode",
                             client->szAccessMode, "access_options", client->szOptions,
                             static_cast<char *>(nullptr)) == 1;
        text_copy(pRCmd->szMsg, bFound ? "" : szMsg);
    } else {
        text_print(pRCmd->szMsg, "host %s not yet configured", pRCmd->szClient);
        PROT(by_language("W001-HOSTS   Computer %s not yet configured as backup-client - please do "
                         "it now.",
                         "W001-HOSTS   Computer %s noch nicht als Backup-Client eingerichtet - "
                         "bitte jetzt einrichten.",
                         "W001-HOSTS   Da Computa %s is no koa Backup-Client - bitschee jetz "
                         "eirichtn."),
             pRCmd->szClient);
        trace_log(&strLog, TRACE_EVENTS, "host %s not yet configured", pRCmd->szClient);
    }
    vDB_SEL_FREE(&list);
    return bFound;
}

bool is_netware(const RCMD &rcmd) {
    return std::strcmp(rcmd.szPlatform, "NETWARE") == 0;
}

// A NetWare host takes no commands: what is asked for is whether it is alive.
int answer_netware(RCMD *pRCmd, str_log *strLog) {
    trace_log(strLog, TRACE_DETAILS, "platform 'NetWare' >> return ok for alive test");
    if (pRCmd->szOutFile[0] != '\0') {
        const std::string command = std::string("echo '") + kFakeVersion + "' >> " +
                                    shell_quoted(pRCmd->szOutFile, QUOTES_NONE);
        i_cm_system(command.c_str());
    } else if (pRCmd->LL_Stdout != nullptr) {
        InsLastLLf(pRCmd->LL_Stdout, sizeof kFakeVersion, kFakeVersion);
    }
    trace_log(strLog, TRACE_EVENTS, "--- RCMD: return fake version: %s", kFakeVersion);
    return 0;
}

// Chooses the remote user by the platform. False, with the message, for an unknown one.
bool choose_user(RCMD *pRCmd) {
    if (const char *cpUser = rcmd_user(pRCmd->szPlatform)) {
        text_copy(pRCmd->szUser, cpUser);
        return true;
    }
    text_print(pRCmd->szMsg, "Unknown platform: %s", pRCmd->szPlatform);
    PROT("E014-HOSTS   %s", pRCmd->szMsg);
    return false;
}

struct s_METHOD {
    char cMode; // first letter of the access mode
    const char *cpName;
    int (*access)(RCMD *psctRcmd, str_log strLog);
};

constexpr s_METHOD kMethods[] = {
    {'C', "ctrld", iCtrldAccess}, {'R', "rsh", iRshAccess}, {'S', "ssh", iSshAccess}};

const s_METHOD *find_method(const char *cpMode) {
    for (const s_METHOD &method : kMethods) {
        if (method.cMode == cpMode[0]) {
            return &method;
        }
    }
    return nullptr;
}

int refuse_mode(RCMD *pRCmd, const char *cpMode, str_log *strLog) {
    text_print(pRCmd->szMsg, "invalid accessmode - %s", cpMode);
    trace_log(strLog, TRACE_EVENTS, "RCMD: Error: %s: invalid AccessMode: %s", pRCmd->szClient,
              cpMode);
    PROT(by_language("E019-HOSTS   RemoteCmd %s > invalid accessmode - %s",
                     "E019-HOSTS   RemoteCmd %s > ungueltiger Zugriffsmodus - %s",
                     "E019-HOSTS   RemoteCmd %s > an Zugriffsmodus %s gibt's net"),
         pRCmd->szCmd, cpMode);
    return -1;
}

// Options that would be cut might name another port, key or file.
int refuse_options(RCMD *pRCmd, const char *cpOptions, str_log *strLog) {
    text_print(pRCmd->szMsg, "access options of client %s too long: (%lu > %d)", pRCmd->szClient,
               static_cast<unsigned long>(std::strlen(cpOptions)),
               static_cast<int>(sizeof pRCmd->szPortOpt) - 1);
    trace_log(strLog, TRACE_EVENTS, "RCMD: Error: %s", pRCmd->szMsg);
    PROT("E014-HOSTS   %s", pRCmd->szMsg);
    return -1;
}

// A high exit state is always reported, another unless the caller does not want it.
void report_exit(int iExit, RCMD *pRCmd) {
    if (iExit == 0 || (iExit <= 126 && pRCmd->bAvoidErrProt)) {
        return;
    }
    if (pRCmd->szMsg[0] == '\0') {
        text_print(pRCmd->szMsg, "exit state %d", iExit);
    }
    PROT(by_language("E014-HOSTS   RemoteCmd %s > error: %s",
                     "E014-HOSTS   RemoteCmd %s > Fehler: %s",
                     "E014-HOSTS   RemoteCmd %s > Fälla: %s"),
         pRCmd->szCmd, pRCmd->szMsg);
}

int run_remote(RCMD *pRCmd, str_log strLog) {
    s_CLIENT client = {};
    if (!read_client(pRCmd, &client, strLog)) {
        return -1;
    }
    text_copy(pRCmd->szPlatform, client.szPlatform);
    const bool bNone = std::strcmp(client.szOptions, "NULL") == 0;
    if (!text_copy(pRCmd->szPortOpt, bNone ? "" : client.szOptions)) {
        return refuse_options(pRCmd, client.szOptions, &strLog);
    }
    if (is_netware(*pRCmd)) {
        return answer_netware(pRCmd, &strLog);
    }
    if (!choose_user(pRCmd)) {
        return -1;
    }
    const s_METHOD *method = find_method(client.szAccessMode);
    if (method == nullptr) {
        return refuse_mode(pRCmd, client.szAccessMode, &strLog);
    }
    const int iExit = method->access(pRCmd, strLog);
    report_exit(iExit, pRCmd);
    return iExit;
}

int run_local(RCMD *pRCmd, str_log strLog) {
    trace_log(&strLog, TRACE_DETAILS, "Call for local server %s >> call i_PIPE_OPEN_RCMD()",
              pRCmd->szClient);
    if (!pRCmd->bAvoidProt) {
        PROT("I003-BASICS  RemoteCmd %s", pRCmd->szCmd);
    }
    i_setenv_vorna(pRCmd->szCmd); // the installation's programs are found by their names
    if (bSetInterpreter(pRCmd->szCmd, kCommandLimit) == 1) {
        trace_log(&strLog, TRACE_DETAILS, "Set interpreter for command script");
    }
    return i_PIPE_OPEN_RCMD(pRCmd->szCmd, 0, pRCmd, strLog);
}

void trace_request(const RCMD &rcmd, str_log *strLog) {
    trace_log(strLog, TRACE_EVENTS, "+++ RCMD: %s, [%s], bAvoidProt %d, bAvoidErrProt %d",
              rcmd.szClient, rcmd.szCmd, rcmd.bAvoidProt, rcmd.bAvoidErrProt);
    trace_log(strLog, TRACE_DETAILS, "synchron with timeout %d", rcmd.iTimeout);
    struct s_FILE {
        const char *cpFormatName;
        const char *cpFile;
    };
    const s_FILE files[] = {
        {"output", rcmd.szOutFile}, {"stderr", rcmd.szErrFile}, {"stdin", rcmd.szInFile}};
    for (const s_FILE &file : files) {
        if (file.cpFile[0] != '\0') {
            trace_log(strLog, TRACE_DETAILS, "%s file is given as: %s", file.cpFormatName,
                      file.cpFile);
        }
    }
}

// False, with the message, when a text fills its buffer without an end.
bool check_lengths(RCMD *pRCmd) {
    const std::size_t iCommand = strnlen(pRCmd->szCmd, sizeof pRCmd->szCmd);
    const std::size_t iClient = strnlen(pRCmd->szClient, sizeof pRCmd->szClient);
    if (iCommand >= sizeof pRCmd->szCmd) {
        text_print(pRCmd->szMsg, "Command line to long: (%lu > %d)",
                   static_cast<unsigned long>(iCommand), kCommandLimit - 1);
        return false;
    }
    if (iClient >= sizeof pRCmd->szClient) {
        text_print(pRCmd->szMsg, "Client name to long: (%lu > %d)",
                   static_cast<unsigned long>(iClient),
                   static_cast<int>(sizeof pRCmd->szClient) - 1);
        return false;
    }
    return true;
}

// A request for a synchronous run, null with the message when command or client do not fit.
std::unique_ptr<RCMD> new_request(const char *cpClient, const char *cpCmd, char *cpMsg) {
    auto request = std::make_unique<RCMD>();
    if (!text_copy(request->szCmd, cpCmd)) {
        text_print(cpMsg, sizeof request->szMsg, "Commandline too long: (%ld > %d)",
                   static_cast<long>(std::strlen(cpCmd)), kCommandLimit);
        return nullptr;
    }
    if (!text_copy(request->szClient, cpClient)) {
        text_print(cpMsg, sizeof request->szMsg, "Client name to long: (%lu > %d)",
                   static_cast<unsigned long>(std::strlen(cpClient)),
                   static_cast<int>(sizeof request->szClient) - 1);
        return nullptr;
    }
    request->bAvoidErrProt = 1;
    return request;
}

} // namespace

const char *rcmd_user(const char *cpPlatform) {
    struct s_PLATFORM {
        const char *cpName;
        const char *cpUser;
    };
    constexpr s_PLATFORM kPlatforms[] = {
        {"WNT", "system"}, {"Windows", "system"}, {"UNIX", "root"}};
    for (const s_PLATFORM &platform : kPlatforms) {
        if (std::strcmp(platform.cpName, cpPlatform) == 0) {
            return platform.cpUser;
        }
    }
    return nullptr;
}

const char *rcmd_method(const char *cpMode) {
    const s_METHOD *method = find_method(cpMode);
    return method == nullptr ? nullptr : method->cpName;
}

int i_RCMD(RCMD *pRCmd, str_log strLog) {
    if (!check_lengths(pRCmd)) {
        return -1;
    }
    if (pRCmd->iASyncFlg != 0) {
        trace_log(&strLog, TRACE_EVENTS, "+++ RCMD: asynchron: %s [%s]", pRCmd->szClient,
                  pRCmd->szCmd);
        const int iResult = i_ASYNC_RCMD(pRCmd, strLog);
        trace_log(&strLog, TRACE_EVENTS, "--- RCMD: asynchron returns %d, msg: %s", iResult,
                  pRCmd->szMsg);
        return iResult;
    }
    pRCmd->szPlatform[0] = '\0'; // not that of an earlier call
    trace_request(*pRCmd, &strLog);
    const bool bLocal = std::strcmp(pRCmd->szClient, "LOCAL") == 0;
    const int iExit = bLocal ? run_local(pRCmd, strLog) : run_remote(pRCmd, strLog);
    if (!is_netware(*pRCmd)) { // its answer has said so already
        trace_log(&strLog, TRACE_EVENTS, "--- RCMD: returns %d, msg: %s", iExit, pRCmd->szMsg);
    }
    return iExit;
}

int i_RCMD_EXEC(const char *cpClient, const char *cpCmd, char *cpMsg, str_log strLog) {
    const std::unique_ptr<RCMD> request = new_request(cpClient, cpCmd, cpMsg);
    if (!request) {
        return -1;
    }
    const int iExit = i_RCMD(request.get(), strLog);
    text_copy(cpMsg, sizeof request->szMsg, request->szMsg);
    return iExit;
}

int i_RCMD_SEARCH(const char *cpClient, const char *cpCmd, char *cpSearch, char *cpMsg,
                  str_log strLog) {
    trace_log(&strLog, TRACE_EVENTS, "+++ RCMD_SEARCH %s %s %s", cpClient, cpCmd, cpSearch);
    const std::unique_ptr<RCMD> request = new_request(cpClient, cpCmd, cpMsg);
    if (!request) {
        trace_log(&strLog, TRACE_EVENTS, "--- RCMD_SEARCH %s %s returns: %d: Msg: %s", cpClient,
                  cpCmd, 0, cpMsg);
        return 0;
    }
    request->LL_Stdout = ConsLL();
    int iResult = i_RCMD(request.get(), strLog);
    text_copy(cpMsg, sizeof request->szMsg, request->szMsg);
    void *line = FirstElmLL(request->LL_Stdout);
    for (; strLog.iFlg >= 2 && IsElmLL(line) != 0; line = NextElmLL(line)) {
        trace_log(&strLog, TRACE_DETAILS, "RCMD_SEARCH [%s]", static_cast<const char *>(line));
    }
    if (iResult >= 0) {
        iResult = i_LL_search(request->LL_Stdout, cpSearch, strLog) >= 0 ? 1 : 0;
        if (iResult == 1) {
            trace_log(&strLog, TRACE_EVENTS, "RCMD_SEARCH found: [%s]", cpSearch);
        }
    }
    DestLL(request->LL_Stdout);
    trace_log(&strLog, TRACE_EVENTS, "--- RCMD_SEARCH %s %s returns: %d: Msg: %s", cpClient, cpCmd,
              iResult, cpMsg);
    return iResult;
}
