// The agent's entry: one request, one process, one way, and none back up.
//
//   ARGUMENTS   command line and configuration become the state of the call (options.h)
//   DISPATCH    the letter's row of the function table: required options, whole options, handler
//   a handler   carries the function out with the services below it (kernel/functions)
//   FINISH      tells the result and ends the process
//
// Only FINISH, the help text and the directory listing end the process.
#include "common/unix/trace/record.h"
#include "kernel/front_end/arguments.h"
#include "kernel/front_end/dispatch.h"
#include "kernel/front_end/start.h"
#include "kernel/request/call.h"
#include "kernel/request/options.h"

int main(int argc, char **argv) {
    s_CALL call = {argc, argv, argv};
    PREPARE_PROCESS();
    v_set_log(1, 1, &strLog);
    ARGUMENTS(argc, &call.argvEnd);
    ENTER_WORK_DIRECTORY();
    DISPATCH(&call);
}
