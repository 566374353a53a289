// A remote call from request to exit code, see daemon_call.h.
#include "kernel/remote/call/daemon_call.h"

#include "common/common/owner.h"
#include "common/common/strlib.h"
#include "common/common/text.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/processes/pipe.h"
#include "common/unix/processes/socket.h"
#include "common/unix/trace/trace.h"
#include "control/vn_ctrl.h"
#include "kernel/remote/call/exit_code.h"
#include "kernel/remote/call/output.h"
#include "kernel/remote/call/rcmd.h"
#include "kernel/remote/call/relay.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kConvertedSize = 32768;

struct s_PORT_RANGE {
    int iStart;
    int iEnd;
};

// The number at the text's beginning. One that is too large stays so large that it is no port: it
// must not become another one.
int port_number(const char *cpText) {
    constexpr long kSmallest = std::numeric_limits<int>::min();
    constexpr long kLargest = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(std::strtol(cpText, nullptr, 10), kSmallest, kLargest));
}

// What the option "-o port=9000-9010", at the text's beginning, says behind the "=".
std::string range_text(const char *cpOption, str_log *strLog) {
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
    return range;
}

// The ports that the options allow for the second connection; 0-0 is any.
s_PORT_RANGE port_range(const char *cpOptions, str_log *strLog) {
    const char *cpOption = std::strstr(cpOptions, "-o");
    if (cpOption == nullptr) {
        return {0, 0};
    }
    trace_log(strLog, TRACE_DETAILS, "Use restricted port range bcs. of argument %s", cpOption);
    const std::string range = range_text(cpOption, strLog);
    s_PORT_RANGE ports = {port_number(range.c_str()), 0};
    const std::size_t iDash = range.find('-');
    if (iDash != std::string::npos) {
        ports.iEnd = port_number(range.c_str() + iDash + 1);
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

// Opens the connections for the converted command. Returns what vn_ctrl returned.
int connect_daemon(const RCMD &rcmd, const char *cpConverted, s_SOCKETS *sockets, str_log *strLog) {
    char szHost[1024];
    char szUser[64];
    text_copy(szHost, rcmd.szClient);
    text_copy(szUser, rcmd.szUser);
    const int iPort = port_number(rcmd.szPort);
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

// Converts the command and opens the connections. Returns what vn_ctrl returned, VN_CTRL_FAILED
// with the text kept for a command that would be cut.
int open_connections(const RCMD &rcmd, std::vector<char> *converted, s_SOCKETS *sockets,
                     str_log *strLog) {
    if (!vConvertCommand(rcmd.szCmd, converted->data(), kConvertedSize, strLog)) {
        const std::string text =
            "Command too long for the control daemon: its arguments take more than " +
            std::to_string(kConvertedSize - 1) + " characters";
        vn_processerror(text.c_str());
        return vn_ctrl_cleanup(VN_CTRL_FAILED);
    }
    return connect_daemon(rcmd, converted->data(), sockets, strLog);
}

// The connection's failure, told where the caller will look for the command's errors.
void tell_failure(RCMD *pRCmd, str_log *strLog) {
    const std::string error = vn_ctrl_geterror();
    const char *cpFile = pRCmd->szErrFile[0] != '\0' ? pRCmd->szErrFile : pRCmd->szOutFile;
    unique_file file;
    if (pRCmd->szOutFile[0] != '\0') {
        file.reset(std::fopen(cpFile, "a+e"));
    }
    if (file) {
        std::fprintf(file.get(), "ERROR: %s", error.c_str());
    } else {
        trace_log(strLog, TRACE_EVENTS, "ERROR vn_ctrlc: %s", error.c_str());
    }
    const bool bWritten = pRCmd->szErrFile[0] != '\0' && pRCmd->szOutFile[0] != '\0';
    if (pRCmd->szMsg[0] == '\0' && !bWritten) {
        text_copy(pRCmd->szMsg, error); // nobody will find it in a file
    }
}

void trace_connected(const RCMD &rcmd, const char *cpConverted, const s_SOCKETS &sockets,
                     str_log *strLog) {
    trace_log(strLog, TRACE_DETAILS, "vn_ctrlc call ok for user %s, host %s, cmd [%s]", rcmd.szUser,
              rcmd.szClient, cpConverted);
    trace_log(strLog, TRACE_DETAILS, "ctrlc_lib_call: First SOCKET = [%d]", sockets.hFirst);
    if (sockets.hSecond > 0) {
        trace_log(strLog, TRACE_DETAILS, "ctrlc_lib_call: With second SOCKET = [%d]",
                  sockets.hSecond);
    }
}

// The files of a call; those that are not given are empty.
struct s_FILES {
    unique_file in;
    output_file out;
    output_file err;
};

// True when a file that is given has been opened; else the trace says which could not be.
bool check_opened(bool bOpened, const char *cpWhat, const char *cpName, str_log *strLog) {
    if (!bOpened) {
        trace_log(strLog, TRACE_EVENTS, "--- VN_CTRLC_LIB  fopen(%s file [%s]) failed: return %d",
                  cpWhat, cpName, 1);
    }
    return bOpened;
}

bool open_output(const char *cpName, const char *cpWhat, RCMD *pRCmd, output_file *file,
                 str_log *strLog) {
    if (cpName[0] == '\0') {
        return true;
    }
    const bool bOpened = file->open(cpName, pRCmd->bAppendMode != 0, pRCmd);
    if (bOpened) {
        std::setvbuf(file->stream(), nullptr, _IONBF, 0); // it is written in blocks
    }
    return check_opened(bOpened, cpWhat, cpName, strLog);
}

// Opens the input: a file, or this process's own standard input, wherever it stands in its file.
bool open_input(RCMD *pRCmd, unique_file *in, str_log *strLog) {
    if (names_standard_input(pRCmd->szInFile)) {
        unique_fd own(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
        in->reset(own ? ::fdopen(own.get(), "r") : nullptr);
        own.release();
    } else {
        *in = open_call_file(pRCmd->szInFile, "r", pRCmd);
    }
    return check_opened(static_cast<bool>(*in), "stdin", pRCmd->szInFile, strLog);
}

// Opens the files of the call. False, with the message, when one cannot be opened.
bool open_files(RCMD *pRCmd, s_FILES *files, str_log *strLog) {
    if (pRCmd->szInFile[0] != '\0' && !open_input(pRCmd, &files->in, strLog)) {
        return false;
    }
    trace_log(strLog, TRACE_DETAILS, files->in ? "got stdin file [%s]" : "didn't get stdin file%s",
              pRCmd->szInFile);
    if (!open_output(pRCmd->szOutFile, "stdout", pRCmd, &files->out, strLog)) {
        return false;
    }
    const bool bOnlyError = pRCmd->szOutFile[0] == '\0';
    return bOnlyError || open_output(pRCmd->szErrFile, "stderr", pRCmd, &files->err, strLog);
}

// The data phase between the files of the call. Returns the exit code.
int transfer(RCMD *pRCmd, const s_SOCKETS &sockets, s_FILES *files, str_log strLog) {
    output_file own_out(stdout);
    output_file own_err(stderr);
    output_file *out = files->out ? &files->out : &own_out;
    output_file *err = files->err ? &files->err : files->out ? &files->out : &own_err;
    trace_log(&strLog, TRACE_DETAILS, "calling start_transfer (%d): **** socket %d",
              files->err   ? 3
              : files->out ? 2
                           : 1,
              sockets.hFirst);
    start_transfer(files->in.get(), out, err, pRCmd, sockets.hFirst, sockets.hSecond, strLog);
    if (files->out) {
        trace_log(&strLog, TRACE_DETAILS, "%s",
                  files->err ? "close stdout & stderr handles" : "close stdout handle");
    }
    const bool bOut = files->out.close(pRCmd->szOutFile, pRCmd);
    const bool bErr = files->err.close(pRCmd->szErrFile, pRCmd);
    return g_iEXITCODE == 0 && !(bOut && bErr) ? 1 : static_cast<int>(g_iEXITCODE);
}

// Runs the call on the open connections. Returns the exit code, 1 when a file cannot be opened.
int run_call(RCMD *pRCmd, const s_SOCKETS &sockets, str_log strLog) {
    s_FILES files;
    if (!open_files(pRCmd, &files, &strLog)) {
        return 1;
    }
    const bool bOnlyError = pRCmd->szOutFile[0] == '\0' && pRCmd->szErrFile[0] != '\0';
    // With only an error file nothing is relayed.
    const int iExit =
        bOnlyError ? static_cast<int>(g_iEXITCODE) : transfer(pRCmd, sockets, &files, strLog);
    trace_log(&strLog, TRACE_EVENTS, "--- VN_CTRLC_LIB  returns %d", iExit);
    return iExit;
}

// Closes the connections. Once the exit code has come nobody waits for what is still unsent, and
// with a time limit no longer than a second.
void close_connections(const s_SOCKETS &sockets, int iTimeout) {
    for (const int hSocket : {sockets.hFirst, sockets.hSecond}) {
        if (hSocket > 0 && (exit_code_socket() != 0 || iTimeout >= 1)) {
            limit_linger(hSocket, exit_code_socket() != 0 ? 0 : 1);
        }
    }
    cm_CloseSocketsAndCleanup(sockets.hSecond > 0 ? 2 : 1, sockets.hFirst, sockets.hSecond);
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
    reset_exit_code();
    const int iTimeout = psctRcmd->iTimeout; // the relay may change it
    std::vector<char> converted(kConvertedSize);
    s_SOCKETS sockets = {};
    const int iOpened = open_connections(*psctRcmd, &converted, &sockets, &strLog);
    if (iOpened != 0) {
        trace_log(&strLog, TRACE_EVENTS,
                  "ERROR: vn_ctrlc call failed for user %s, host %s, cmd [%s]", psctRcmd->szUser,
                  psctRcmd->szClient, converted.data());
        tell_failure(psctRcmd, &strLog);
        trace_log(&strLog, TRACE_EVENTS,
                  "--- VN_CTRLC_LIB: ERROR vn_ctrl call failed with return: %d", iOpened);
        return iOpened;
    }
    trace_connected(*psctRcmd, converted.data(), sockets, &strLog);
    const int iExit = run_call(psctRcmd, sockets, strLog);
    close_connections(sockets, iTimeout);
    return iExit;
}
