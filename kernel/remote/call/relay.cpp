// The data phase of a remote call (relay.h): while a child sends the input, this process relays
// both streams and takes the exit code.
#include "kernel/remote/call/relay.h"

#include "common/common/LL.h"
#include "common/common/cm_message.h"
#include "common/common/text.h"
#include "common/unix/processes/process.h"
#include "common/unix/system/descriptor_calls.h"
#include "common/unix/trace/trace.h"
#include "control/interrupt.h"
#include "kernel/remote/call/exit_code.h"
#include "kernel/remote/call/input.h"
#include "kernel/remote/call/line.h"
#include "kernel/remote/call/output.h"
#include "kernel/remote/call/rcmd.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

s_RELAY_POLICY gRelayPolicy = {119, 1000};
int giSingleConnection = 1;
char send_sig = -1;

namespace {

constexpr std::size_t kLineLength = 8192; // a longer line comes in pieces
constexpr std::size_t kBufferSize = 65536;

// One stream of the remote command while it is relayed.
struct s_STREAM {
    int iNumber; // 1 or 2
    int hSocket;
    bool bClosed;
    output_file *file;  // gets the raw bytes; null when they go to a list
    output_file echo;   // gets them too; empty when not asked for
    t_LL list;          // gets the lines; or null
    const char *cpMark; // how a line for the list is traced
    std::size_t iBegin = 0;
    std::size_t iEnd = 0;
    char buffer[kBufferSize];
};

struct s_RELAY {
    s_STREAM out;
    s_STREAM err;
    RCMD *pRCmd;
    str_log *strLog;
    bool bExitSet;
    int iIdle;
};

// Notices the exit code that the signal handler received. True when there is a new one.
bool notice_signal(s_RELAY *r) {
    const int iSocket = exit_code_socket();
    if (iSocket == 0 || r->bExitSet) {
        return false;
    }
    trace_log(r->strLog, TRACE_DETAILS, "signal_handler: SIGURG received");
    trace_log(r->strLog, TRACE_DETAILS, "signal_handler: OOB signal received on Sd%d:%d", iSocket,
              static_cast<int>(g_iEXITCODE));
    r->bExitSet = true;
    return true;
}

// An exception on a socket: the exit code, unless the signal handler had it already.
bool receive_urgent(s_RELAY *r, const s_STREAM &stream) {
    trace_log(r->strLog, TRACE_DETAILS, "write_output: %s SOCKET exception.",
              stream.iNumber == 1 ? "1st" : "2nd");
    if (!receive_exit_code(stream.hSocket, stream.iNumber)) {
        return false;
    }
    r->bExitSet = true;
    trace_log(r->strLog, TRACE_DETAILS, "write_output: OOB signal received%s: exit code = %d",
              stream.iNumber == 1 ? "" : " on 2nd Socket", static_cast<int>(g_iEXITCODE));
    return true;
}

// Appends a copy of the text to the list. What stands behind the text in its buffer has been
// consumed with it: the terminator may take its place.
void append_in_place(t_LL list, std::string_view text) {
    char *end = const_cast<char *>(text.data()) + text.size();
    *end = '\0';
    InsLastLLf(list, text.size() + 1, text.data());
}

// Appends a line to the stream's list. bInPlace: the byte behind the text is free.
void append_line(const s_RELAY &r, const s_STREAM &stream, std::string_view text, bool bInPlace) {
    if (bInPlace) {
        append_in_place(stream.list, text);
    } else {
        const std::string copy(text);
        InsLastLLf(stream.list, copy.size() + 1, copy.c_str());
    }
    trace_log(r.strLog, TRACE_DETAILS, "%s [%.*s]", stream.cpMark, static_cast<int>(text.size()),
              text.data());
}

// Cuts the complete lines off the stream's data, which is moved only when it is all looked at.
void cut_lines(s_RELAY *r, s_STREAM *stream) {
    std::string_view text;
    std::string_view *wanted = stream->list != nullptr ? &text : nullptr;
    std::size_t iConsumed = 0;
    for (;;) {
        const char *data = stream->buffer + stream->iBegin;
        if (!cut_line({data, stream->iEnd - stream->iBegin}, kLineLength, true, r->pRCmd, r->strLog,
                      wanted, &iConsumed)) {
            break;
        }
        if (wanted != nullptr) {
            append_line(*r, *stream, text, text.data() + text.size() < data + iConsumed);
        }
        stream->iBegin += iConsumed;
    }
    std::memmove(stream->buffer, stream->buffer + stream->iBegin, stream->iEnd - stream->iBegin);
    stream->iEnd -= stream->iBegin;
    stream->iBegin = 0;
}

// Receives what the stream has. True unless the receive failed.
bool receive_data(s_RELAY *r, s_STREAM *stream) {
    const char *cpName = stream->iNumber == 1 ? "1st" : "2nd";
    char *free = stream->buffer + stream->iEnd;
    const ssize_t got = ::recv(stream->hSocket, free, kBufferSize - stream->iEnd, 0);
    trace_log(r->strLog, TRACE_DETAILS, "write_output: %s SOCKET activity. Bytes received: %d",
              cpName, static_cast<int>(got));
    if (got < 0) {
        trace_log(r->strLog, TRACE_DETAILS, "write_output: %s SOCKET error: [%s]", cpName,
                  "recv() call failed.");
        // A connection that was reset says nothing more; other failures pass.
        stream->bClosed = errno == ECONNRESET || errno == ENOTCONN || errno == ETIMEDOUT;
        return stream->bClosed;
    }
    if (got == 0) {
        trace_log(r->strLog, TRACE_DETAILS, "write_output: %s SOCKET closed by remote side.",
                  cpName);
        stream->bClosed = true;
        return true;
    }
    for (output_file *file : {&stream->echo, stream->file}) {
        if (file != nullptr && *file) {
            file->write({free, static_cast<std::size_t>(got)});
        }
    }
    stream->iEnd += static_cast<std::size_t>(got);
    cut_lines(r, stream);
    return true;
}

// What a stream has left at its end is its last line.
void store_rest(s_RELAY *r, s_STREAM *stream) {
    if (stream->iEnd > 0) {
        trace_log(r->strLog, TRACE_DETAILS, "process rest of %s buffer",
                  stream->iNumber == 1 ? "stdout" : "stderr");
        const std::string_view text = text_of_line({stream->buffer, stream->iEnd}, true);
        set_result(text, r->pRCmd);
        if (stream->list != nullptr) {
            append_line(*r, *stream, text, false);
        }
    }
}

// Waits for something on the open streams. Returns what poll returned, with errno.
int wait_for_streams(s_RELAY *r, pollfd (&wanted)[2]) {
    // The mark of an urgent byte that was taken may stay until what is behind it is read.
    const short iEvents = r->bExitSet ? POLLIN : POLLIN | POLLPRI;
    wanted[0] = {r->out.bClosed ? -1 : r->out.hSocket, iEvents, 0};
    wanted[1] = {r->err.bClosed ? -1 : r->err.hSocket, iEvents, 0};
    trace_log(r->strLog, TRACE_DETAILS, "write_output: Entering select()");
    if (r->pRCmd->iTimeout < 1) {
        return poll_with_signals(wanted, 2, nullptr, signals_while_waiting());
    }
    trace_log(r->strLog, TRACE_DETAILS, "write_output: select() with timeout %d",
              r->pRCmd->iTimeout);
    const timespec limit = {r->pRCmd->iTimeout, 0};
    return poll_with_signals(wanted, 2, &limit, signals_while_waiting());
}

void forward_signal(const s_RELAY &r) {
    constexpr char kNone = -1;
    if (const int iSignal = take_signal(); iSignal > 0) {
        send_sig = static_cast<char>(iSignal);
    }
    if (send_sig != kNone) {
        if (r.err.hSocket > 0) {
            ::send(r.err.hSocket, &send_sig, 1, MSG_NOSIGNAL);
        }
        send_sig = kNone;
    }
}

// One pass of the loop. True when something came.
bool pass(s_RELAY *r, const pollfd (&wanted)[2]) {
    bool bActive = false;
    s_STREAM *const streams[] = {&r->out, &r->err};
    for (int i = 0; i < 2; ++i) {
        if ((wanted[i].revents & POLLPRI) != 0 && receive_urgent(r, *streams[i])) {
            bActive = true;
        }
    }
    for (int i = 1; i >= 0; --i) { // standard error first
        if ((wanted[i].revents & (POLLIN | POLLHUP | POLLERR)) != 0 &&
            receive_data(r, streams[i])) {
            bActive = true;
        }
    }
    return bActive;
}

void bear_silence(s_RELAY *r) {
    trace_log(r->strLog, TRACE_DETAILS,
              "write_output: select() exit but no data activity on sockets, increasing seamless "
              "loop counter and sleeping 1 sec. iSeamlessLoopCntr [%d]",
              r->iIdle);
    wait_msec(gRelayPolicy.iIdlePauseMsec);
    ++r->iIdle;
}

void relay(s_RELAY *r) {
    while (!(r->out.bClosed && r->err.bClosed) && r->iIdle <= gRelayPolicy.iIdleLimit) {
        pollfd wanted[2];
        const int iReady = wait_for_streams(r, wanted);
        if (iReady < 0 && errno == EINTR) {
            trace_log(r->strLog, TRACE_DETAILS, "write_output: select() interrupted, loop again.");
            notice_signal(r);
            forward_signal(*r);
            continue;
        }
        if (iReady < 0) {
            trace_log(r->strLog, TRACE_EVENTS, "select() call failed: %s",
                      error_text(errno).c_str());
        }
        const bool bData = iReady > 0 && pass(r, wanted);
        if (signals_while_waiting() != nullptr) {
            forward_signal(*r);
        }
        if (notice_signal(r) || bData) {
            r->iIdle = 0;
        } else if (!(r->out.bClosed && r->err.bClosed)) {
            bear_silence(r);
        }
        trace_log(r->strLog, TRACE_DETAILS,
                  "write_output: Status flags: isClosed1 = [%d] isClosed2 = [%d] g_isExitSet = "
                  "[%d]",
                  r->out.bClosed ? 1 : 0, r->err.bClosed ? 1 : 0, r->bExitSet ? 1 : 0);
    }
}

void own_socket(int hSocket) {
    if (hSocket > 0) {
        ::fcntl(hSocket, F_SETOWN, ::getpid());
    }
}

// The streams of a call and where each of them goes.
std::unique_ptr<s_RELAY> new_relay(output_file *out, output_file *err, RCMD *pRCmd, int hSocket1,
                                   int hSocket2) {
    const bool bLists = pRCmd->LL_Stdout != nullptr || pRCmd->LL_Stderr != nullptr;
    const bool bOwnList = pRCmd->LL_Stderr != nullptr;
    auto r = std::make_unique<s_RELAY>();
    r->out.iNumber = 1;
    r->out.hSocket = hSocket1;
    r->out.file = pRCmd->LL_Stdout != nullptr ? nullptr : out;
    r->out.echo.borrow(pRCmd->bVerbose ? stdout : nullptr);
    r->out.list = pRCmd->LL_Stdout;
    r->out.cpMark = "1>";
    r->err.iNumber = 2;
    r->err.hSocket = hSocket2;
    r->err.bClosed = giSingleConnection != 0 || hSocket2 <= 0;
    r->err.file = bLists ? nullptr : err;
    r->err.echo.borrow(pRCmd->bVerbose ? stderr : nullptr);
    r->err.list = bOwnList ? pRCmd->LL_Stderr : pRCmd->LL_Stdout;
    r->err.cpMark = bOwnList ? "2>" : "2>&1";
    r->pRCmd = pRCmd;
    return r;
}

// The receive loop with what goes before and after it.
void relay_streams(output_file *out, output_file *err, RCMD *pRCmd, int hSocket1, int hSocket2,
                   str_log *strLog) {
    trace_log(strLog, TRACE_DETAILS, "write_output: start");
    if (pRCmd->bVerbose) {
        trace_log(strLog, TRACE_DETAILS,
                  "write_output: RCMD.bVerbose is set so write output to stdout/stderr");
    }
    reset_exit_code();
    own_socket(hSocket1);
    own_socket(hSocket2);
    const auto r = new_relay(out, err, pRCmd, hSocket1, hSocket2);
    r->strLog = strLog;
    relay(r.get());
    notice_signal(r.get());
    if (r->out.bClosed && r->err.bClosed && !r->bExitSet) {
        trace_log(strLog, TRACE_DETAILS,
                  "write_output: 1st & 2nd SOCKET closed but ExitState still missing >> set "
                  "timeout %d",
                  1);
        pRCmd->iTimeout = 1;
    }
    store_rest(r.get(), &r->out);
    store_rest(r.get(), &r->err);
    std::fflush(out->stream());
    std::fflush(err->stream());
    trace_log(strLog, TRACE_DETAILS, "write_output: Flush standard streams and return.");
}

} // namespace

