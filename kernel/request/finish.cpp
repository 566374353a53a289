// Result reporting, see finish.h. What is delivered here never changes the exit status: the
// server may lose a variable or the stream, but it always gets the status.
#include "kernel/request/finish.h"

#include "common/common/strlib.h"
#include "common/common/text.h"
#include "common/unix/configuration/glbv.h"
#include "common/unix/processes/process.h"
#include "common/unix/trace/screen.h"
#include "common/unix/trace/trace.h"
#include "kernel/request/options.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <new>
#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

using clock_type = std::chrono::steady_clock;

constexpr int kResultSize = 2048;
constexpr int kPauseMsec = 10; // lets the caller read the record before the process is gone
constexpr std::chrono::seconds kPatience(3); // for a standard error that would block
constexpr std::size_t kReserve = 256 * 1024; // what variables and trace need at the end
constexpr char kOutOfMemory[] = "out of memory";

char szRecord[kResultSize + sizeof gszId + 64];
void *pReserve = MAP_FAILED;
bool bRecordPrinted = false;
int iPrintedStatus = 0;

const char *status_word(int iSts) {
    switch (iSts) {
    case 0:
        return "SUCCESS";
    case 1:
        return "WARNING";
    case 2:
        return "ERROR";
    default:
        trace_log(&strLog, TRACE_EVENTS, "unexpected exit code %d", iSts);
        return "ERROR";
    }
}

// The store may write its reply over a value, so it is handed copies.
void store_result_variable(const char *cpName, const char *cpValue) {
    char szValue[kResultSize];
    text_copy(szValue, cpValue);
    str_chain(tmp_sc, 1, cpName, gszId, "");
    glbv('w', tmp_sc, szValue);
}

// Reading a file and testing for one answer by content and exit status alone.
bool prints_record() {
    return gcFunc != 'u' || (gszOpt_m[0] != 'r' && gszOpt_m[0] != 'e');
}

// Waits until standard error takes more, or the end. False at the end.
bool wait_until_writable(clock_type::time_point end) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(end - clock_type::now()).count();
    pollfd stream = {STDERR_FILENO, POLLOUT, 0};
    return left > 0 && (::poll(&stream, 1, static_cast<int>(left)) > 0 || errno == EINTR);
}

// Writes to standard error. One that does not block for lack of room is waited for, within bounds.
void write_with_patience(std::string_view text) {
    const auto end = clock_type::now() + kPatience;
    while (!text.empty()) {
        const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
            continue;
        }
        const bool bAgain =
            written < 0 && (errno == EINTR || (errno == EAGAIN && wait_until_writable(end)));
        if (!bAgain) {
            return;
        }
    }
}

// Needs no memory: it is also how a lack of memory is told.
void print_record(int iSts, const char *cpStatus, const char *cpMsg) {
    text_print(szRecord, "%sID=%s\nSTATUS=%s MSG=%s\n", screen_line_end(), gszId, cpStatus, cpMsg);
    write_with_patience(szRecord);
    bRecordPrinted = true;
    iPrintedStatus = iSts;
    wait_msec(kPauseMsec);
}

// The reserve did not suffice, or the end itself met the lack.
[[noreturn]] void end_without_memory() {
    if (!bRecordPrinted && prints_record()) {
        print_record(2, "ERROR", kOutOfMemory);
    }
    ::_exit(bRecordPrinted ? iPrintedStatus : 2);
}

[[noreturn]] void end_with_reserve() {
    std::set_new_handler(end_without_memory);
    if (bRecordPrinted) {
        end_without_memory();
    }
    if (pReserve != MAP_FAILED) {
        ::munmap(pReserve, kReserve);
    }
    FINISH(2, kOutOfMemory);
}

// All is done but what standard output may hold. The library's end would run destructors that give
// back memory only, with caches that are another process's since the pause: a twentieth of a short
// request. Sanitizers look for leaks there.
[[noreturn]] void end_process(int iSts) {
    std::fflush(nullptr);
#ifdef VN_CHECKED_END
    std::exit(iSts);
#else
    ::_exit(iSts);
#endif
}

} // namespace

void FINISH(int iSts, const char *cpMsg) {
    char szMsg[kResultSize];
    text_copy(szMsg, cpMsg);
    const char *cpStatus = status_word(iSts);
    trace_log(&strLog, TRACE_EVENTS, "+++ FINISH Sts= %s, Msg= %s", cpStatus, szMsg);
    if (gcFunc != FUNCTION_UNKNOWN && !gFlag.Remote) {
        trace_log(&strLog, TRACE_EVENTS, "write GLBV gv_client_sts_ %s", gszId);
        store_result_variable("gv_client_sts_", intoas(iSts));
        store_result_variable("gv_client_msg_", szMsg);
    }
    if (prints_record()) {
        print_record(iSts, cpStatus, szMsg);
    }
    trace_log(&strLog, TRACE_EVENTS, "--- FINISH ");
    end_process(iSts);
}

void FINISH_WITHOUT_MEMORY() {
    // Not from malloc, which would write into it: memory that is not touched costs a call nothing.
    // cppcheck-suppress invalidFunctionArg; such a mapping has no file
    pReserve = ::mmap(nullptr, kReserve, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANON, -1, 0);
    std::set_new_handler(end_with_reserve);
}
