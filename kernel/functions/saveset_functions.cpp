// The functions on savesets and commands, see saveset_functions.h.
#include "kernel/functions/saveset_functions.h"

#include "common/common/strlib.h"
#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/configuration/environment.h"
#include "common/unix/files/file.h"
#include "common/unix/files/regular_file.h"
#include "common/unix/trace/trace.h"
#include "kernel/request/call.h"
#include "kernel/request/finish.h"
#include "kernel/request/options.h"
#include "kernel/request/requirements.h"
#include "kernel/unix_hal/kill.h"
#include "kernel/unix_hal/user_command.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>

namespace {

// True for a directory, a pipe or a device: the copy program would copy into it, or wait for it.
bool is_no_file(const std::string &path) {
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
}

// Copies a file of the INI directory to the saveset's in the work directory. False with the
// message.
bool copy_mtf(const char *cpSource, const std::string &saveset, const char *cpEnding, char *cpMsg) {
    std::string source = std::string(gszRwIni) + cpSource;
    std::string target = std::string(gszRwWork) + "vnslis/" + saveset + cpEnding;
    GIVE_ME_FILE_NAME(source.data());
    GIVE_ME_FILE_NAME(target.data());
    if (!is_no_file(source) && !is_no_file(target) &&
        file_copy(source.c_str(), target.c_str()) == 0) {
        return true;
    }
    // The copy program does not tell which of the two it was.
    const bool bSource = !open_regular(source.c_str());
    text_print(cpMsg, kMessageSize, "could not open file %s to %s",
               bSource ? source.c_str() : target.c_str(), bSource ? "read" : "write");
    trace_log(&strLog, TRACE_EVENTS, "--- COPY_MTF_HDR_TRL   %s ", cpMsg);
    return false;
}

// The saveset copy: its status is the shell's raw one, as the server knows it.
int copy_saveset(char *cpMsg) {
    if (gszOpt_s[0] == '\0') {
        text_copy(cpMsg, kMessageSize, "missing option -s command");
        return 2;
    }
    trace_log(&strLog, TRACE_EVENTS, "Start saveset copy");
    i_setenv_vorna(gszOpt_s);
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
    std::string name = saveset;
    szPath2Unix(name.data()); // as it will stand in the path
    if (path_goes_up(name)) {
        text_print(cpMsg, kMessageSize, "invalid saveset name %s", saveset);
        trace_log(&strLog, TRACE_EVENTS, "--- COPY_MTF_HDR_TRL   %s ", cpMsg);
        return 1;
    }
    if (!copy_mtf("mtf_extended_header.dat", name, ".hdr", cpMsg) ||
        !copy_mtf("mtf_trailer.dat", name, ".trl", cpMsg)) {
        return 1;
    }
    text_copy(cpMsg, kMessageSize, "copy ok");
    trace_log(&strLog, TRACE_EVENTS, "--- COPY_MTF_HDR_TRL  copy ok");
    return 0;
}

void EXECUTE_COMMAND(s_CALL *call) {
    char szMsg[kMessageSize] = "no message";
    trace_log(&strLog, TRACE_EVENTS, "+++ EXECUTE_COMMAND  %s  %s ", gszOpt_u, gszOpt_s);
    REQUIRE_WORK_DIRECTORY(""); // the command runs in it
    const int iSts = std::strcmp(gszOpt_u, "vbccopy") == 0
                         ? copy_saveset(szMsg)
                         : i_EXECUTE_USER_COMMAND(gszOpt_u, gszOpt_s, call->argvEnd, szMsg, strLog);
    trace_log(&strLog, TRACE_EVENTS, "--- EXECUTE_COMMAND: %s ", szMsg);
    FINISH(iSts, szMsg);
}
