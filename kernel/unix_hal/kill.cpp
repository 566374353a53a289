// Stopping the processes of a saveset, see kill.h. The keyword comes from the caller: it reaches
// grep as a text and the shell as one word.
#include "kernel/unix_hal/kill.h"

#include "common/common/shell_quote.h"
#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/configuration/ini.h"
#include "common/unix/database/access.h"
#include "common/unix/database/record_list.h"
#include "common/unix/database/statement.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/files/file.h"
#include "common/unix/files/file_find.h"
#include "common/unix/files/line_reader.h"
#include "common/unix/host/host.h"
#include "common/unix/processes/process.h"
#include "common/unix/processes/run.h"
#include "common/unix/processes/semaphore.h"
#include "common/unix/trace/fatal.h"
#include "common/unix/trace/trace.h"

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <unistd.h>

s_KILL_POLICY gKillPolicy = {30, 4000};

namespace {

constexpr int kInterrupt = -2;
constexpr int kForce = -9;

// How this host lists its processes.
struct s_LISTING {
    char szCommand[256] = "ps axwwo user,pid,ppid,command";
    char szPid[16] = "2"; // column of the process id
    char szParent[16] = "3";
};

// A basic regular expression that matches the text, and is no option of grep's.
std::string grep_text(std::string_view text) {
    constexpr std::string_view kSpecial = "\\.[]*^$";
    std::string pattern;
    if (text.starts_with('-')) {
        pattern = "[-]";
        text.remove_prefix(1);
    }
    for (const char letter : text) {
        if (kSpecial.find(letter) != std::string_view::npos) {
            pattern += '\\';
        }
        pattern += letter;
    }
    return pattern;
}

std::string awk_column(const s_LISTING &listing) {
    return " | awk '{ print $" + shell_quoted(listing.szPid, QUOTES_SINGLE) + " }'";
}

// The backup client's processes of the saveset, without the agent's own programs.
std::string client_pipeline(const s_LISTING &listing, const char *cpKeyWord) {
    return std::string("set -x; ") + listing.szCommand + " | grep  \"s " +
           shell_quoted(grep_text(cpKeyWord), QUOTES_DOUBLE) +
           "\" | grep vbc | grep -v grep | grep -v vn_" + awk_column(listing);
}

// The agent's own helpers at work on the saveset.
std::string helper_pipeline(const s_LISTING &listing, const char *cpKeyWord) {
    return std::string("set -x; ") + listing.szCommand + " | grep  " +
           shell_quoted(grep_text(cpKeyWord), QUOTES_NONE) +
           " | grep -v grep | grep vn_ | grep -v vn_client | grep -v vn_break_backup" +
           awk_column(listing);
}

// The file stays in its directory, whatever the keyword.
std::string list_file(const char *cpDirectory, const char *cpKeyword) {
    std::string file = std::string(cpDirectory) + "/pid_list_" + text_file_part(cpKeyword) + ".tmp";
    GIVE_ME_FILE_NAME(file.data());
    return file;
}

// Reads the directory of the list file. False when it is not configured.
bool read_directory(char (&szDirectory)[512]) {
    char szMsg[256];
    return i_READ_INI("VN_INI", "[PATHES]", "gv_rw_tmp", szDirectory, sizeof szDirectory, szMsg,
                      sizeof szMsg) == 1;
}

// Makes the list file anew as our own: what somebody else placed under its name, such as a symbolic
// link, is not followed.
bool make_list_file(const char *cpFile) {
    ::unlink(cpFile);
    const unique_fd file(::open(cpFile, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    return static_cast<bool>(file);
}

// The process id of a line; 0 for one that must not be signalled.
pid_t pid_of(std::string_view line) {
    line = text_stripped(line);
    int iPid = 0;
    const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), iPid);
    const bool bWhole = error == std::errc() && end == line.data() + line.size();
    return bWhole && iPid > 1 && iPid != ::getpid() ? iPid : 0;
}

void signal_process(pid_t pid, int iKillValue, str_log *strLog) {
    char szCommand[64];
    text_print(szCommand, "kill %d %d; ", iKillValue, static_cast<int>(pid));
    trace_log(strLog, TRACE_EVENTS, "i_KILL_PROCESSES %s", szCommand);
    i_cm_system(szCommand);
}

// Signals, or counts, the processes of the list file. Returns their number.
int signal_list(line_reader *list, int iKillValue, str_log *strLog) {
    int iCount = 0;
    std::string_view line;
    while (list->next(&line)) {
        const pid_t pid = pid_of(line);
        if (pid == 0) {
            continue;
        }
        if (iKillValue != KILL_COUNT_ONLY) {
            signal_process(pid, iKillValue, strLog);
        }
        ++iCount;
    }
    return iCount;
}

// Whether the listing command itself works: behind it, the pipeline's filters hide its failure.
bool can_list(const s_LISTING &listing) {
    return i_cm_system((std::string(listing.szCommand) + " >/dev/null 2>&1").c_str()) == 0;
}

// Waits for the processes to end. 1 when they have, 0 when some are left, -1 when they cannot be
// listed.
int wait_for_end(const std::string &pipeline, const char *cpKeyWord, str_log *strLog) {
    for (int i = 1; i <= gKillPolicy.iRounds; ++i) {
        trace_log(strLog, TRACE_EVENTS, "waiting for vbc to finish the activities loop = %d", i);
        wait_msec(gKillPolicy.iRoundMsec);
        int iCount = 0;
        if (i_KILL_PROCESSES(pipeline.c_str(), cpKeyWord, KILL_COUNT_ONLY, &iCount, *strLog) != 1) {
            return -1;
        }
        if (iCount == 0) {
            trace_log(strLog, TRACE_EVENTS, "The vbc processes are not running any more");
            return 1;
        }
        trace_log(strLog, TRACE_EVENTS, "The vbc processes are still running");
    }
    return 0;
}

// Stops the processes. Returns the call's result, with the message.
int stop(const s_LISTING &listing, const char *cpKeyWord, char *cpMsg, str_log *strLog) {
    constexpr char kListFailure[] = "FAILURE in i_KILL_PROCESSES";
    const std::string pipeline = client_pipeline(listing, cpKeyWord);
    int iCount = 0;
    const bool bLine = std::strpbrk(cpKeyWord, "\r\n") == nullptr; // else no line can hold it
    if (bLine && i_KILL_PROCESSES(pipeline.c_str(), cpKeyWord, kInterrupt, &iCount, *strLog) != 1) {
        text_copy(cpMsg, kMessageSize, kListFailure);
        return 0;
    }
    if (iCount == 0) {
        const bool bNone = can_list(listing);
        text_copy(cpMsg, kMessageSize, bNone ? "There are no vbc processes" : kListFailure);
        return bNone ? 2 : 0;
    }
    const int iEnded = wait_for_end(pipeline, cpKeyWord, strLog);
    if (iEnded < 0) {
        text_copy(cpMsg, kMessageSize, kListFailure);
        return 0;
    }
    if (iEnded == 0) {
        const std::string helpers = helper_pipeline(listing, cpKeyWord);
        i_KILL_PROCESSES(pipeline.c_str(), cpKeyWord, kForce, &iCount, *strLog);
        i_KILL_PROCESSES(helpers.c_str(), cpKeyWord, kForce, &iCount, *strLog);
    }
    text_copy(cpMsg, kMessageSize,
              iEnded == 1 ? "the vbc processes were killed in the soft way (kill -2)"
                          : "the vbc processes were killed in the hard way (kill -9)");
    return 1;
}

// A row of the process listing's syntax; "BLANK" stands for a blank.
template <std::size_t N>
bool read_syntax(DB_REC_LIS *list, int iRow, char (&szText)[N], char *cpMsg, str_log *strLog) {
    char szValue[sizeof(col::szValue)] = "";
    if (iDB_SEL_GET(list, iRow, cpMsg, strLog, "syntax", szValue, static_cast<char *>(nullptr)) !=
        1) {
        return false;
    }
    return text_copy(szText, std::strcmp(szValue, "BLANK") == 0 ? " " : szValue);
}

} // namespace

