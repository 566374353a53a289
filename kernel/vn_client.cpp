// The agent's entry: one request, one process. From the command line through the function's
// handler to the result there is no way back up; only FINISH and the help text end the process.
#include "common/common/text.h"
#include "common/unix/trace/record.h"
#include "kernel/front_end/arguments.h"
#include "kernel/front_end/dispatch.h"
#include "kernel/request/call.h"
#include "kernel/request/options.h"

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

void enter_work_directory() {
    trace_log(&strLog, TRACE_EVENTS, "chdir to %s ", gszRwWork);
    // A missing work directory is no failure of the request: what needs it will say so.
    [[maybe_unused]] const int iSts = ::chdir(gszRwWork);
}

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

int main(int argc, char **argv) {
    s_CALL call = {argc, argv, argv};
    prepare_signals();
    open_standard_streams();
    v_set_log(1, 1, &strLog);
    ARGUMENTS(argc, &call.argvEnd);
    enter_work_directory();
    DISPATCH(&call);
}
