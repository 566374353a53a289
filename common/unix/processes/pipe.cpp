// Opening and closing pipes to child processes, see pipe.h; the line reader is in
// pipe_read.cpp.
#include "common/unix/processes/pipe.h"

#include "common/common/cm_message.h"
#include "common/common/text.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/processes/child.h"
#include "common/unix/processes/pipe_read.h"
#include "common/unix/system/descriptor_calls.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <strings.h>
#include <unistd.h>

namespace {

constexpr int kFirstFree = 3; // descriptors below belong to the standard streams

struct s_PIPE {
    unique_fd read;
    unique_fd write;
};

// Makes a pipe whose read end does not block and can be selected. False with errno.
bool make_pipe(s_PIPE *p) {
    if (!open_pipe(&p->read, &p->write) || !lift_descriptor(&p->read) ||
        !lift_descriptor(&p->write)) {
        return false;
    }
    if (p->read.get() >= FD_SETSIZE) {
        errno = EMFILE;
        return false;
    }
    return ::fcntl(p->read.get(), F_SETFL, O_NONBLOCK) == 0;
}

struct s_MODE {
    bool bOut;
    bool bErr;
    bool bStdin;
};

s_MODE mode_of(const char *cpMode) {
    return {std::strchr(cpMode, 'r') != nullptr, std::strchr(cpMode, 'e') != nullptr,
            std::strchr(cpMode, 'w') != nullptr};
}

// Makes the pipes of the mode. False with errno; the owners close what was made.
bool make_pipes(const s_MODE &mode, s_PIPE *out, s_PIPE *err) {
    if (mode.bOut && !make_pipe(out)) {
        trace_at(TRACE_DETAILS, "PIPE_OPEN: Create pipe for stdout failed");
        return false;
    }
    if (mode.bErr && !make_pipe(err)) {
        trace_at(TRACE_DETAILS, "PIPE_OPEN: Create pipe for stderr failed");
        return false;
    }
    return true;
}

// In the child: the pipes in place of the standard streams, nothing else inherited, the shell.
[[noreturn]] void run_child(const char *cpCmd, const s_PIPE &out, const s_PIPE &err) {
    if ((out.write && ::dup2(out.write.get(), STDOUT_FILENO) < 0) ||
        (err.write && ::dup2(err.write.get(), STDERR_FILENO) < 0)) {
        ::_exit(127);
    }
    ::closefrom(kFirstFree);
    ::execl("/bin/sh", "sh", "-c", cpCmd, static_cast<char *>(nullptr));
    ::_exit(127);
}

// Told before the child is made, which itself only does what is safe behind a fork: a standard
// stream that this process does not have cannot be closed there.
void trace_missing(int fd) {
    if (::fcntl(fd, F_GETFD) < 0) {
        trace_at(TRACE_DETAILS, "PIPE_OPEN: close(%d) error (%d): %s", fd, errno,
                 error_text(errno).c_str());
    }
}

void trace_child(const s_MODE &mode) {
    if (mode.bStdin) {
        trace_at(TRACE_DETAILS, "PIPE_OPEN: child process uses parents stdin");
    }
    if (mode.bOut) {
        trace_at(TRACE_DETAILS, "PIPE_OPEN: set stdout for child process");
        trace_missing(STDOUT_FILENO);
    }
    if (mode.bErr) {
        trace_at(TRACE_DETAILS, "PIPE_OPEN: set stderr for child process");
        trace_missing(STDERR_FILENO);
    }
}

// Hands the read end over to the handle. Returns its descriptor, 0 without a pipe.
int keep_read_end(s_PIPE *p, DB_PROC_PIP *pPP) {
    if (!p->read) {
        return 0;
    }
    const int fd = p->read.release();
    pipe_buffer_reset(fd);
    FD_SET(fd, &pPP->fdset_read);
    pPP->iMax_read = std::max(pPP->iMax_read, fd + 1);
    return fd;
}

int report_open_error(char *cpMsg, int iMsgLen) {
    const int iErrno = errno;
    trace_at(TRACE_DETAILS, "PIPE_OPEN: got error (%d) %s", iErrno, error_text(iErrno).c_str());
    text_print(cpMsg, iMsgLen, "PIPE_OPEN failed (%d): %s", iErrno, error_text(iErrno).c_str());
    return -1;
}

// Makes the file the standard input of this process. False, with a trace line, when that fails.
bool redirect_stdin(const char *cpFile) {
    trace_at(TRACE_DETAILS, "PIPE_OPEN_STDIN: Read from [%s]", cpFile);
    unique_fd file(::open(cpFile, O_RDONLY | O_NOCTTY | O_CLOEXEC));
    if (!lift_descriptor(&file)) {
        trace_at(TRACE_DETAILS, "PIPE_OPEN_STDIN: Error could not open infile '%s' (%d): %s",
                 cpFile, errno, error_text(errno).c_str());
        return false;
    }
    if (::fcntl(STDIN_FILENO, F_GETFD) < 0) { // nothing is kept, so the call goes on
        trace_at(TRACE_DETAILS, "PIPE_OPEN_STDIN: Error could not duplicate old stdin (%d): %s",
                 errno, error_text(errno).c_str());
    }
    if (::dup2(file.get(), STDIN_FILENO) < 0) {
        trace_at(TRACE_DETAILS,
                 "PIPE_OPEN_STDIN: Error could not duplicate file handle to stdin (%d): %s", errno,
                 error_text(errno).c_str());
        return false;
    }
    return true;
}

} // namespace