int i_KILL_VBC(const char *cpKeyWord, char *cpMsg, str_log strLog) {
    trace_log(&strLog, TRACE_EVENTS, "+++ KILL_VBC %s", cpKeyWord);
    s_LISTING listing;
    char szOs[32] = "";
    if (i_GET_MY_OS(szOs, strLog) != 0) {
        v_GET_PS_POSITION(szOs, listing.szCommand, listing.szPid, listing.szParent, strLog);
    }
    // Calls for the same saveset share the list file: one at a time.
    SCT_SEMA lock = {};
    text_copy(lock.szSema, "kill_" + text_file_part(cpKeyWord));
    text_copy(lock.szCaller, "KILL_VBC");
    i_SEMA('+', &lock, strLog);
    const int iResult = stop(listing, cpKeyWord, cpMsg, &strLog);
    char szDirectory[512];
    if (read_directory(szDirectory)) {
        i_FILE_DELETE(list_file(szDirectory, cpKeyWord).c_str(), strLog);
    }
    i_SEMA('-', &lock, strLog);
    trace_log(&strLog, TRACE_EVENTS, "--- KILL_VBC %s", cpMsg);
    return iResult;
}

int i_KILL_PROCESSES(const char *cpPsEfGrep, const char *cpKeyword, int ipKillValue,
                     int *ipNoOfKilledProc, str_log strLog) {
    *ipNoOfKilledProc = 0;
    char szDirectory[512];
    if (!read_directory(szDirectory)) {
        trace_log(&strLog, TRACE_EVENTS, "--- i_KILL_PROCESSES %s",
                  fatal_text("../vn_hal_unix", 905, "gv_rw_tmp not in vn.ini").c_str());
        return 0;
    }
    const std::string file = list_file(szDirectory, cpKeyword);
    if (!make_list_file(file.c_str())) {
        trace_log(&strLog, TRACE_EVENTS, "Could not open file %s for reading.", file.c_str());
        return 0;
    }
    const std::string command = std::string(cpPsEfGrep) + " > " + shell_quoted(file, QUOTES_NONE);
    trace_log(&strLog, TRACE_EVENTS, "ps-grep command: %s", command.c_str());
    int iStatus = 0;
    const int iListed = i_cm_system_status(command.c_str(), &iStatus);
    line_reader list(file.c_str());
    if (iListed != 0 || iStatus != 0 || !list.is_open()) { // a list that is not whole
        trace_log(&strLog, TRACE_EVENTS, "Could not open file %s for reading.", file.c_str());
        ::unlink(file.c_str());
        return 0;
    }
    *ipNoOfKilledProc = signal_list(&list, ipKillValue, &strLog);
    return 1;
}

