// A throw-away installation of the agent for one test, and what a test asks of it: call the agent,
// read and write files. It knows nothing of the agent's code; an Installation is made and destroyed
// per test.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vn_test {

// What one call of a program left.
struct CallResult {
    int status = -1; // exit status; 128 + number when ended by a signal; -1 after the time limit
    std::string out; // all of standard output
    std::string err; // all of standard error
};

// Prints a result in full when a comparison fails.
bool operator==(const CallResult &left, const CallResult &right);
void PrintTo(const CallResult &result, std::ostream *stream);

struct CallOptions {
    std::string input;     // text for standard input; empty: end of input at once
    std::string directory; // directory to start in; empty: the installation's own
    std::chrono::milliseconds limit{20000};
};

// Runs the program arguments[0] (a path) with the environment "NAME=value"... and nothing else. A
// program that is still running or still holds its output open at the time limit is killed with its
// children, and the current test fails.
CallResult run_program(const std::vector<std::string> &arguments,
                       const std::vector<std::string> &environment, const CallOptions &options);

// Makes the directory below TMPDIR (else /tmp), lays out the installation and points VORNA_INI of
// this process at it, so that library functions use it too. The end puts VORNA_INI back and removes
// all. What cannot be set up ends the test program with a message.
struct Installation {
    Installation();
    ~Installation();
    Installation(const Installation &) = delete;
    Installation &operator=(const Installation &) = delete;

    std::string dir; // absolute, without "/" at the end

    // The path of a file named from the installation's directory on: path("rw/ini/vn.ini").
    std::string path(std::string_view name) const;

    // The environment of a program: PATH, HOME, TMPDIR, TZ and what the sanitizers read from this
    // process, LC_ALL=C and VORNA_INI.
    std::vector<std::string> environment() const;

    // Writes, reads and removes the file of a global variable; nullopt: there is no such file.
    void set_glbv(std::string_view name, std::string_view value) const;
    std::optional<std::string> get_glbv(std::string_view name) const;
    void remove_glbv(std::string_view name) const;

    // Sets a key of an INI file (a path), in place or at the end of its section; the section "" is
    // the part before the first section, a new section goes to the end. All other lines stay.
    void set_ini(const std::string &file, std::string_view section, std::string_view key,
                 std::string_view value) const;
    // Removes the key's line.
    void remove_ini(const std::string &file, std::string_view section, std::string_view key) const;

    // The lines of the trace file, the protocol and the error protocol, normalised; none without
    // file.
    std::vector<std::string> trace() const;
    std::vector<std::string> protocol() const;
    std::vector<std::string> error_protocol() const;

    // Replaces in a text what differs from run to run: the time at the beginning of a line by
    // "<time>", process ids ("PID=17", "[    17]") by "<pid>" and the installation's directory by
    // "<dir>".
    std::string normalised(std::string_view text) const;
    // The same, and what differs from machine to machine: the agent's path by "<agent>", the user
    // by "<user>", identifiers of 14 digits by "<id>", times of files by "<date>". The work
    // directory becomes "<work>".
    std::string comparable(std::string_view text) const;

private:
    std::optional<std::string> previous_ini_;
};

// Whole files. Reading a missing file gives nullopt; a write that fails fails the test.
std::optional<std::string> read_file(const std::string &path);
void write_file(const std::string &path, std::string_view content);

// The lines of a text without their line feeds; a last line without line feed counts.
std::vector<std::string> lines_of(std::string_view text);

} // namespace vn_test