bool names_standard_input(const char *cpFile) {
    return ::strcasecmp(cpFile, "stdin") == 0 || std::strcmp(cpFile, "-") == 0;
}

int iPIPE_OPEN(const char *cpCmd, const char *cpMode, char *cpMsg, int iMsgLen, DB_PROC_PIP *pPP) {
    trace_at(TRACE_DETAILS, "PIPE_OPEN: mode [%s], cmd [%s]", cpMode, cpCmd);
    *pPP = {};
    FD_ZERO(&pPP->fdset_read);
    const s_MODE mode = mode_of(cpMode);
    s_PIPE out;
    s_PIPE err;
    if (!make_pipes(mode, &out, &err)) {
        return report_open_error(cpMsg, iMsgLen);
    }
    trace_child(mode);
    std::fflush(stdout); // what was printed comes before what the command prints
    const pid_t child = ::fork();
    if (child < 0) {
        trace_at(TRACE_DETAILS, "PIPE_OPEN: got error %s", error_text(errno).c_str());
        return report_open_error(cpMsg, iMsgLen);
    }
    if (child == 0) {
        run_child(cpCmd, out, err);
    }
    pPP->iChildPid = child;
    pPP->ifdOut = keep_read_end(&out, pPP);
    pPP->ifdErr = keep_read_end(&err, pPP);
    return 0;
}

int iPIPE_OPEN_STDIN(const char *cpCmd, const char *cpMode, const char *cpFile, char *cpMsg,
                     int iMsgLen, DB_PROC_PIP *pPP) {
    trace_at(TRACE_DETAILS, "PIPE_OPEN_STDIN: cmd [%s], mode \"%s\"", cpCmd, cpMode);
    pPP->iChildPid = 0;
    pPP->ifdOut = 0;
    text_copy(cpMsg, iMsgLen, "");
    if (!mode_of(cpMode).bStdin) {
        text_print(cpMsg, iMsgLen, "Mode \"%s\" is not allowed! Use mode with \"w\".", cpMode);
        trace_at(TRACE_DETAILS, "PIPE_OPEN_STDIN: mode \"%s\" is not allowed! Use mode with \"w\".",
                 cpMode);
        return -1;
    }
    if (names_standard_input(cpFile)) {
        trace_at(TRACE_DETAILS, "PIPE_OPEN_STDIN: Read from stdin");
    } else if (!redirect_stdin(cpFile)) {
        return -1;
    }
    const int iResult = iPIPE_OPEN(cpCmd, cpMode, cpMsg, iMsgLen, pPP);
    pPP->iFdOldStdin = 0; // the old standard input is not kept
    trace_at(TRACE_DETAILS, "PIPE_OPEN_STDIN: return %d", iResult);
    return iResult;
}

int iPIPE_CLOSE(DB_PROC_PIP *pPP) {
    int iStatus = 0;
    return iPIPE_CLOSE_status(pPP, &iStatus);
}

int iPIPE_CLOSE_status(DB_PROC_PIP *pPP, int *piStatus) {
    *piStatus = 0;
    for (const int fd : {pPP->ifdOut, pPP->ifdErr}) {
        if (fd != 0) {
            pipe_buffer_reset(fd);
            ::close(fd);
        }
    }
    if (pPP->iChildPid > 0) {
        wait_for_child(pPP->iChildPid, piStatus);
    }
    if (pPP->iFdOldStdin != 0) {
        trace_at(TRACE_DETAILS, "PIPE_CLOSE: restore old stdin");
        if (::dup2(pPP->iFdOldStdin, STDIN_FILENO) < 0) {
            trace_at(TRACE_DETAILS,
                     "PIPE_CLOSE: Error could not reset file handle to old stdin (%d): %s", errno,
                     error_text(errno).c_str());
        }
    }
    *pPP = {};
    const int iExit = exit_code(*piStatus);
    trace_at(TRACE_DETAILS, "PIPE_CLOSE: Got status %d, return exit %d", *piStatus, iExit);
    return iExit;
}
