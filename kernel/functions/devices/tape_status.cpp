// The state of drives and disks, see tape_status.h.
#include "kernel/functions/devices/tape_status.h"

#include "common/common/shell_quote.h"
#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/configuration/directories.h"
#include "common/unix/files/file_search.h"
#include "common/unix/host/host.h"
#include "common/unix/trace/trace.h"
#include "kernel/remote/dispatcher.h"
#include "kernel/remote/mount_check.h"
#include "kernel/request/finish.h"
#include "kernel/request/options.h"
#include "kernel/unix_hal/tape.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

constexpr char kOnline[] = "Drive tape online";
constexpr char kNoTape[] = "No tape in drive";
constexpr int kStatusSize = 600; // a status, what mt said, and what stands between them

// A status function fills the message and returns whether the device is ready, or at least known.
bool tape_status(char (&szMsg)[kStatusSize]) {
    char szSts[256] = "";
    char szText[256] = "";
    const int iResult = i_TAPE_STATUS_LOCAL(gszOpt_d, szSts, szText, gszId, strLog);
    trace_log(&strLog, TRACE_EVENTS, "got return %d: status %s, msg %s", iResult, szSts, szText);
    text_print(szMsg, szText[0] == '\0' ? "%s" : "%s: %s", szSts, szText);
    return iResult == 1;
}

// A fixed disk is there when its device file names a path, or is missing.
bool fixed_disk_status(char (&szMsg)[kStatusSize]) {
    const std::string file = std::string("gv_rw_ini:") + gszOpt_d;
    trace_log(&strLog, TRACE_EVENTS, "DISK_HARD check file %s", file.c_str());
    char szSearch[256] = "empty";
    const bool bEmpty = file_search(file.c_str(), szSearch, sizeof szSearch) == 1;
    const int iErrno = bEmpty || errno == ENOENT || errno == EINVAL ? 0 : errno;
    if (iErrno != 0) {
        text_print(szMsg, "cannot read disk device file %s: %s", gszOpt_d,
                   error_text(iErrno).c_str());
        return false;
    }
    text_copy(szMsg, bEmpty ? kNoTape : kOnline);
    return true;
}

// What the load command prints on one of its standard streams, on the way to the agent's.
struct s_OUTPUT {
    explicit s_OUTPUT(const char *cpKind)
        : file(work_directory() + "load_" + text_file_part(gszId) + cpKind),
          word(shell_quoted(file, QUOTES_NONE)) {}
    ~s_OUTPUT() { ::unlink(file.c_str()); }
    s_OUTPUT(const s_OUTPUT &) = delete;
    s_OUTPUT &operator=(const s_OUTPUT &) = delete;

    const std::string file;
    const std::string word; // for a shell
};

// Runs the load command. Returns its exit status, that of a shell for one that a signal ended, with
// its message. Background jobs that it leaves hold the files, not the streams whose end counts
// here and with our caller.
int run_load_command(const std::string &command, char (&szMsg)[kMessageSize]) {
    const s_OUTPUT out(".out");
    const s_OUTPUT err(".err");
    const std::string detached = "(" + command + "\n) </dev/null >" + out.word + " 2>" + err.word +
                                 "; s=$?; cat " + out.word + "; cat " + err.word + " >&2; exit $s";
    return i_RCMD_EXEC("LOCAL", detached.c_str(), szMsg, strLog);
}

// Runs the load command for a disk that is not mounted.
bool load_disk(const char *cpNode, const char *cpMount, char (&szMsg)[kStatusSize]) {
    const std::string command = std::string(gszOpt_n) + " \"" +
                                shell_quoted(cpNode, QUOTES_DOUBLE) + "\" \"" +
                                shell_quoted(cpMount, QUOTES_DOUBLE) + "\"";
    trace_log(&strLog, TRACE_EVENTS, "execute specific load/mount command: %s", command.c_str());
    char szOutput[kMessageSize] = "";
    const bool bLoaded = run_load_command(command, szOutput) == 0;
    trace_log(&strLog, TRACE_EVENTS, bLoaded ? "load ok: %s" : "load failed: %s", szOutput);
    text_copy(szMsg, bLoaded ? kOnline : kNoTape);
    return bLoaded;
}

// A changeable disk with a load command: mounted already, or to be mounted.
bool loaded_disk_status(char (&szMsg)[kStatusSize]) {
    char szPlatform[16];
    char szNode[512] = "";
    char szMount[512] = "";
    const int iMounted = i_CHECK_MOUNT("LOCAL", get_my_platform(szPlatform), gszOpt_t, gszOpt_d,
                                       szNode, szMount, strLog);
    if (iMounted < 0) {
        trace_log(&strLog, TRACE_EVENTS, "Could not find device: %s", gszOpt_d);
        text_copy(szMsg, kNoTape);
        return false;
    }
    if (iMounted == 0) {
        return load_disk(szNode, szMount, szMsg);
    }
    trace_log(&strLog, TRACE_EVENTS, "Device %s already mounted", gszOpt_d);
    text_copy(szMsg, kOnline);
    return true;
}

// A changeable disk without a load command: its directory can be entered or not.
bool directory_status(char (&szMsg)[kStatusSize]) {
    trace_log(&strLog, TRACE_EVENTS, "DISK_CHNG check working dir: %s", gszOpt_t);
    if (::chdir(gszOpt_t) == 0) {
        trace_log(&strLog, TRACE_EVENTS, "DISK_CHNG path [%s] available (disk file %s unchanged)",
                  gszOpt_t, gszOpt_d);
        text_copy(szMsg, kOnline);
    } else {
        trace_log(&strLog, TRACE_EVENTS, "DISK_CHNG directory not accessible > %s", gszOpt_t);
        text_copy(szMsg, kNoTape);
    }
    return true;
}

bool device_status(char (&szMsg)[kStatusSize]) {
    if (std::strcmp(gszOpt_t, "TAPE_DRIVE") == 0) {
        return tape_status(szMsg);
    }
    if (std::strcmp(gszOpt_t, "DISK_HARD") == 0) {
        return fixed_disk_status(szMsg);
    }
    if (gszOpt_n[0] != '\0' && std::strcmp(gszOpt_n, "NULL") != 0) {
        return loaded_disk_status(szMsg);
    }
    return directory_status(szMsg);
}

} // namespace

void TAPE_STATUS_CLIENT(s_CALL *) {
    trace_log(&strLog, TRACE_EVENTS, "+++ i_TAPE_STATUS_CLIENT   %s  %s ", gszOpt_d, gszOpt_t);
    if (gszOpt_d[0] == '\0') {
        FINISH(1, "missing device via -d");
    }
    if (gszOpt_t[0] == '\0') {
        FINISH(1, "missing device via -t");
    }
    char szMsg[kStatusSize] = "";
    const bool bReady = device_status(szMsg);
    trace_log(&strLog, TRACE_EVENTS, "--- i_TAPE_STATUS_CLIENT  returns %d: status %s",
              bReady ? 1 : 0, szMsg);
    FINISH(bReady ? 0 : 2, szMsg);
}
