// The functions on savesets and commands, see saveset_functions.h.
#include "kernel/functions/saveset_functions.h"

#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/files/file.h"
#include "common/unix/trace/trace.h"
#include "kernel/request/call.h"
#include "kernel/request/finish.h"
#include "kernel/request/options.h"
#include "kernel/unix_hal/kill.h"
#include "kernel/unix_hal/user_command.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>

namespace {

bool is_writable(const std::string &file) {
    return static_cast<bool>(
        unique_fd(::open(file.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)));
}

// Copies a file of the INI directory to the saveset's in the work directory. False with the
// message.
bool copy_mtf(const char *cpSource, const char *saveset, const char *cpEnding, char *cpMsg) {
    std::string source = std::string(gszRwIni) + cpSource;
    std::string target = std::string(gszRwWork) + "vnslis/" + saveset + cpEnding;
    GIVE_ME_FILE_NAME(source.data());
    GIVE_ME_FILE_NAME(target.data());
    const int iResult = file_copy(source.c_str(), target.c_str());
    if (iResult == 0) {
        return true;
    }
    // The copy program does not always tell which of the two it was.
    const bool bSource = file_exist(source.c_str()) == 0 || (iResult != 2 && is_writable(target));
    text_print(cpMsg, kMessageSize, "could not open file %s to %s",
               bSource ? source.c_str() : target.c_str(), bSource ? "read" : "write");
    trace_log(&strLog, TRACE_EVENTS, "--- COPY_MTF_HDR_TRL   %s ", cpMsg);
    return false;
}

// The saveset copy: its status is the shell's raw one, as the server knows it.
int copy_saveset(char *cpMsg) {
    trace_log(&strLog, TRACE_EVENTS, "Start saveset copy");
    std::fflush(stdout);
    const int iStatus = std::system(gszOpt_s);
    text_copy(cpMsg, kMessageSize,
              iStatus < 2 ? "Saveset successfully copied" : "Error during saveset copy");
    return iStatus;
}

} // namespace

void v_KILL(s_CALL *) {
    char szMsg[kMessageSize] = "";
    trace_log(&strLog, TRACE_EVENTS, "kill with pattern %s ", gszOpt_s);
    const int iSts = i_KILL_VBC(gszOpt_s, szMsg, strLog);
    FINISH(iSts, szMsg);
}

void v_MOVE(s_CALL *) {
    char szMsg[kMessageSize] = "";
    trace_log(&strLog, TRACE_EVENTS, "copy MTF-header & trailer file");
    const int iSts = i_COPY_MTF_HDR_TRL(gszOpt_s, szMsg);
    FINISH(iSts, szMsg);
}

int i_COPY_MTF_HDR_TRL(const char *saveset, char *cpMsg) {
    trace_log(&strLog, TRACE_EVENTS, "+++ COPY_MTF_HDR_TRL");
    if (path_goes_up(saveset)) {
        text_print(cpMsg, kMessageSize, "invalid saveset name %s", saveset);
        trace_log(&strLog, TRACE_EVENTS, "--- COPY_MTF_HDR_TRL   %s ", cpMsg);
        return 1;
    }
    if (!copy_mtf("mtf_extended_header.dat", saveset, ".hdr", cpMsg) ||
        !copy_mtf("mtf_trailer.dat", saveset, ".trl", cpMsg)) {
        return 1;
    }
    text_copy(cpMsg, kMessageSize, "copy ok");
    trace_log(&strLog, TRACE_EVENTS, "--- COPY_MTF_HDR_TRL  copy ok");
    return 0;
}

void EXECUTE_COMMAND(s_CALL *call) {
    char szMsg[kMessageSize] = "no message";
    trace_log(&strLog, TRACE_EVENTS, "+++ EXECUTE_COMMAND  %s  %s ", gszOpt_u, gszOpt_s);
    const int iSts = std::strcmp(gszOpt_u, "vbccopy") == 0
                         ? copy_saveset(szMsg)
                         : i_EXECUTE_USER_COMMAND(gszOpt_u, gszOpt_s, call->argvEnd, szMsg, strLog);
    trace_log(&strLog, TRACE_EVENTS, "--- EXECUTE_COMMAND: %s ", szMsg);
    FINISH(iSts, szMsg);
}
