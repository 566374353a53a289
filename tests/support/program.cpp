// Runs a program with its three streams on pipes until they are closed and it has ended, or until
// the time limit. One loop feeds and drains all streams: a program that fills one never blocks on
// another.
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

struct Pipe {
    int read_end = -1;
    int write_end = -1;
};

Pipe make_pipe() {
    int ends[2];
    if (pipe(ends) != 0) {
        std::perror("pipe for a test");
        std::abort();
    }
    fcntl(ends[0], F_SETFD, FD_CLOEXEC);
    fcntl(ends[1], F_SETFD, FD_CLOEXEC);
    return {ends[0], ends[1]};
}

void close_end(int &descriptor) {
    if (descriptor >= 0) {
        close(descriptor);
    }
    descriptor = -1;
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
            const std::string &directory, const Pipe &input, const Pipe &output,
            const Pipe &error) {
    std::vector<char *> argv = as_vector(arguments);
    std::vector<char *> envp = as_vector(environment);
    pid_t pid = fork();
    if (pid != 0) {
        return pid;
    }
    setpgid(0, 0);
    signal(SIGPIPE, SIG_DFL);
    if (dup2(input.read_end, 0) < 0 || dup2(output.write_end, 1) < 0 ||
        dup2(error.write_end, 2) < 0) {
        _exit(126);
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
    ssize_t length = read(descriptor, block.data(), block.size());
    if (length > 0) {
        text.append(block.data(), (size_t)length);
    } else if (length == 0 || errno != EINTR) {
        close_end(descriptor);
    }
}

// Writes the next piece; when all is written, or nobody reads any more, the stream is closed.
void feed(int &descriptor, std::string_view &input) {
    ssize_t length = write(descriptor, input.data(), input.size());
    if (length >= 0) {
        input.remove_prefix((size_t)length);
    } else if (errno != EINTR && errno != EAGAIN) {
        input = {};
    }
    if (input.empty()) {
        close_end(descriptor);
    }
}

// Serves the streams until both outputs are closed; false after the time limit.
bool serve(Pipe &input, Pipe &output, Pipe &error, std::string_view text, CallResult &result,
           Clock::time_point end) {
    while (output.read_end >= 0 || error.read_end >= 0) {
        // poll passes over entries with a descriptor of -1.
        std::array<pollfd, 3> streams = {pollfd{input.write_end, POLLOUT, 0},
                                         pollfd{output.read_end, POLLIN, 0},
                                         pollfd{error.read_end, POLLIN, 0}};
        auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        if (left <= 0) {
            return false;
        }
        if (poll(streams.data(), streams.size(), (int)left) <= 0) {
            continue;
        }
        if (streams[0].revents != 0) {
            feed(input.write_end, text);
        }
        if (streams[1].revents != 0) {
            drain(output.read_end, result.out);
        }
        if (streams[2].revents != 0) {
            drain(error.read_end, result.err);
        }
    }
    return true;
}

// Waits for the end of a program that has closed its streams; false after the time limit.
bool reap(pid_t pid, int &state, Clock::time_point end) {
    for (;;) {
        pid_t ended = waitpid(pid, &state, WNOHANG);
        if (ended == pid) {
            return true;
        }
        if (Clock::now() >= end) {
            return false;
        }
        usleep(500);
    }
}

} // namespace

CallResult run_program(const std::vector<std::string> &arguments,
                       const std::vector<std::string> &environment, const CallOptions &options) {
    const Clock::time_point end = Clock::now() + options.limit;
    // A program that does not read its input is no fault of the test.
    const auto previous_action = std::signal(SIGPIPE, SIG_IGN);
    Pipe input = make_pipe(), output = make_pipe(), error = make_pipe();
    pid_t pid = start(arguments, environment, options.directory, input, output, error);
    close_end(input.read_end);
    close_end(output.write_end);
    close_end(error.write_end);
    fcntl(input.write_end, F_SETFL, O_NONBLOCK);
    if (options.input.empty()) {
        close_end(input.write_end);
    }

    CallResult result;
    int state = 0;
    if (pid > 0 && serve(input, output, error, options.input, result, end) &&
        reap(pid, state, end)) {
        result.status = WIFSIGNALED(state) ? 128 + WTERMSIG(state) : WEXITSTATUS(state);
    } else {
        ADD_FAILURE() << arguments[0] << " was not at its end after " << options.limit.count()
                      << " ms; so far " << ::testing::PrintToString(result);
        if (pid > 0) {
            kill(-pid, SIGKILL);
            waitpid(pid, &state, 0);
        }
    }
    close_end(input.write_end);
    close_end(output.read_end);
    close_end(error.read_end);
    std::signal(SIGPIPE, previous_action);
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
