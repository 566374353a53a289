// Stopping the processes of a saveset, see kill.h. The keyword comes from the caller: it reaches
// grep as a text and the shell as one word.
#include "kernel/unix_hal/kill.h"

#include "common/common/shell_quote.h"
#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/configuration/ini.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/files/file.h"
#include "common/unix/files/file_find.h"
#include "common/unix/files/line_reader.h"
#include "common/unix/files/regular_file.h"
#include "common/unix/processes/child.h"
#include "common/unix/processes/process.h"
#include "common/unix/processes/run.h"
#include "common/unix/processes/semaphore.h"
#include "common/unix/trace/fatal.h"
#include "common/unix/trace/trace.h"
#include "kernel/unix_hal/process_listing.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

s_KILL_POLICY gKillPolicy;

namespace {

constexpr int kInterrupt = -2;
constexpr int kForce = -9;
constexpr std::string_view kTitle = "PID";
constexpr char kListFailure[] = "FAILURE in i_KILL_PROCESSES";

// A basic regular expression that matches the text, and is no option of grep's.
std::string grep_text(std::string_view text) {
    constexpr std::string_view kSpecial = "\\.[*^$"; // of others a backslash may make anything
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

// Lets one process at a time make and read its list: those of one saveset share the file. Waiting
// for the processes to end is no part of it.
class list_lock {
public:
    explicit list_lock(str_log *strLog) : strLog_(strLog) {
        text_copy(lock_.szSema, "kill_list");
        text_copy(lock_.szCaller, "KILL_VBC");
        bHeld_ = i_SEMA('+', &lock_, *strLog) == SEMA_SUCCESS;
        if (!bHeld_) {
            trace_log(strLog, TRACE_EVENTS, "i_KILL_PROCESSES without lock: %s", lock_.szMsg);
        }
    }
    ~list_lock() {
        if (bHeld_) {
            i_SEMA('-', &lock_, *strLog_);
        }
    }
    list_lock(const list_lock &) = delete;
    list_lock &operator=(const list_lock &) = delete;

private:
    SCT_SEMA lock_ = {};
    str_log *strLog_;
    bool bHeld_ = false;
};

// Whether the list file is whole. A filter's 1 means that it has found nothing.
bool run_pipeline(const std::string &command) {
    const int iState = i_cm_system_state(command.c_str());
    return iState == 0 || iState == 1;
}

// Runs the pipeline into the list file and reads the ids. False when they cannot be had.
bool read_list(const char *cpPipeline, const std::string &file, std::vector<pid_t> *pids,
               str_log *strLog) {
    const list_lock lock(strLog);
    const std::string command = std::string(cpPipeline) + " > " + shell_quoted(file, QUOTES_NONE);
    const bool bMade = make_list_file(file.c_str());
    if (bMade) {
        trace_log(strLog, TRACE_EVENTS, "ps-grep command: %s", command.c_str());
    }
    const bool bWhole = bMade && run_pipeline(command);
    line_reader list(file.c_str());
    if (!bWhole || !list.is_open()) {
        trace_log(strLog, TRACE_EVENTS, "Could not open file %s for reading.", file.c_str());
        ::unlink(file.c_str());
        return false;
    }
    std::string_view line;
    while (list.next(&line)) {
        const pid_t pid = pid_of(line);
        if (pid != 0) {
            pids->push_back(pid);
        }
    }
    return true;
}

// Whether a line of a listing tells that process ids stand in the column (from 0): its title, or an
// id. Nothing for a line that tells neither.
std::optional<bool> has_ids(std::string_view line, std::size_t column) {
    const std::vector<std::string_view> fields = text_fields(line, ' ');
    const std::string_view field = column < fields.size() ? fields[column] : "";
    if (std::find(fields.begin(), fields.end(), kTitle) != fields.end()) {
        return field == kTitle;
    }
    return pid_of(field) != 0 ? std::optional(true) : std::nullopt;
}

// Reads the system's listing with what it complains of. Returns the exit state; where it does not
// list ids in the column, *odd is its first line.
int read_listing(const s_LISTING &listing, std::string *odd) {
    const std::string command = std::string(listing.szCommand) + " 2>&1";
    std::FILE *pipe = ::popen(command.c_str(), "re");
    if (pipe == nullptr) {
        return -1;
    }
    const std::size_t column = std::strtoul(listing.szPid, nullptr, 10);
    std::optional<bool> ids;
    char szLine[512];
    while (read_stream_line(pipe, szLine, sizeof szLine)) {
        if (!ids) {
            ids = has_ids(szLine, column - 1);
        }
        if (odd->empty()) {
            *odd = text_stripped(szLine);
        }
    }
    if (ids.value_or(false)) {
        odd->clear();
    }
    return exit_state(::pclose(pipe));
}

// Whether the listing command can be run: behind it, the pipeline's filters hide its failure.
bool can_list(const s_LISTING &listing, std::string *odd) {
    constexpr int kCannotExecute = 126; // 127: not found; above it a shell tells of a signal
    int iState = read_listing(listing, odd);
    if (iState < 0 || iState >= kCannotExecute) { // an event tells why
        const std::string command = std::string(listing.szCommand) + " >/dev/null 2>&1";
        iState = i_cm_system_state(command.c_str());
    }
    return iState >= 0 && iState < kCannotExecute;
}

// What is said where no process is found: that there is none, or why this is not known. Returns the
// call's result.
int tell_none(const s_LISTING &listing, char *cpMsg) {
    std::string odd;
    if (!can_list(listing, &odd)) {
        text_copy(cpMsg, kMessageSize, kListFailure);
        return 0;
    }
    if (odd.empty()) {
        text_copy(cpMsg, kMessageSize, "There are no vbc processes");
    } else {
        text_print(cpMsg, kMessageSize,
                   "processes cannot be listed: no id in column %s of [%s]: %s", listing.szPid,
                   odd.c_str(), listing.szCommand);
    }
    return 2;
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

// A pass over the processes of a saveset. Returns their number, -1 when they cannot be listed.
int signal_all(const std::string &pipeline, const char *cpKeyWord, int iKillValue,
               str_log *strLog) {
    int iCount = 0;
    const int iListed = i_KILL_PROCESSES(pipeline.c_str(), cpKeyWord, iKillValue, &iCount, *strLog);
    return iListed == 1 ? iCount : -1;
}

// Counts what is left behind a forced kill; the system takes a moment to end a process. Returns the
// number, -1 when it cannot be had.
int count_survivors(const s_LISTING &listing, const char *cpKeyWord, str_log *strLog) {
    int iLeft = 0;
    for (int i = 0; i < gKillPolicy.iForcedRounds; ++i) {
        wait_msec(gKillPolicy.iForcedRoundMsec);
        const int iClients =
            signal_all(client_pipeline(listing, cpKeyWord), cpKeyWord, KILL_COUNT_ONLY, strLog);
        const int iHelpers =
            signal_all(helper_pipeline(listing, cpKeyWord), cpKeyWord, KILL_COUNT_ONLY, strLog);
        if (iClients < 0 || iHelpers < 0) {
            return -1;
        }
        iLeft = iClients + iHelpers;
        if (iLeft == 0) {
            break;
        }
    }
    return iLeft;
}

// Kills what the interrupt has left. Returns the call's result, with the message.
int kill_by_force(const s_LISTING &listing, const char *cpKeyWord, char *cpMsg, str_log *strLog) {
    const int iClients = signal_all(client_pipeline(listing, cpKeyWord), cpKeyWord, kForce, strLog);
    const int iHelpers = signal_all(helper_pipeline(listing, cpKeyWord), cpKeyWord, kForce, strLog);
    const int iLeft = count_survivors(listing, cpKeyWord, strLog);
    if (iClients < 0 || iHelpers < 0 || iLeft < 0) {
        text_copy(cpMsg, kMessageSize, kListFailure);
        return 0;
    }
    if (iLeft == 0) {
        text_copy(cpMsg, kMessageSize, "the vbc processes were killed in the hard way (kill -9)");
        return 1;
    }
    text_print(cpMsg, kMessageSize, "%d processes are still running after kill -9", iLeft);
    PROT(by_language("E010-BASICS  KILL_VBC %s: %d processes are still running after kill -9",
                     "E010-BASICS  KILL_VBC %s: %d Prozesse laufen noch nach kill -9",
                     "E010-BASICS  KILL_VBC %s: %d Prozess laffa oiwei no noch kill -9"),
         cpKeyWord, iLeft);
    return 1;
}

// Stops the processes. Returns the call's result, with the message.
int stop(const s_LISTING &listing, const char *cpKeyWord, char *cpMsg, str_log *strLog) {
    const std::string pipeline = client_pipeline(listing, cpKeyWord);
    const bool bLine = std::strpbrk(cpKeyWord, "\r\n") == nullptr; // else no line can hold it
    const int iCount = bLine ? signal_all(pipeline, cpKeyWord, kInterrupt, strLog) : 0;
    if (iCount == 0) {
        return tell_none(listing, cpMsg);
    }
    const int iEnded = iCount > 0 ? wait_for_end(pipeline, cpKeyWord, strLog) : -1;
    if (iEnded < 0) {
        text_copy(cpMsg, kMessageSize, kListFailure);
        return 0;
    }
    if (iEnded == 0) {
        return kill_by_force(listing, cpKeyWord, cpMsg, strLog);
    }
    text_copy(cpMsg, kMessageSize, "the vbc processes were killed in the soft way (kill -2)");
    return 1;
}

// Stops the processes and removes the list. Returns the call's result, with the message.
int stop_and_tidy(const s_LISTING &listing, const char *cpKeyWord, char *cpMsg, str_log *strLog) {
    const int iResult = stop(listing, cpKeyWord, cpMsg, strLog);
    char szDirectory[512];
    if (read_directory(szDirectory)) {
        const list_lock lock(strLog); // another call for the saveset may be reading it
        i_FILE_DELETE(list_file(szDirectory, cpKeyWord).c_str(), *strLog);
    }
    return iResult;
}

} // namespace

int i_KILL_VBC(const char *cpKeyWord, char *cpMsg, str_log strLog) {
    trace_log(&strLog, TRACE_EVENTS, "+++ KILL_VBC %s", cpKeyWord);
    s_LISTING listing;
    int iResult = 2;
    if (host_listing(&listing, &strLog)) {
        iResult = stop_and_tidy(listing, cpKeyWord, cpMsg, &strLog);
    } else {
        text_copy(cpMsg, kMessageSize, "the catalogue's listing of processes is too long or empty");
    }
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
    std::vector<pid_t> pids;
    if (!read_list(cpPsEfGrep, list_file(szDirectory, cpKeyword), &pids, &strLog)) {
        return 0;
    }
    for (const pid_t pid : pids) {
        if (ipKillValue != KILL_COUNT_ONLY) {
            signal_process(pid, ipKillValue, &strLog);
        }
    }
    *ipNoOfKilledProc = static_cast<int>(pids.size());
    return 1;
}
