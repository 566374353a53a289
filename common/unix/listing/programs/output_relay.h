// Standard output of started programs, handed on so that a failed write does not get lost.
#pragma once

#include "common/unix/files/descriptor.h"

#include <sys/types.h>

// Between start and finish standard output leads to a process that hands on what it reads. A
// program may not notice, or not tell, that standard output does not take what it prints; the relay
// does.
class output_relay {
public:
    // 0, or the error number of what failed; standard output is then as it was.
    int start();

    // Puts standard output back when all that was printed has been handed on; a program that was
    // left behind and still holds the output is not waited for. 0, or the error number of the write
    // that failed; the rest of the output was then dropped.
    int finish();

private:
    unique_fd output_;  // the true standard output
    unique_fd running_; // closed, it ends the relay
    pid_t relay_ = -1;
};
