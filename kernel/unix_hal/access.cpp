// The access methods, see access.h. Names and options come from the catalogue: each word of them
// reaches the shell as that word.
#include "kernel/unix_hal/access.h"

#include "common/common/cm_message.h"
#include "common/common/owner.h"
#include "common/common/shell_quote.h"
#include "common/common/text.h"
#include "common/unix/configuration/glbv.h"
#include "common/unix/configuration/ini.h"
#include "common/unix/trace/trace.h"
#include "kernel/remote/call/daemon_call.h"
#include "kernel/remote/call/local_run.h"
#include "kernel/remote/call/rcmd.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr char kStandardPort[] = "11001";
constexpr int kHighExitState = 240;
constexpr int kSshError = 255;

bool is_set(const char *cpVariable) {
    std::string name = cpVariable;
    char szValue[GLBV_VALUE_SIZE];
    glbv('r', name.data(), szValue);
    return szValue[0] != '?';
}

// The words of an option text, split as a shell does, each quoted where the shell needs it. False,
// with the message, when a quote in it has no partner.
bool quote_options(RCMD *psctRcmd, std::string *result) {
    std::vector<std::string> words;
    if (!shell_words(psctRcmd->szPortOpt, &words)) {
        text_print(psctRcmd->szMsg, "access options with a quote that does not end: [%s]",
                   psctRcmd->szPortOpt);
        return false;
    }
    for (const std::string &word : words) {
        *result += (result->empty() ? "" : " ") + shell_quoted(word, QUOTES_NONE);
    }
    return true;
}

std::string quoted(const char *cpWord) {
    return shell_quoted(cpWord, QUOTES_NONE);
}

// The client's own port, "-p <digits>" in its options, replaces the standard one.
void apply_port_option(const char *cpOptions, char (&szPort)[20], str_log *strLog) {
    constexpr char kDigits[] = "0123456789";
    const char *cpOption = std::strstr(cpOptions, "-p ");
    if (cpOption == nullptr) {
        trace_log(strLog, TRACE_DETAILS,
                  "Use standard port [%s] for CTRLC_LIB_CALL, and [%s] for VN_CTRLC", szPort,
                  cpOptions);
        return;
    }
    trace_log(strLog, TRACE_DETAILS, "Checking port option: [%s]", cpOption);
    std::string_view port = cpOption + 3;
    port = port.substr(0, port.find(' '));
    if (!port.empty() && port.find_first_not_of(kDigits) == std::string_view::npos) {
        text_copy(szPort, port);
        trace_log(strLog, TRACE_DETAILS,
                  "Standard ctrl port overwritten by clients.access_options: [%s]", cpOptions);
        trace_log(strLog, TRACE_DETAILS, "Ctrl port set to: %s", szPort);
    }
}

// Chooses the daemon's port; options that are none of the control client's are cleared.
void choose_port(RCMD *psctRcmd, char (&szPort)[20], str_log *strLog) {
    const char *cpOptions = psctRcmd->szPortOpt;
    if (cpOptions[0] == '-' && cpOptions[1] != '\0' &&
        std::strchr("sopv", cpOptions[1]) != nullptr) {
        apply_port_option(cpOptions, szPort, strLog);
    } else {
        psctRcmd->szPortOpt[0] = '\0';
    }
    trace_log(strLog, TRACE_DETAILS, "CtrldPortOpt= [%s], PortOpt= [%s]", szPort,
              psctRcmd->szPortOpt);
    text_copy(psctRcmd->szPort, szPort);
}

void protocol_command(const RCMD &rcmd, const char *cpCommand) {
    if (!rcmd.bAvoidProt) {
        PROT("I003-BASICS  RemoteCmd %s", cpCommand);
    }
}

// A name that begins with "-" would be an option of the program.
bool check_name(const char *cpName, RCMD *psctRcmd) {
    if (cpName[0] == '-' || cpName[0] == '\0') {
        text_print(psctRcmd->szMsg, "invalid name: [%s]", cpName);
        return false;
    }
    return true;
}

// Runs the external control client.
int run_control_client(RCMD *psctRcmd, str_log strLog) {
    std::string options;
    if (!check_name(psctRcmd->szClient, psctRcmd) || !quote_options(psctRcmd, &options)) {
        return -1;
    }
    const bool bTimeout = psctRcmd->iTimeout >= 1;
    const std::string timeout = bTimeout ? "-t " + std::to_string(psctRcmd->iTimeout) + " " : "";
    // The command is the rest of the line: the client passes its words on as the shell reads them.
    const std::string command = "set -f; vn_ctrlc -p " + quoted(psctRcmd->szPort) + " " + options +
                                " " + timeout + "-l " + quoted(psctRcmd->szUser) + " " +
                                quoted(psctRcmd->szClient) + " " + psctRcmd->szCmd +
                                (bTimeout ? " 2>&1" : "");
    protocol_command(*psctRcmd, command.c_str());
    return i_PIPE_OPEN_RCMD(command.c_str(), is_set("gv_ctrlc_no_alive") ? 0 : 1, psctRcmd, strLog);
}

