// A remote call from request to exit code, see daemon_call.h.
#include "kernel/remote/call/daemon_call.h"

#include "common/common/owner.h"
#include "common/common/strlib.h"
#include "common/common/text.h"
#include "common/unix/processes/socket.h"
#include "common/unix/trace/trace.h"
#include "control/vn_ctrl.h"
#include "kernel/remote/call/convert.h"
#include "kernel/remote/call/output.h"
#include "kernel/remote/call/rcmd.h"
#include "kernel/remote/call/relay.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr int kConvertedSize = 32768;

struct s_PORT_RANGE {
    int iStart;
    int iEnd;
};

// The ports that the option "-o port=9000-9010" allows for the second connection; 0-0 is any.
s_PORT_RANGE port_range(const char *cpOptions, str_log *strLog) {
    const char *cpOption = std::strstr(cpOptions, "-o");
    if (cpOption == nullptr) {
        return {0, 0};
    }
    trace_log(strLog, TRACE_DETAILS, "Use restricted port range bcs. of argument %s", cpOption);
    std::string range = std::strlen(cpOption) > 3 ? cpOption + 3 : cpOption;
    range.erase(0, std::min(range.find_first_not_of(' '), range.size()));
    range.resize(std::min(range.find(' '), range.size())); // what follows is another option
    lowercase(range.data());
    const std::size_t iPort = range.find("port");
    const std::size_t iEqual = iPort == std::string::npos ? iPort : range.find('=', iPort);
    if (iEqual != std::string::npos) {
        range.erase(0, iEqual + 1);
        trace_log(strLog, TRACE_DETAILS, "Port range %s", range.c_str());
    }
    s_PORT_RANGE ports = {};
    ports.iStart = static_cast<int>(std::strtol(range.c_str(), nullptr, 10));
    const std::size_t iDash = range.find('-');
    if (iDash != std::string::npos) {
        ports.iEnd = static_cast<int>(std::strtol(range.c_str() + iDash + 1, nullptr, 10));
    } else {
        trace_log(strLog, TRACE_DETAILS, "Attention: no range delimiter '-' found in: [%s]",
                  range.c_str());
        ports.iEnd = ports.iStart;
    }
    trace_log(strLog, TRACE_DETAILS, "Use restricted port range: %d-%d", ports.iStart, ports.iEnd);
    return ports;
}

struct s_SOCKETS {
    int hFirst;
    int hSecond; // 0 when there is none
};

// Opens the connections. Returns what vn_ctrl returned.
int open_connections(const RCMD &rcmd, const char *cpConverted, s_SOCKETS *sockets,
                     str_log *strLog) {
    char szHost[1024];
    char szUser[64];
    text_copy(szHost, rcmd.szClient);
    text_copy(szUser, rcmd.szUser);
    const int iPort = static_cast<int>(std::strtol(rcmd.szPort, nullptr, 10));
    if (std::strstr(rcmd.szPortOpt, "-d") != nullptr) {
        giSingleConnection = 0;
        trace_log(strLog, TRACE_DETAILS,
                  "Use double stdout and stderr connection bcs. of argument %s", rcmd.szPortOpt);
    }
    const s_PORT_RANGE ports = port_range(rcmd.szPortOpt, strLog);
    if (giSingleConnection != 0) {
        trace_log(strLog, TRACE_DETAILS,
                  "giSingleConnection vn_ctrlc calling ctrld port %d, user %s, host %s, cmd [%s]",
                  iPort, szUser, szHost, cpConverted);
        sockets->hSecond = 0;
        return vn_ctrl(szHost, iPort, 0, 0, szUser, cpConverted, &sockets->hFirst, nullptr,
                       rcmd.iTimeout);
    }
    trace_log(strLog, TRACE_DETAILS,
              "vn_ctrlc calling ctrld port %d:%d-%d, user %s, host %s, cmd [%s]", iPort,
              ports.iStart, ports.iEnd, szUser, szHost, cpConverted);
    const int iResult = vn_ctrl(szHost, iPort, ports.iStart, ports.iEnd, szUser, cpConverted,
                                &sockets->hFirst, &sockets->hSecond, rcmd.iTimeout);
    if (iResult == 0 && sockets->hSecond < 0) {
        trace_log(strLog, TRACE_EVENTS,
                  "Warning: vn_ctrl() returned no valid socket for 2nd port > switch to single "
                  "port communication");
        giSingleConnection = 1;
        sockets->hSecond = 0;
    }
    return iResult;
}

// The connection's failure, told where the caller will look for the command's errors.
void tell_failure(RCMD *pRCmd, str_log *strLog) {
    const std::string error = vn_ctrl_geterror();
    const char *cpFile = pRCmd->szErrFile[0] != '\0' ? pRCmd->szErrFile : pRCmd->szOutFile;
    if (pRCmd->szOutFile[0] == '\0') {
        trace_log(strLog, TRACE_EVENTS, "ERROR vn_ctrlc: %s", error.c_str());
    } else if (const unique_file file(std::fopen(cpFile, "a+e")); file) {
        std::fprintf(file.get(), "ERROR: %s", error.c_str());
    }
    const bool bWritten = pRCmd->szErrFile[0] != '\0' && pRCmd->szOutFile[0] != '\0';
    if (pRCmd->szMsg[0] == '\0' && !bWritten) {
        text_copy(pRCmd->szMsg, error); // nobody will find it in a file
    }
}

