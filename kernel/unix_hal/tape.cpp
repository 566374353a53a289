// The state of a tape drive, see tape.h: mt's words first, since only they tell a drive without
// a tape from one that is busy; then the driver's own answer.
#include "kernel/unix_hal/tape.h"

#include "common/common/shell_quote.h"
#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/configuration/reference.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/files/file_find.h"
#include "common/unix/files/file_search.h"
#include "common/unix/processes/run.h"
#include "common/unix/trace/screen.h"
#include "common/unix/trace/trace.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>

s_TAPE_DRIVER gTapeDriver = {ask_tape_driver};

namespace {

constexpr int kStatusSize = 256;
constexpr char kNotDefined[] = "Not defined";
constexpr char kNoTape[] = "No tape in drive";
constexpr char kOnline[] = "Drive tape online";
constexpr char kNotOnline[] = "Drive tape not online";

// What mt says, in the words of several systems' drivers, and what it means. The first hit counts.
struct s_WORDING {
    const char *cpSearch;
    const char *cpName; // the text as the trace names it
    const char *cpStatus;
    int iResult;
};

constexpr s_WORDING kWordings[] = {
    {"Device not configured", "Device not configured", kNotDefined, 0},
    {"No such device or address", "No such device or address", "No such device or address", 0},
    {"No such file or directory|OR|Datei oder Verzeichnis nicht gefunden",
     "No such file or directory", "No such device or address", 0},
    {"Medium not present", "Medium not present", kNoTape, 1},
    {"drive offline", "drive offline", kNoTape, 1},
    {"Device not ready", "Device not ready", "Device or resource busy", 1},
    {"DEV_OFFLINE", "DEV_OFFLINE", kNoTape, 1},
    {"Device busy|OR|Device or resource busy", "Device busy", "Device or resource busy", 1},
};

bool file_holds(const char *cpFile, const char *cpText) {
    char szSearch[256];
    text_copy(szSearch, cpText);
    return file_search(cpFile, szSearch, sizeof szSearch) == 1;
}

// The commands of a call and the file that takes what they print.
struct s_COMMANDS {
    char szFile[512];
    char szStatus[256];
    char szRewind[256];
};

// 0, or the error number: of a text that does not fit, as such a device has no node, and of a work
// directory that is not to be had.
int build_commands(const char *cpDevice, const char *cpIdent, s_COMMANDS *commands) {
    constexpr char kReference[] = "gv_rw_work:";
    char szWork[256];
    text_copy(szWork, kReference);
    resolve_path(szWork, sizeof szWork);
    if (std::strcmp(szWork, kReference) == 0) {
        return ENOENT;
    }
    const std::string ident = text_file_part(cpIdent); // the file stays in the work directory
    const std::string device = shell_file(cpDevice, QUOTES_NONE);
    if (!text_print(commands->szFile, "%smt_status_result%s.sgv", szWork, ident.c_str())) {
        return ENAMETOOLONG;
    }
    const std::string file = shell_quoted(commands->szFile, QUOTES_NONE);
    const bool bFits =
        text_print(commands->szStatus, "mt -f %s status >  %s 2>&1", device.c_str(),
                   file.c_str()) &&
        text_print(commands->szRewind, "mt -f %s rewind >> %s 2>&1", device.c_str(), file.c_str());
    return bFits ? 0 : ENAMETOOLONG;
}

// What mt printed, on one line, becomes the message.
void read_message(const char *cpFile, char *cpMsg, str_log *strLog) {
    trace_log(strLog, TRACE_EVENTS, "i_TAPE_STATUS_LOCAL: IO Problems in %s", cpFile);
    const unique_fd file(::open(cpFile, O_RDONLY | O_NOCTTY | O_CLOEXEC));
    if (!file) {
        trace_log(strLog, TRACE_EVENTS, "i_TAPE_STATUS_LOCAL: Failed to read from %s: errno %d: %s",
                  cpFile, errno, error_text(errno).c_str());
        return;
    }
    ssize_t got = 0;
    do {
        got = ::read(file.get(), cpMsg, kMessageSize - 1);
    } while (got < 0 && errno == EINTR);
    cpMsg[got < 0 ? 0 : got] = '\0';
    if (got > 0) {
        trace_log(strLog, TRACE_EVENTS, "i_TAPE_STATUS_LOCAL: '%s'", cpMsg);
        std::replace(cpMsg, cpMsg + std::strlen(cpMsg), '\n', ' ');
    }
}

void tell_repetition(const char *cpCommand, str_log *strLog) {
    trace_log(strLog, TRACE_EVENTS, "i_TAPE_STATUS_LOCAL: %s", cpCommand);
    write_screen(std::string("\n    i_TAPE_STATUS_LOCAL: ") + cpCommand + " \n ");
}

// Has mt print the drive's state into the file, once more behind a rewind if it could not.
void ask_mt(const s_COMMANDS &commands, char *cpMsg, str_log *strLog) {
    trace_log(strLog, TRACE_EVENTS, "szStsCmd: %s", commands.szStatus);
    write_screen(std::string("\n              i_TAPE_STATUS_LOCAL: ") + commands.szStatus + " \n");
    if (i_cm_system_state(commands.szStatus) == 0) {
        return;
    }
    tell_repetition(commands.szRewind, strLog);
    i_cm_system(commands.szRewind);
    tell_repetition(commands.szStatus, strLog);
    const int iState = i_cm_system_state(commands.szStatus);
    if (iState == 0) {
        return;
    }
    read_message(commands.szFile, cpMsg, strLog);
    if (cpMsg[0] == '\0') {
        text_print(cpMsg, kMessageSize, "mt: exit state %d", iState);
    }
}

// Ends the call with a status word.
int finish(const char *cpFile, const char *cpStatus, int iResult, char *cpSts, str_log *strLog) {
    text_copy(cpSts, kStatusSize, cpStatus);
    trace_log(strLog, TRACE_EVENTS, "--- i_TAPE_STATUS_LOCAL: %s", cpSts);
    v_TAPE_STATUS_RELEASE(cpFile, -1, *strLog);
    return iResult;
}

// What the driver's general status says, where mt's text does not say that the tape is at rest.
// Where the driver says nothing of the tape, mt's text does when one is there.
const char *general_status(const s_TAPE_STATE &state, str_log *strLog) {
    if (state.cpName == nullptr) {
        return kNotOnline;
    }
    trace_log(strLog, TRACE_EVENTS, "%s 0x%08lx: drive open %d, online %d", state.cpName,
              state.lBits, state.bOpen ? 1 : 0, state.bOnline ? 1 : 0);
    if (state.bOpen) {
        return kNoTape;
    }
    return state.bOnline ? kOnline : kNotOnline;
}

// The driver's own answer.
int ask_driver(const char *cpDevice, const char *cpFile, char *cpSts, str_log *strLog) {
    trace_log(strLog, TRACE_EVENTS, "Open device %s", cpDevice);
    const unique_fd device(::open(cpDevice, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!device) {
        trace_log(strLog, TRACE_EVENTS, "i_TAPE_STATUS_LOCAL: %s", error_text(errno).c_str());
        return finish(cpFile, kNotDefined, 0, cpSts, strLog);
    }
    trace_log(strLog, TRACE_EVENTS, "Open device OK");
    s_TAPE_STATE state = {};
    if (gTapeDriver.status(device.get(), &state) != 0) {
        trace_log(strLog, TRACE_EVENTS, "ioctl failed: %s", error_text(errno).c_str());
        return finish(cpFile, kNotDefined, 0, cpSts, strLog);
    }
    const bool bAtRest = file_holds(cpFile, "at rest.");
    return finish(cpFile, bAtRest ? kOnline : general_status(state, strLog), 1, cpSts, strLog);
}

} // namespace

int i_TAPE_STATUS_LOCAL(const char *cpDevice, char *cpSts, char *cpMsg, const char *cpIdent,
                        str_log strLog) {
    trace_log(&strLog, TRACE_EVENTS, "+++ i_TAPE_STATUS_LOCAL - device: %s", cpDevice);
    cpMsg[0] = '\0';
    s_COMMANDS commands;
    const int iErrno = build_commands(cpDevice, cpIdent, &commands);
    if (iErrno != 0) {
        text_copy(cpMsg, kMessageSize, error_text(iErrno));
        return finish(nullptr, kNotDefined, 0, cpSts, &strLog);
    }
    ask_mt(commands, cpMsg, &strLog);
    for (const s_WORDING &wording : kWordings) {
        if (file_holds(commands.szFile, wording.cpSearch)) {
            trace_log(&strLog, TRACE_EVENTS, "String '%s' found in %s", wording.cpName,
                      commands.szFile);
            return finish(commands.szFile, wording.cpStatus, wording.iResult, cpSts, &strLog);
        }
    }
    return ask_driver(cpDevice, commands.szFile, cpSts, &strLog);
}

void v_TAPE_STATUS_RELEASE(const char *cpDeleteFile, int iCloseFile, str_log strLog) {
    if (cpDeleteFile != nullptr) {
        i_FILE_DELETE(cpDeleteFile, strLog);
    }
    if (iCloseFile != -1) {
        ::close(iCloseFile);
    }
}