void v_GET_PS_POSITION(const char *cpDerivat, char *cpPsCmd, char *cpPosPid, char *cpPosPPid,
                       str_log strLog) {
    const std::string statement =
        "select syntax from syntaxes where os='" + db_quoted(cpDerivat) +
        "' and (command='PS_CMD' or command='PS_PID' or command='PS_PPID' ) order by command";
    char szMsg[DB_MESSAGE_SIZE] = "";
    s_LISTING listing;
    DB_REC_LIS list = {};
    text_copy(list.szId, "GET_PS_POSITION");
    const bool bAnswered = iDB_ACCESS(statement.c_str(), szMsg, &list, strLog) == 1;
    bool bKnown = false;
    if (!bAnswered) {
        trace_log(&strLog, TRACE_EVENTS, "data-base error: %s", szMsg);
    } else if (list.iRows != 3) {
        trace_log(&strLog, TRACE_EVENTS, "error syntax for %s not found: 3 != %s", cpDerivat,
                  szMsg);
    } else {
        bKnown = read_syntax(&list, 1, listing.szCommand, szMsg, &strLog) &&
                 read_syntax(&list, 2, listing.szPid, szMsg, &strLog) &&
                 read_syntax(&list, 3, listing.szParent, szMsg, &strLog);
        if (!bKnown) {
            trace_log(&strLog, TRACE_EVENTS, "data-base error: %s", szMsg);
        }
    }
    vDB_SEL_FREE(&list);
    if (!bKnown) {
        std::exit(0);
    }
    text_copy(cpPsCmd, sizeof listing.szCommand, listing.szCommand);
    text_copy(cpPosPid, sizeof listing.szPid, listing.szPid);
    text_copy(cpPosPPid, sizeof listing.szParent, listing.szParent);
}
