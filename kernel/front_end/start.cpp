// What the process needs before it carries out a request, see start.h.
#include "kernel/front_end/start.h"

#include "common/unix/trace/trace.h"
#include "kernel/request/finish.h"
#include "kernel/request/options.h"

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

// A write to a reader that has gone fails, it does not end the call before its result. A handler,
// not SIG_IGN: started programs get the default again. SIGCHLD the other way round: a caller that
// ignores it would cost us our children's status.
void prepare_signals() {
    ::signal(SIGPIPE, [](int) {});
    ::signal(SIGCHLD, SIG_DFL);
}

// A standard stream that the caller has closed must not become the descriptor of one of our files.
// What takes its place fails like it.
void open_standard_streams() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (::fcntl(fd, F_GETFD) == -1) {
            ::open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

} // namespace

void PREPARE_PROCESS() {
    prepare_signals();
    open_standard_streams();
    FINISH_WITHOUT_MEMORY();
}

void ENTER_WORK_DIRECTORY() {
    trace_log(&strLog, TRACE_EVENTS, "chdir to %s ", gszRwWork);
    [[maybe_unused]] const int iSts = ::chdir(gszRwWork);
}
