// The local run of a command line (i_PIPE_OPEN_RCMD of local_run.h).
#include "kernel/remote/call/local_run.h"

#include "common/common/LL.h"
#include "common/common/owner.h"
#include "common/common/strlib.h"
#include "common/common/text.h"
#include "common/unix/processes/pipe.h"
#include "common/unix/processes/pipe_read.h"
#include "common/unix/trace/trace.h"
#include "kernel/remote/call/line.h"
#include "kernel/remote/call/output.h"
#include "kernel/remote/call/rcmd.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

constexpr int kPieceLength = 2047;

// Where the streams go that no list takes.
struct s_TARGETS {
    unique_file outFile; // what was opened here
    unique_file errFile;
    std::FILE *out = nullptr; // null: to the list
    std::FILE *err = nullptr;
};

bool open_target(const char *cpFile, RCMD *pRCmd, unique_file *file) {
    const char *cpMode = pRCmd->bAppendMode ? "a" : "w";
    file->reset(std::fopen(cpFile, pRCmd->bAppendMode ? "ae" : "we"));
    if (!*file) {
        text_print(pRCmd->szMsg, "ERROR: fopen(%s, \"%s\") failed (%d): %s", cpFile, cpMode, errno,
                   error_text(errno).c_str());
    }
    return static_cast<bool>(*file);
}

bool is_own_stdout(const char *cpFile) {
    return cpFile[0] == '\0' || cpFile[0] == '-' || std::strcmp(cpFile, "STDOUT") == 0;
}

// False, with the message, when a file cannot be opened.
bool open_targets(RCMD *pRCmd, s_TARGETS *targets) {
    targets->err = stderr;
    if (pRCmd->LL_Stdout != nullptr) {
        return true;
    }
    targets->out = stdout;
    if (!is_own_stdout(pRCmd->szOutFile)) {
        if (!open_target(pRCmd->szOutFile, pRCmd, &targets->outFile)) {
            return false;
        }
        targets->out = targets->outFile.get();
    }
    if (pRCmd->szOutFile[0] != '\0') {
        targets->err = targets->out;
    }
    if (pRCmd->szErrFile[0] != '\0') {
        if (!open_target(pRCmd->szErrFile, pRCmd, &targets->errFile)) {
            return false;
        }
        targets->err = targets->errFile.get();
    }
    return true;
}

// A channel of the command: what came of a line before the other channel had to be read is kept
// here, because the reader does not hand it out again.
struct s_CHANNEL {
    int (*read)(DB_PROC_PIP *, char *, int);
    std::string begun;
    bool bOpen = true;
};

// Reads the channel once. True when *piece holds a piece.
bool read_piece(DB_PROC_PIP *pipe, s_CHANNEL *channel, std::string *piece) {
    char szPiece[kPieceLength + 1];
    const int iResult = channel->read(pipe, szPiece, kPieceLength);
    channel->begun += szPiece;
    if (iResult == -1) {
        return false;
    }
    channel->bOpen = iResult == 1;
    *piece = channel->begun;
    channel->begun.clear();
    return iResult == 1 || !piece->empty();
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

void append_trimmed(t_LL list, const std::string &piece, const char *cpMark, str_log *strLog) {
    std::string line = piece;
    str_trim(line.data());
    trace_log(strLog, TRACE_DETAILS, "%s %s", cpMark, line.c_str());
    InsLastLLf(list, std::strlen(line.c_str()) + 1, line.c_str());
}

void take_stdout(const std::string &piece, RCMD *pRCmd, const s_TARGETS &targets, str_log *strLog) {
    if (pRCmd->LL_Stdout != nullptr) {
        append_trimmed(pRCmd->LL_Stdout, piece, "1>", strLog);
    } else {
        output_write(targets.out, piece + '\n');
        if (pRCmd->bVerbose && targets.outFile) {
            output_write(stdout, piece + '\n');
        }
    }
    check_piece(piece, pRCmd);
}

void take_stderr(const std::string &piece, RCMD *pRCmd, const s_TARGETS &targets, str_log *strLog) {
    if (pRCmd->LL_Stderr != nullptr) {
        append_trimmed(pRCmd->LL_Stderr, piece, "2>", strLog);
    } else if (pRCmd->LL_Stdout != nullptr) {
        append_trimmed(pRCmd->LL_Stdout, piece, "2>&1", strLog);
    } else {
        output_write(targets.err, piece + '\n');
    }
    check_piece(piece, pRCmd);
}

void relay(DB_PROC_PIP *pipe, RCMD *pRCmd, const s_TARGETS &targets, str_log *strLog) {
    s_CHANNEL out = {iPIPE_READ, "", true};
    s_CHANNEL err = {iPIPE_READ_STDERR, "", true};
    std::string piece;
    while (out.bOpen || err.bOpen) {
        trace_log(strLog, TRACE_DETAILS, "loop with iRetStdout %d and iRetStderr %d",
                  out.bOpen ? 1 : 0, err.bOpen ? 1 : 0);
        if (out.bOpen && read_piece(pipe, &out, &piece)) {
            take_stdout(piece, pRCmd, targets, strLog);
        }
        if (err.bOpen && read_piece(pipe, &err, &piece)) {
            take_stderr(piece, pRCmd, targets, strLog);
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
        text_print(pRCmd->szMsg, "Error in PIPE_OPEN%s for %s: %s", bInput ? "_STDIN" : "", cpCmd,
                   reason.c_str());
    }
    return iResult;
}

// A command that could not be started; the caller may have said that it takes care itself.
int not_started(RCMD *pRCmd, const s_TARGETS &targets, str_log *strLog) {
    if (!pRCmd->bCommandNotFound) {
        trace_log(strLog, TRACE_DETAILS, "write system message to error output");
        std::fprintf(targets.err, "%s\n", pRCmd->szMsg);
    }
    pRCmd->bCommandNotFound = 1;
    return -1;
}

// Closes what was opened here. False, with the message, when a file has not taken everything.
bool close_targets(RCMD *pRCmd, s_TARGETS *targets) {
    const bool bOut = output_close(&targets->outFile, pRCmd->szOutFile, pRCmd);
    const bool bErr = output_close(&targets->errFile, pRCmd->szErrFile, pRCmd);
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
    output_begin();
    s_TARGETS targets;
    DB_PROC_PIP pipe = {};
    int iResult = -1;
    if (open_targets(psctRcmd, &targets)) {
        iResult = start(cpCmd, psctRcmd, &pipe, &strLog);
        if (iResult == 0) {
            relay(&pipe, psctRcmd, targets, &strLog);
            iResult = iPIPE_CLOSE(&pipe);
        } else {
            iResult = not_started(psctRcmd, targets, &strLog);
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
