// The agent's entry: one request, one process. From the command line through the function's
// handler to the result there is no way back up; only FINISH and the help text end the process.
#include "kernel/vn_arguments.h"
#include "kernel/vn_dispatch.h"
#include "kernel/vn_options.h"

#include <csignal>
#include <unistd.h>

namespace {

void enter_work_directory() {
    trace_log(&strLog, 1, "chdir to %s ", gszRwWork);
    // A missing work directory is no failure of the request: what needs it will say so.
    [[maybe_unused]] const int iSts = ::chdir(gszRwWork);
}

} // namespace

int main(int argc, char **argv) {
    s_CALL call = {argc, argv, argv};
    ::signal(SIGCHLD, SIG_DFL); // a caller that ignores it would cost us our children's status
    v_set_log(1, 1, &strLog);
    ARGUMENTS(argc, &call.argvEnd);
    enter_work_directory();
    DISPATCH(&call);
}