// A file of the call, which may be absent.
struct s_FILE {
    unique_file file;
    bool bFailed = false; // could not be opened
};

s_FILE open_file(const char *cpName, const char *cpMode, const char *cpWhat, str_log *strLog) {
    s_FILE result;
    if (cpName[0] == '\0') {
        return result;
    }
    result.file.reset(std::fopen(cpName, cpMode));
    if (result.file) {
        std::setvbuf(result.file.get(), nullptr, _IONBF, 0); // it is written in blocks
    } else {
        result.bFailed = true;
        trace_log(strLog, TRACE_EVENTS, "--- VN_CTRLC_LIB  fopen(%s file [%s]) failed: return %d",
                  cpWhat, cpName, 1);
    }
    return result;
}

// The data phase between the files of the call. Returns the exit code; false in *pbOpened when a
// file could not be opened, which the trace then says.
int transfer(RCMD *pRCmd, const s_SOCKETS &sockets, bool *pbOpened, str_log strLog) {
    *pbOpened = false;
    const s_FILE in = open_file(pRCmd->szInFile, "re", "stdin", &strLog);
    if (in.bFailed) {
        return 1;
    }
    trace_log(&strLog, TRACE_DETAILS, in.file ? "got stdin file [%s]" : "didn't get stdin file%s",
              pRCmd->szInFile);
    const char *cpMode = pRCmd->bAppendMode ? "ae" : "we";
    s_FILE out = open_file(pRCmd->szOutFile, cpMode, "stdout", &strLog);
    if (out.bFailed) {
        return 1;
    }
    if (!out.file && pRCmd->szErrFile[0] != '\0') {
        *pbOpened = true;
        return g_iEXITCODE; // with only an error file nothing is relayed
    }
    s_FILE err = open_file(pRCmd->szErrFile, cpMode, "stderr", &strLog);
    if (err.bFailed) {
        return 1;
    }
    *pbOpened = true;
    output_begin();
    std::FILE *fd_stdout = out.file ? out.file.get() : stdout;
    std::FILE *fd_stderr = err.file ? err.file.get() : out.file ? out.file.get() : stderr;
    trace_log(&strLog, TRACE_DETAILS, "calling start_transfer (%d): **** socket %d",
              err.file   ? 3
              : out.file ? 2
                         : 1,
              sockets.hFirst);
    start_transfer(in.file.get(), fd_stdout, fd_stderr, pRCmd, sockets.hFirst, sockets.hSecond,
                   strLog);
    if (out.file) {
        trace_log(&strLog, TRACE_DETAILS,
                  err.file ? "close stdout & stderr handles" : "close stdout handle");
    }
    const bool bOut = output_close(&out.file, pRCmd->szOutFile, pRCmd);
    const bool bErr = output_close(&err.file, pRCmd->szErrFile, pRCmd);
    return g_iEXITCODE == 0 && !(bOut && bErr) ? 1 : g_iEXITCODE;
}

} // namespace

int ctrlc_lib_call(RCMD *psctRcmd, str_log strLog) {
    trace_log(&strLog, TRACE_EVENTS,
              "+++ VN_CTRLC_LIB is called with: Port [%s], option [%s], user [%s], host [%s], cmd "
              "[%s]",
              psctRcmd->szPort, psctRcmd->szPortOpt, psctRcmd->szUser, psctRcmd->szClient,
              psctRcmd->szCmd);
    trace_log(&strLog, TRACE_DETAILS, "infile %s, outfile %s, errfile %s", psctRcmd->szInFile,
              psctRcmd->szOutFile, psctRcmd->szErrFile);
    trace_log(&strLog, TRACE_DETAILS, "LOG_LEVEL %d", strLog.iFlg);
    g_iEXITCODE = 255;
    std::vector<char> converted(kConvertedSize);
    vConvertCommand(psctRcmd->szCmd, converted.data(), kConvertedSize, &strLog);
    s_SOCKETS sockets = {};
    const int iOpened = open_connections(*psctRcmd, converted.data(), &sockets, &strLog);
    if (iOpened != 0) {
        trace_log(&strLog, TRACE_EVENTS,
                  "ERROR: vn_ctrlc call failed for user %s, host %s, cmd [%s]", psctRcmd->szUser,
                  psctRcmd->szClient, converted.data());
        tell_failure(psctRcmd, &strLog);
        trace_log(&strLog, TRACE_EVENTS,
                  "--- VN_CTRLC_LIB: ERROR vn_ctrl call failed with return: %d", iOpened);
        return iOpened;
    }
    trace_log(&strLog, TRACE_DETAILS, "vn_ctrlc call ok for user %s, host %s, cmd [%s]",
              psctRcmd->szUser, psctRcmd->szClient, converted.data());
    trace_log(&strLog, TRACE_DETAILS, "ctrlc_lib_call: First SOCKET = [%d]", sockets.hFirst);
    if (sockets.hSecond > 0) {
        trace_log(&strLog, TRACE_DETAILS, "ctrlc_lib_call: With second SOCKET = [%d]",
                  sockets.hSecond);
    }
    bool bOpened = false;
    const int iExit = transfer(psctRcmd, sockets, &bOpened, strLog);
    cm_CloseSocketsAndCleanup(sockets.hSecond > 0 ? 2 : 1, sockets.hFirst, sockets.hSecond);
    if (bOpened) {
        trace_log(&strLog, TRACE_EVENTS, "--- VN_CTRLC_LIB  returns %d", iExit);
    }
    return iExit;
}