void start_transfer(std::FILE *fd_stdin, output_file *out, output_file *err, RCMD *psctRcmd,
                    int hSocket1, int hSocket2, str_log strLog) {
    trace_log(&strLog, TRACE_EVENTS, "+++ start_transfer socket %d", hSocket1);
    g_hSocket1 = hSocket1;
    g_hSocket2 = hSocket2;
    const signal_passing passing(hSocket2 > 0); // the input child is not to be interrupted either
    const pid_t child = start_input(fd_stdin, hSocket1, hSocket2, &strLog);
    struct sigaction handler = {};
    struct sigaction old = {};
    handler.sa_handler = signal_handler;
    handler.sa_flags = SA_RESTART;
    ::sigemptyset(&handler.sa_mask);
    ::sigaction(SIGURG, &handler, &old);
    relay_streams(out, err, psctRcmd, hSocket1, hSocket2, &strLog);
    ::sigaction(SIGURG, &old, nullptr);
    stop_input(child);
    trace_log(&strLog, TRACE_EVENTS, "--- start_transfer socket %d", hSocket1);
}

void start_transfer(std::FILE *fd_stdin, std::FILE *fd_stdout, std::FILE *fd_stderr, RCMD *psctRcmd,
                    int hSocket1, int hSocket2, str_log strLog) {
    output_file out(fd_stdout);
    output_file err(fd_stderr);
    start_transfer(fd_stdin, &out, &err, psctRcmd, hSocket1, hSocket2, strLog);
}

void STDOUT_STDERR_transfer(std::FILE *fd_stdout, std::FILE *fd_stderr, RCMD *pRCmd, int hSocket1,
                            int hSocket2, str_log strLog) {
    output_file out(fd_stdout);
    output_file err(fd_stderr);
    relay_streams(&out, &err, pRCmd, hSocket1, hSocket2, &strLog);
}
