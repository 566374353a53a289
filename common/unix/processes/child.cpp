// Child processes, see child.h. A wait status is only taken apart here.
#include "common/unix/processes/child.h"

#include <cerrno>
#include <sys/wait.h>

bool wait_for_child(pid_t child, int *piStatus, int iOptions) {
    *piStatus = 0;
    pid_t got = 0;
    do {
        got = ::waitpid(child, piStatus, iOptions);
    } while (got < 0 && errno == EINTR);
    return got == child;
}

int exit_state(int iStatus) {
    constexpr int kLost = 127;
    if (WIFEXITED(iStatus)) {
        return WEXITSTATUS(iStatus);
    }
    return WIFSIGNALED(iStatus) ? 128 + WTERMSIG(iStatus) : kLost;
}

int exit_code(int iStatus) {
    if (WIFSTOPPED(iStatus)) {
        return WSTOPSIG(iStatus);
    }
    return WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : 0;
}

int ending_signal(int iStatus) {
    return WIFSIGNALED(iStatus) ? WTERMSIG(iStatus) : 0;
}

bool ended_well(int iStatus) {
    return WIFEXITED(iStatus) && WEXITSTATUS(iStatus) == 0;
}

int end_signal(int iStatus) {
    constexpr int kMostSignals = 32; // greater exit codes mean something else
    const int iSignal = exit_state(iStatus) - 128;
    return iSignal > 0 && iSignal <= kMostSignals ? iSignal : 0;
}

std::string exit_text(int iStatus) {
    return WIFSIGNALED(iStatus) ? "killed by signal " + std::to_string(WTERMSIG(iStatus))
                                : "exit status " + std::to_string(exit_code(iStatus));
}
