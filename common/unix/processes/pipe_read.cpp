// Reading lines from pipes (pipe_read.h). A pipe is read in blocks; how lines, pieces and ends of
// file come out is the same as if it were read byte by byte.
#include "common/unix/processes/pipe_read.h"

#include "common/common/cm_message.h"
#include "common/common/text.h"
#include "common/unix/processes/pipe.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr std::size_t kBufferSize = 65536; // what a pipe holds
constexpr int kQuietReturns = 3000;        // returns to the other channel between two trace lines

struct s_BUFFER {
    std::size_t iBegin = 0;
    std::size_t iEnd = 0;
    bool bReturns = false; // there are carriage returns in it
    char bytes[kBufferSize];
};

// By descriptor; there are two at a time, as a rule.
std::vector<std::unique_ptr<s_BUFFER>> &buffers() {
    static std::vector<std::unique_ptr<s_BUFFER>> theBuffers;
    return theBuffers;
}

s_BUFFER &buffer_of(int fd) {
    const auto iPlace = static_cast<std::size_t>(fd);
    if (buffers().size() <= iPlace) {
        buffers().resize(iPlace + 1);
    }
    std::unique_ptr<s_BUFFER> &buffer = buffers()[iPlace];
    if (!buffer) {
        buffer.reset(new s_BUFFER); // not make_unique: the bytes need no clearing
    }
    return *buffer;
}

// What is buffered of a descriptor.
std::string_view unread(int fd) {
    const s_BUFFER &buffer = buffer_of(fd);
    return {buffer.bytes + buffer.iBegin, buffer.iEnd - buffer.iBegin};
}

void mark_read(int fd, std::size_t iLength) {
    buffer_of(fd).iBegin += iLength;
}

// Reads what the descriptor holds into its empty buffer. Returns what read returned, with errno.
ssize_t fill(int fd) {
    s_BUFFER &buffer = buffer_of(fd);
    const ssize_t got = ::read(fd, buffer.bytes, sizeof buffer.bytes);
    buffer.iBegin = 0;
    buffer.iEnd = got > 0 ? static_cast<std::size_t>(got) : 0;
    buffer.bReturns = std::memchr(buffer.bytes, '\r', buffer.iEnd) != nullptr;
    return got;
}

// A line while it is put together in the caller's buffer.
struct s_LINE {
    char *cpText;
    std::size_t iLimit;
    std::size_t iLength;
};

// Moves bytes from the buffer into the line. True when the line, or a piece of it, is complete.
bool complete_line(int fd, s_LINE *line) {
    s_BUFFER &buffer = buffer_of(fd);
    const char *ready = buffer.bytes + buffer.iBegin;
    std::size_t iCount = std::min(buffer.iEnd - buffer.iBegin, line->iLimit - line->iLength);
    const void *feed = std::memchr(ready, '\n', iCount);
    if (feed != nullptr) {
        iCount = static_cast<std::size_t>(static_cast<const char *>(feed) - ready) + 1;
    }
    char *target = line->cpText + line->iLength;
    std::memcpy(target, ready, iCount);
    if (buffer.bReturns) { // looking at each byte costs more than all the rest
        std::replace(target, target + iCount, '\r', '\0');
    }
    line->iLength += iCount;
    if (feed != nullptr) {
        line->cpText[line->iLength - 1] = '\0';
    }
    line->cpText[line->iLength] = '\0';
    buffer.iBegin += iCount;
    return feed != nullptr || line->iLength == line->iLimit;
}

int end_of_file(int fd, DB_PROC_PIP *pPP) {
    trace_at(TRACE_DETAILS, "ReadFromHandle: return 0 (EOF)");
    FD_CLR(fd, &pPP->fdset_read);
    pPP->iMax_read = 0;
    for (const int other : {pPP->ifdErr, pPP->ifdOut}) {
        if (other != 0 && FD_ISSET(other, &pPP->fdset_read)) {
            pPP->iMax_read = other + 1;
        }
    }
    return 0;
}

// Waits until one of the open channels can be read. Returns 1 when it is this one, -1 when it is
// the other, 0 on failure.
int wait_for_data(int fd, DB_PROC_PIP *pPP) {
    trace_at(TRACE_DETAILS, "ReadFromHandle: read returned EAGAIN >> call select()");
    const int other = fd == pPP->ifdOut ? pPP->ifdErr : pPP->ifdOut;
    const bool bOther = other != 0 && FD_ISSET(other, &pPP->fdset_read);
    fd_set ready;
    int iReady = 0;
    do {
        ready = pPP->fdset_read;
        FD_SET(fd, &ready);
        // Only the two channels count: of iMax_read one may be left out.
        iReady = bOther && !unread(other).empty() ? 0
                                                  : ::select(std::max(pPP->iMax_read, fd + 1),
                                                             &ready, nullptr, nullptr, nullptr);
        if (iReady < 0 && errno == EINTR) {
            trace_at(TRACE_DETAILS, "ReadFromHandle: select(): got EINTR: try again");
        }
    } while (iReady < 0 && errno == EINTR);
    if (iReady < 0) {
        trace_at(TRACE_DETAILS,
                 "ReadFromHandle: Error: select() returned %d: errno %d: %s > return 0", iReady,
                 errno, error_text(errno).c_str());
        return 0;
    }
    return iReady > 0 && FD_ISSET(fd, &ready) ? 1 : -1;
}

