// The local run of a command line (i_PIPE_OPEN_RCMD of local_run.h).
#include "kernel/remote/call/local_run.h"

#include "common/common/LL.h"
#include "common/common/strlib.h"
#include "common/common/text.h"
#include "common/unix/processes/pipe.h"
#include "common/unix/processes/pipe_read.h"
#include "common/unix/trace/trace.h"
#include "kernel/remote/call/line.h"
#include "kernel/remote/call/output.h"
#include "kernel/remote/call/rcmd.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

namespace {

constexpr int kPieceLength = 2047;

// Where the streams go that no list takes.
struct s_TARGETS {
    output_file out; // empty: to the list
    output_file err;
    bool bOneFile = false; // both go to out
};

bool is_own_stdout(const char *cpFile) {
    return cpFile[0] == '\0' || cpFile[0] == '-' || std::strcmp(cpFile, "STDOUT") == 0;
}

// False, with the message, when a file cannot be opened.
bool open_targets(RCMD *pRCmd, s_TARGETS *targets) {
    const bool bAppend = pRCmd->bAppendMode != 0;
    targets->err.borrow(stderr);
    if (pRCmd->LL_Stdout != nullptr) {
        return true;
    }
    targets->out.borrow(stdout);
    if (!is_own_stdout(pRCmd->szOutFile) && !targets->out.open(pRCmd->szOutFile, bAppend, pRCmd)) {
        return false;
    }
    if (pRCmd->szErrFile[0] != '\0') {
        return targets->err.open(pRCmd->szErrFile, bAppend, pRCmd);
    }
    targets->bOneFile = pRCmd->szOutFile[0] != '\0';
    return true;
}

// A channel of the command: what came of a line before the other channel had to be read is kept
// here, because the reader does not hand it out again.
struct s_CHANNEL {
    int (*read)(DB_PROC_PIP *, char *, int);
    std::string begun = {};
    int iLast = 1; // what the last read returned; 0: it has ended
};

// Reads the channel once. True when *piece holds a piece, which has at most kPieceLength bytes.
bool read_piece(DB_PROC_PIP *pipe, s_CHANNEL *channel, std::string *piece) {
    char szPiece[kPieceLength + 1];
    // No byte of a piece: shows how long it is behind a zero byte, which ends the line's text.
    std::memset(szPiece, '\n', sizeof szPiece);
    channel->iLast =
        channel->read(pipe, szPiece, kPieceLength - static_cast<int>(channel->begun.size()));
    const std::string_view read(szPiece, sizeof szPiece);
    channel->begun += read.substr(0, std::min(read.find('\n'), read.size()) - 1);
    if (channel->iLast == -1) {
        return false;
    }
    *piece = channel->begun.c_str();
    channel->begun.clear();
    return channel->iLast == 1 || !piece->empty();
}

// Status, message and the control programs' own errors in a piece of output.
void check_piece(const std::string &piece, RCMD *pRCmd) {
    constexpr std::size_t kCodeLength = 10; // the code and what stands between it and its text
    vSetMsgAndSts(piece.c_str(), pRCmd);
    for (const char *cpCode : {"scc-11", "scd-11"}) {
        const std::size_t place = piece.find(cpCode);
        if (place != std::string::npos) {
            text_copy(pRCmd->szMsg,
                      std::string_view(piece).substr(std::min(piece.size(), place + kCodeLength)));
        }
    }
}

// Appends the piece, trimmed, to the list; the piece is what the list has then.
void append_trimmed(t_LL list, std::string *piece, const char *cpMark, str_log *strLog) {
    *piece = std::string(text_of_line(*piece, true));
    trace_log(strLog, TRACE_DETAILS, "%s %s", cpMark, piece->c_str());
    InsLastLLf(list, piece->size() + 1, piece->c_str());
}

void pass_stdout(std::string *piece, RCMD *pRCmd, s_TARGETS *targets, str_log *strLog) {
    if (pRCmd->LL_Stdout != nullptr) {
        append_trimmed(pRCmd->LL_Stdout, piece, "1>", strLog);
    } else {
        targets->out.write(*piece + '\n');
        if (pRCmd->bVerbose && targets->out.is_owned()) {
            output_file(stdout).write(*piece + '\n');
        }
    }
    check_piece(*piece, pRCmd);
}

void pass_stderr(std::string *piece, RCMD *pRCmd, s_TARGETS *targets, str_log *strLog) {
    if (pRCmd->LL_Stderr != nullptr) {
        append_trimmed(pRCmd->LL_Stderr, piece, "2>", strLog);
    } else if (pRCmd->LL_Stdout != nullptr) {
        append_trimmed(pRCmd->LL_Stdout, piece, "2>&1", strLog);
    } else {
        (targets->bOneFile ? targets->out : targets->err).write(*piece + '\n');
    }
    check_piece(*piece, pRCmd);
}

void relay(DB_PROC_PIP *pipe, RCMD *pRCmd, s_TARGETS *targets, str_log *strLog) {
    s_CHANNEL out = {iPIPE_READ};
    s_CHANNEL err = {iPIPE_READ_STDERR};
    std::string piece;
    while (out.iLast != 0 || err.iLast != 0) {
        trace_log(strLog, TRACE_DETAILS, "loop with iRetStdout %d and iRetStderr %d", out.iLast,
                  err.iLast);
        if (out.iLast != 0 && read_piece(pipe, &out, &piece)) {
            pass_stdout(&piece, pRCmd, targets, strLog);
        }
        if (err.iLast != 0 && read_piece(pipe, &err, &piece)) {
            pass_stderr(&piece, pRCmd, targets, strLog);
        }
    }
}

int start(const char *cpCmd, RCMD *pRCmd, DB_PROC_PIP *pipe, str_log *strLog) {
    char szMsg[256] = "";
    const bool bInput = pRCmd->szInFile[0] != '\0';
    int iResult = 0;
    if (bInput) {
        trace_log(strLog, TRACE_DETAILS, "got infile [%s]", pRCmd->szInFile);
        iResult = iPIPE_OPEN_STDIN(cpCmd, "rwe", pRCmd->szInFile, szMsg, sizeof szMsg, pipe);
    } else {
        iResult = iPIPE_OPEN(cpCmd, "re", szMsg, sizeof szMsg, pipe);
    }
    if (iResult != 0) {
        const std::string reason = szMsg[0] != '\0' ? szMsg : error_text(errno);
        constexpr int kShownCommand = 120; // so that the reason has room
        text_print(pRCmd->szMsg, "Error in PIPE_OPEN%s for %.*s: %s", bInput ? "_STDIN" : "",
                   kShownCommand, cpCmd, reason.c_str());
    }
    return iResult;
}

// A command that could not be started; the caller may have said that it takes care itself.
int report_not_started(RCMD *pRCmd, const s_TARGETS &targets, str_log *strLog) {
    if (!pRCmd->bCommandNotFound) {
        trace_log(strLog, TRACE_DETAILS, "write system message to error output");
        std::fprintf((targets.bOneFile ? targets.out : targets.err).stream(), "%s\n", pRCmd->szMsg);
    }
    pRCmd->bCommandNotFound = 1;
    return -1;
}

// Closes what was opened here. False, with the message, when a file has not taken everything.
bool close_targets(RCMD *pRCmd, s_TARGETS *targets) {
    const bool bOut = targets->out.close(pRCmd->szOutFile, pRCmd);
    const bool bErr = targets->err.close(pRCmd->szErrFile, pRCmd);
    std::fflush(stdout);
    return bOut && bErr;
}

} // namespace

