// Runs a program with its input in a file and its output on pipes until they are closed and it has
// ended, or until the time limit. One loop drains both pipes: a program that fills one never blocks
// on the other.
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ostream>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vn_test {
namespace {

using Clock = std::chrono::steady_clock;
using Pipe = std::array<int, 2>; // the end to read from, the one to write to

[[noreturn]] void give_up(const char *what) {
    std::perror(what);
    std::abort();
}

Pipe make_pipe() {
    Pipe ends;
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        give_up("pipe for a test");
    }
    return ends;
}

// A file without a name that holds the text, at its beginning.
int input_of(const std::string &text) {
    std::FILE *file = std::tmpfile();
    if (file == nullptr || std::fwrite(text.data(), 1, text.size(), file) != text.size()) {
        give_up("input for a test");
    }
    std::rewind(file);
    const int descriptor = fcntl(fileno(file), F_DUPFD_CLOEXEC, 0);
    std::fclose(file);
    return descriptor;
}

std::vector<char *> as_vector(const std::vector<std::string> &texts) {
    std::vector<char *> vector;
    for (const std::string &text : texts) {
        vector.push_back(const_cast<char *>(text.c_str()));
    }
    vector.push_back(nullptr);
    return vector;
}

// Starts the program as leader of a process group of its own, so that its children can be killed
// too.
pid_t start(const std::vector<std::string> &arguments, const std::vector<std::string> &environment,
            const std::string &directory, std::array<int, 3> streams) {
    std::vector<char *> argv = as_vector(arguments);
    std::vector<char *> envp = as_vector(environment);
    pid_t pid = fork();
    if (pid != 0) {
        return pid;
    }
    setpgid(0, 0);
    for (int i = 0; i < 3; i++) {
        if (dup2(streams[(size_t)i], i) < 0) {
            _exit(126);
        }
    }
    if (!directory.empty() && chdir(directory.c_str()) != 0) {
        _exit(126);
    }
    execve(argv[0], argv.data(), envp.data());
    _exit(127);
}

// Appends what there is to read; at the end of the stream it is closed.
void drain(int &descriptor, std::string &text) {
    std::array<char, 65536> block;
    const ssize_t length = read(descriptor, block.data(), block.size());
    if (length > 0) {
        text.append(block.data(), (size_t)length);
    } else if (length == 0 || errno != EINTR) {
        close(descriptor);
        descriptor = -1;
    }
}

// Drains both outputs until they are closed and waits for the program; false after the time limit.
bool serve(pid_t pid, int &output, int &error, CallResult &result, int &state,
           Clock::time_point end) {
    while (output >= 0 || error >= 0 || waitpid(pid, &state, WNOHANG) != pid) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        if (left <= 0) {
            return false;
        }
        // poll passes over entries with a descriptor of -1; then only the end is waited for.
        pollfd streams[] = {{output, POLLIN, 0}, {error, POLLIN, 0}};
        if (poll(streams, 2, output < 0 && error < 0 ? 1 : (int)left) <= 0) {
            continue;
        }
        if (streams[0].revents != 0) {
            drain(output, result.out);
        }
        if (streams[1].revents != 0) {
            drain(error, result.err);
        }
    }
    return true;
}

} // namespace

CallResult run_program(const std::vector<std::string> &arguments,
                       const std::vector<std::string> &environment, const CallOptions &options) {
    const Clock::time_point end = Clock::now() + options.limit;
    const int input = input_of(options.input);
    Pipe output = make_pipe(), error = make_pipe();
    const pid_t pid =
        start(arguments, environment, options.directory, {input, output[1], error[1]});
    for (const int descriptor : {input, output[1], error[1]}) {
        close(descriptor);
    }
    CallResult result;
    int state = 0;
    if (pid > 0 && serve(pid, output[0], error[0], result, state, end)) {
        result.status = WIFSIGNALED(state) ? 128 + WTERMSIG(state) : WEXITSTATUS(state);
    } else {
        ADD_FAILURE() << arguments[0] << " was not at its end after " << options.limit.count()
                      << " ms; so far " << ::testing::PrintToString(result);
        if (pid > 0) {
            kill(-pid, SIGKILL);
            waitpid(pid, &state, 0);
        }
        close(output[0]);
        close(error[0]);
    }
    return result;
}

bool operator==(const CallResult &left, const CallResult &right) {
    return left.status == right.status && left.out == right.out && left.err == right.err;
}

void PrintTo(const CallResult &result, std::ostream *stream) {
    *stream << "exit status " << result.status << "\n--- standard output:\n"
            << result.out << "\n--- standard error:\n"
            << result.err << "\n---";
}

} // namespace vn_test
