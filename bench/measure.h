// What the measurements share: running a program and taking its times and memory, medians, a
// directory that goes away.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace measure {

// What one run of a program took.
struct Cost {
    double wall = 0; // seconds
    double cpu = 0;  // seconds, user and system, with its children
    long peak = 0;   // KiB of memory
};

// Where a program reads and writes; standard error goes to /dev/null.
struct Files {
    std::string in = "/dev/null";
    std::string out = "/dev/null"; // truncated, or made
};

inline double seconds(const timeval &t) {
    return static_cast<double>(t.tv_sec) + 1e-6 * static_cast<double>(t.tv_usec);
}

// The child's side of a run.
[[noreturn]] inline void execute(const std::vector<const char *> &arguments, const Files &files) {
    const int fds[] = {open(files.in.c_str(), O_RDONLY),
                       open(files.out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600),
                       open("/dev/null", O_WRONLY)};
    for (int i = 0; i < 3; ++i) {
        dup2(fds[i], i);
    }
    execv(arguments[0], const_cast<char *const *>(arguments.data()));
    _exit(127);
}

// Runs a program (a full path and its arguments) to its end. Throws when it fails.
inline Cost run(const std::vector<std::string> &command, const Files &files = {}) {
    std::vector<const char *> arguments;
    for (const std::string &argument : command) {
        arguments.push_back(argument.c_str());
    }
    arguments.push_back(nullptr);
    const auto begin = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        execute(arguments, files);
    }
    int status = 0;
    rusage usage = {};
    if (child < 0 || wait4(child, &status, 0, &usage) != child || status != 0) {
        throw std::runtime_error(command[0] + " failed");
    }
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - begin;
    return {wall.count(), seconds(usage.ru_utime) + seconds(usage.ru_stime), usage.ru_maxrss};
}

// What a main returns: 0 after the measurement, 1 with a message when it throws.
template <typename Measurement>
int exit_status(Measurement measurement) {
    try {
        measurement();
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return 1;
    }
    return 0;
}

inline double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// A figure of ours, a reference's, and what one is of the other, each as often as it was measured.
struct Pairs {
    std::vector<double> ours = {};
    std::vector<double> theirs = {};
    std::vector<double> ratios = {};

    void add(double our, double their) {
        ours.push_back(our);
        theirs.push_back(their);
        ratios.push_back(our / their);
    }
};

// Adds a row to the table of scripts/bench, in the file that VN_BENCH_TABLE names, if it does: the
// medians in their unit, which is 1/scale of what was measured, the median of the ratios, and
// between which values half of these lie.
inline void row(const std::string &what, const Pairs &pairs, double scale, const char *unit) {
    const char *file = std::getenv("VN_BENCH_TABLE");
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> table(
        file != nullptr ? std::fopen(file, "a") : nullptr, std::fclose);
    if (!table) {
        return;
    }
    std::vector<double> ratios = pairs.ratios;
    std::sort(ratios.begin(), ratios.end());
    std::fprintf(table.get(), "| %s | %.4g %s | %.4g %s | %.2f | %.2f to %.2f |\n", what.c_str(),
                 scale * median(pairs.ours), unit, scale * median(pairs.theirs), unit,
                 median(ratios), ratios[ratios.size() / 4], ratios[ratios.size() * 3 / 4]);
}

// Writes a file of numbered lines, each of `length` characters and a line feed.
inline void make_lines(const std::string &file, long count, std::size_t length) {
    std::ofstream stream(file);
    std::string line(length, 'x');
    for (long i = 0; i < count; ++i) {
        const std::string number = std::to_string(i);
        stream << line.replace(0, number.size(), number) << '\n';
    }
    if (!stream.flush()) {
        throw std::runtime_error(file + ": cannot be written");
    }
}

// A directory with an installation of the agent in it, which VORNA_INI names; removed at the end.
class Workplace {
public:
    Workplace() {
        if (mkdtemp(path_) == nullptr) {
            throw std::runtime_error("mkdtemp failed");
        }
        const std::string make = std::string("'" VN_SANDBOX_DIR "/make_installation' ") + path_ +
                                 " '" VN_SANDBOX_PROGRAMS "'";
        if (std::system((make + " >/dev/null").c_str()) != 0 ||
            setenv("VORNA_INI", path("vorna.ini").c_str(), 1) != 0) {
            throw std::runtime_error("no installation");
        }
    }
    ~Workplace() {
        if (std::system((std::string("rm -rf ") + path_).c_str()) != 0) {
            std::fprintf(stderr, "%s remains\n", path_);
        }
    }
    Workplace(const Workplace &) = delete;
    Workplace &operator=(const Workplace &) = delete;

    std::string path(const std::string &name) const { return std::string(path_) + '/' + name; }

private:
    char path_[32] = "/tmp/vn_bench.XXXXXX";
};

} // namespace measure