int i_PIPE_OPEN_RCMD(const char *cpCmd, BOOL bAliveCheck, RCMD *psctRcmd, str_log strLog) {
    trace_log(&strLog, TRACE_EVENTS, "+++ PIPE_OPEN_RCMD: [%s]", cpCmd);
    trace_log(&strLog, TRACE_DETAILS, "PIPE_OPEN_RCMD: alive check %d", bAliveCheck);
    if (psctRcmd->bAppendMode) {
        trace_log(&strLog, TRACE_DETAILS,
                  "PIPE_OPEN_RCMD: RCMD.bAppendMode is set so append output to file");
    }
    s_TARGETS targets;
    DB_PROC_PIP pipe = {};
    int iResult = -1;
    if (open_targets(psctRcmd, &targets)) {
        iResult = start(cpCmd, psctRcmd, &pipe, &strLog);
        if (iResult == 0) {
            relay(&pipe, psctRcmd, &targets, &strLog);
            iResult = iPIPE_CLOSE(&pipe);
        } else {
            iResult = report_not_started(psctRcmd, targets, &strLog);
        }
    }
    if (!close_targets(psctRcmd, &targets) && iResult == 0) {
        iResult = 1;
    }
    str_trim(psctRcmd->szSts);
    trace_log(&strLog, TRACE_DETAILS, "--- PIPE_OPEN_RCMD: STATUS=%s MSG=%s", psctRcmd->szSts,
              psctRcmd->szMsg);
    trace_log(&strLog, TRACE_EVENTS, "--- PIPE_OPEN_RCMD retrun %d", iResult);
    return iResult;
}
