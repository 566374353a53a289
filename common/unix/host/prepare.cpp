// Standard streams and signals at the start of a program, see prepare.h.
#include "common/unix/host/prepare.h"

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

// A write to a reader that has gone fails, it does not end the call before its result. A handler,
// not SIG_IGN: started programs get the default again. SIGCHLD the other way round: a caller that
// ignores it would cost us our children's status.
void prepare_signals() {
    ::signal(SIGPIPE, [](int) {});
    ::signal(SIGXFSZ, [](int) {}); // a limit on the size of files is an error like a full disk
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

void prepare_process() {
    prepare_signals();
    open_standard_streams();
}