// Runs the built-in call.
int call_daemon(RCMD *psctRcmd, str_log strLog) {
    const std::string call = "CTRLC_LIB_CALL: -t " + std::to_string(psctRcmd->iTimeout) + " -l " +
                             psctRcmd->szUser + " " + psctRcmd->szPortOpt + " " +
                             psctRcmd->szClient + " " + psctRcmd->szCmd;
    trace_log(&strLog, TRACE_EVENTS, "%s", call.c_str());
    protocol_command(*psctRcmd, call.c_str());
    return ctrlc_lib_call(psctRcmd, strLog);
}

// Up to 255 bytes of the error file as the message of a call that left none.
void message_from_error_file(RCMD *psctRcmd) {
    if (psctRcmd->szMsg[0] != '\0' || psctRcmd->szErrFile[0] == '\0') {
        return;
    }
    const unique_file file(std::fopen(psctRcmd->szErrFile, "re"));
    if (!file) {
        text_print(psctRcmd->szMsg, "CtrldAccess: Failed to read from %s: errno %d: %s",
                   psctRcmd->szErrFile, errno, error_text(errno).c_str());
        return;
    }
    char szText[sizeof psctRcmd->szMsg];
    const std::size_t got = std::fread(szText, 1, sizeof szText - 1, file.get());
    szText[got] = '\0';
    std::replace(szText, szText + got, '\n', ' ');
    text_copy(psctRcmd->szMsg, szText);
}

int run_shell_method(const char *cpProgram, const char *cpNoAlive, RCMD *psctRcmd, str_log strLog) {
    trace_log(&strLog, TRACE_DETAILS, "using access mode: %s; user: %s", cpProgram,
              psctRcmd->szUser);
    std::string options;
    if (!check_name(psctRcmd->szClient, psctRcmd) || !check_name(psctRcmd->szUser, psctRcmd) ||
        !quote_options(psctRcmd, &options)) {
        return -1;
    }
    const bool bWindows = std::strcmp(psctRcmd->szPlatform, "WNT") == 0 ||
                          std::strcmp(psctRcmd->szPlatform, "Windows") == 0;
    constexpr char kEnvironment[] = ". /etc/vorna2000.ini;set -f;LD_LIBRARY_PATH=$VN_BIN_VORNA "
                                    "PATH=$PATH:$VN_BIN_VORNA:$VN_BIN_VNS ";
    const std::string command = std::string(cpProgram) + " -l " + quoted(psctRcmd->szUser) + " " +
                                options + " " + quoted(psctRcmd->szClient) + " '" +
                                (bWindows ? "" : kEnvironment) +
                                shell_quoted(psctRcmd->szCmd, QUOTES_SINGLE) + "'";
    protocol_command(*psctRcmd, command.c_str());
    return i_PIPE_OPEN_RCMD(command.c_str(), is_set(cpNoAlive) ? 0 : 1, psctRcmd, strLog);
}

} // namespace

bool standard_daemon_port(char (&szPort)[20], char *cpMsg, int iLength) {
    if (i_READ_INI("VN_INI", "[CTRLD_Server]", "CTRLD_Port", szPort, sizeof szPort, cpMsg,
                   iLength) == 1) {
        return true;
    }
    text_copy(szPort, kStandardPort);
    return false;
}

int iCtrldAccess(RCMD *psctRcmd, str_log strLog) {
    trace_log(&strLog, TRACE_EVENTS, "+++ CtrldAccess: %s [%s]", psctRcmd->szClient,
              psctRcmd->szCmd);
    char szPort[20];
    char szMsg[256];
    if (!standard_daemon_port(szPort, szMsg, sizeof szMsg)) {
        trace_log(&strLog, TRACE_DETAILS,
                  "Standard CTRL port not given in vn.ini [CTRLD_Server] CTRLD_Port %s", szMsg);
    }
    trace_log(&strLog, TRACE_DETAILS, "using access mode: CTRLD; user: %s; Port: %s",
              psctRcmd->szUser, szPort);
    choose_port(psctRcmd, szPort, &strLog);
    int iExit = is_set("gv_ctrlc_old") ? run_control_client(psctRcmd, strLog)
                                       : call_daemon(psctRcmd, strLog);
    if (iExit >= kHighExitState) {
        trace_log(&strLog, TRACE_DETAILS, "got high exit state >= 240 try to get error message");
        iExit = -iExit;
        message_from_error_file(psctRcmd);
    }
    trace_log(&strLog, TRACE_EVENTS, "--- CtrldAccess: return exit state: %d. Message: %s", iExit,
              psctRcmd->szMsg);
    return iExit;
}

int iRshAccess(RCMD *psctRcmd, str_log strLog) {
    return run_shell_method("rsh", "gv_rsh_no_alive", psctRcmd, strLog);
}

int iSshAccess(RCMD *psctRcmd, str_log strLog) {
    const int iExit = run_shell_method("ssh", "gv_ssh_no_alive", psctRcmd, strLog);
    if (iExit == kSshError) {
        trace_log(&strLog, TRACE_EVENTS, "SshAccess: returned 255 = Internal ssh error");
    }
    return iExit;
}