int other_channel() {
    static int iUntilTrace = 0;
    if (iUntilTrace-- <= 0) {
        trace_at(TRACE_DETAILS, "ReadFromHandle: data for other channel > return %d", -1);
        iUntilTrace = kQuietReturns - 1;
    }
    return -1;
}

// Reads more of a channel into its empty buffer, waiting for it. Returns 1; 0 at its end and on
// failure; -1 when data waits on the other channel.
int refill(int fd, DB_PROC_PIP *pPP) {
    for (;;) {
        const ssize_t got = fill(fd);
        if (got > 0) {
            return 1;
        }
        if (got == 0) {
            return end_of_file(fd, pPP);
        }
        if (errno == EINTR) {
            trace_at(TRACE_DETAILS, "ReadFromHandle: got EINTR");
        } else if (errno != EAGAIN && errno != EWOULDBLOCK) {
            trace_at(TRACE_DETAILS, "ReadFromHandle: read returned errno %d: %s", errno,
                     error_text(errno).c_str());
            return 0;
        } else if (const int iReady = wait_for_data(fd, pPP); iReady <= 0) {
            return iReady == 0 ? 0 : other_channel();
        } else {
            trace_at(TRACE_DETAILS, "ReadFromHandle: call read()");
        }
    }
}

int trace_read(const char *cpWho, int iResult) {
    if (iResult == 0) {
        trace_at(TRACE_DETAILS, "%s: return 0 (EOF)", cpWho);
    } else {
        trace_at(TRACE_DETAILS, "%s: return %d", cpWho, iResult);
    }
    return iResult;
}

} // namespace

void pipe_buffer_reset(int fd) {
    if (static_cast<std::size_t>(fd) < buffers().size()) {
        buffers()[static_cast<std::size_t>(fd)].reset();
    }
}

int iReadFromHandle(int iFd, DB_PROC_PIP *pPP, char *cpReturn, int iMaxLen) {
    trace_at(TRACE_DETAILS, "ReadFromHandle: call read()");
    if (iFd == 0) { // a channel that was not opened: 0 is the caller's own standard input
        text_copy(cpReturn, 1, "");
        return 0;
    }
    s_LINE line = {cpReturn, static_cast<std::size_t>(std::max(iMaxLen, 0)), 0};
    while (!complete_line(iFd, &line)) {
        if (const int iResult = refill(iFd, pPP); iResult != 1) {
            return iResult;
        }
    }
    trace_at(TRACE_DETAILS, "ReadFromHandle: return 1 [%s]", cpReturn);
    return 1;
}

int iPIPE_READ(DB_PROC_PIP *pPP, char *cpReturn, int iMaxLen) {
    return trace_read("PIPE_READ", iReadFromHandle(pPP->ifdOut, pPP, cpReturn, iMaxLen));
}

int iPIPE_READ_STDERR(DB_PROC_PIP *pPP, char *cpReturn, int iMaxLen) {
    return trace_read("PIPE_READ_STDERR", iReadFromHandle(pPP->ifdErr, pPP, cpReturn, iMaxLen));
}

int pipe_read_line(DB_PROC_PIP *pPP, std::size_t iLimit, std::string *line) {
    const int fd = pPP->ifdOut;
    std::size_t feed = std::string_view::npos;
    line->clear();
    while (feed == std::string_view::npos) {
        const std::string_view ready = unread(fd);
        feed = ready.find('\n');
        const std::size_t iCount = std::min(feed, ready.size());
        if (line->size() + iCount > iLimit) {
            return trace_read("PIPE_READ", -1);
        }
        line->append(ready.substr(0, iCount));
        mark_read(fd, std::min(iCount + 1, ready.size()));
        if (feed == std::string_view::npos && refill(fd, pPP) != 1) {
            break;
        }
    }
    if (feed == std::string_view::npos && line->empty()) {
        return trace_read("PIPE_READ", 0);
    }
    line->resize(std::min(line->find_first_of(std::string_view("\r\0", 2)), line->size()));
    trace_at(TRACE_DETAILS, "PIPE_READ: return 1 [%s]", line->c_str());
    return 1;
}
