// The programs that the agent starts, see programs.h.
#include "kernel/check/programs.h"

#include "common/common/shell_quote.h"
#include "common/common/text.h"
#include "common/unix/configuration/environment.h"
#include "common/unix/files/line_reader.h"
#include "common/unix/system/device_node.h"
#include "kernel/check/configuration/variables.h"
#include "kernel/check/rights/owner.h"
#include "kernel/check/rights/permissions.h"

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

// A program, and what goes without it.
struct s_PROGRAM_USE {
    const char *cpName; // null: this system needs none
    const char *cpKey;  // of the directory in which it has to be; null: it is searched along PATH
    const char *cpNeed;
    e_VERDICT eMissing;
};

constexpr s_PROGRAM_USE kPrograms[] = {
    {"vbc", "gv_ro_bin", "function f copies nothing", WRONG},
    {"vn_alarm", "gv_ro_bin", "nobody is alarmed", WRONG},
    {"vn_main", "gv_ro_bin", "function c does not reload the media server", WRONG},
    {"damisql", "gv_ro_db", "the catalogue is not read: k and remote commands fail", WRONG},
    {"su", nullptr, "function x runs nothing for other users than root", WRONG},
    {"ps", nullptr, "function k finds no processes", WRONG},
    {"grep", nullptr, "function k finds no processes", WRONG},
    {"awk", nullptr, "function k finds no processes", WRONG},
    {"cp", nullptr, "function m copies nothing", WRONG},
    {"chmod", nullptr, "u -m m changes no mode", WRONG},
    {"mount", nullptr, "where disks are mounted is not known", DOUBTFUL},
    {"mt", nullptr, "a tape drive's state is not known", DOUBTFUL},
    {"ssh", nullptr, "clients with access mode S are not reached", DOUBTFUL},
    {kDeviceQueries[kThisSystem].cpProgram, nullptr,
     "a disk's node is not known by its other names", DOUBTFUL},
};

// The directories that the system itself searches.
std::string standard_path() {
    char szPath[1024] = "";
    ::confstr(_CS_PATH, szPath, sizeof szPath);
    return szPath;
}

bool is_same_file(const std::string &left, const std::string &right) {
    struct stat first = {};
    struct stat second = {};
    return ::stat(left.c_str(), &first) == 0 && ::stat(right.c_str(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

std::vector<std::string> elements_of(const std::string &path) {
    std::vector<std::string> elements;
    std::string_view rest = path;
    const auto count = std::count(path.begin(), path.end(), ':') + 1;
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        elements.emplace_back(text_take_field(&rest, ':'));
    }
    return elements;
}

bool is_element(const std::string &path, const std::string &directory) {
    const std::vector<std::string> elements = elements_of(path);
    return std::any_of(elements.begin(), elements.end(), [&](const std::string &element) {
        return !element.empty() && is_same_file(element, directory);
    });
}

// What the agent makes of a PATH for a program.
std::string path_of_children(const std::string &path, const std::string &name) {
    std::string result = path;
    std::string fault;
    return child_path(name.c_str(), &result, &fault) ? result : path;
}

// Of an outsider it counts that somebody may run it.
bool can_run(const s_CHECK &check, const std::string &file, const struct stat &status) {
    return is_outsider(check) ? (status.st_mode & (S_IXUSR | S_IXGRP | S_IXOTH)) != 0
                              : ::access(file.c_str(), X_OK) == 0;
}

// The program's interpreter, which its first line names; empty for a program that needs none.
std::string interpreter_of(const std::string &file) {
    line_reader reader(file.c_str());
    std::string_view line;
    if (!reader.next(&line) || !line.starts_with("#!")) {
        return "";
    }
    line = text_stripped(line.substr(2));
    return std::string(line.substr(0, line.find_first_of(" \t")));
}

// A program that is found, but not where every caller's PATH leads.
s_FAULT place_fault(const s_CHECK &check, const std::string &name, const std::string &file) {
    std::string other;
    const std::string standard =
        search_program(check, path_of_children(standard_path(), name), name, &other);
    if (!check.bOwnPath || is_same_file(standard, file)) {
        return {};
    }
    return {"found as " + file + " with your PATH, " +
                (standard.empty() ? "not" : "but as " + standard) + " with the system's own (" +
                standard_path() + ")",
            "have the agent started with your PATH, or name that PATH by -p", DOUBTFUL};
}

// A program of the installation: its own directory has it, and PATH leads to no other.
s_FAULT installed_fault(const s_CHECK &check, const s_PROGRAM_USE &use, std::string *file) {
    *file = directory_of(check, use.cpKey) + use.cpName;
    s_FAULT fault = program_fault(check, *file);
    if (!fault.what.empty()) {
        fault.what += std::string(", ") + use.cpNeed;
        return fault;
    }
    std::string other;
    const std::string found =
        search_program(check, path_of_children(check.path, use.cpName), use.cpName, &other);
    if (found.empty() || is_same_file(found, *file)) {
        return {};
    }
    return {"PATH leads to " + found + ", not to " + *file, "remove one of them from PATH",
            DOUBTFUL};
}

void check_program(s_CHECK *check, const s_PROGRAM_USE &use) {
    const std::string title = std::string("program ") + use.cpName;
    if (use.cpKey != nullptr && directory_of(*check, use.cpKey).empty()) {
        say_doubtful(check, title + " was not looked at: its directory cannot be used",
                     std::string(use.cpKey) + " first");
        return;
    }
    if (use.cpKey == nullptr && check->path.empty()) {
        return; // said of PATH
    }
    std::string file;
    s_FAULT fault = use.cpKey == nullptr ? find_program(*check, use.cpName, &file)
                                         : installed_fault(*check, use, &file);
    if (fault.what.empty()) {
        fault = access_fault(*check, file, X_OK);
    } else if (file.empty()) {
        fault.what += std::string(": ") + use.cpNeed;
        fault.eVerdict = use.eMissing;
    }
    if (!say_fault(check, title, fault) && CHECK_WAY(check, file, title)) {
        say_right(check, title + ": " + file + " can be run");
    }
}

// The directories of PATH that are searched before a program is found.
void check_elements(s_CHECK *check) {
    const std::vector<std::string> none;
    for (const std::string &element : check->path.empty() ? none : elements_of(check->path)) {
        struct stat status = {};
        if (element.empty() || element.front() != '/') {
            say_wrong(check,
                      "PATH has the element \"" + element +
                          "\": programs are sought in the work directory, too",
                      "take it out of PATH");
        } else if (::stat(element.c_str(), &status) == 0) {
            CHECK_WAY(check, element, "the programs sought along PATH");
        }
    }
}

// What is not right about the PATH that programs of the database get, whose list is the longest.
s_FAULT path_fault(const s_CHECK &check, std::string *path) {
    std::string fault;
    if (check.path.empty()) {
        return {std::string(check.bPath ? "it is empty"
                                        : "there is none, so the installation's "
                                          "programs are not added to it") +
                    ", the programs of the system were not looked at",
                "start the agent with PATH=" + standard_path()};
    }
    const bool bKnown = check.paths.count("gv_ro_bin") != 0 && check.paths.count("gv_ro_db") != 0;
    if (!bKnown || !child_path("vn_db ", path, &fault)) {
        return {bKnown
                    ? "it is too long for the installation's programs to be added"
                    : "what is added to it was not looked at, gv_ro_bin or gv_ro_db cannot be used",
                bKnown ? "start the agent with a shorter PATH" : "gv_ro_bin and gv_ro_db first",
                bKnown ? WRONG : DOUBTFUL};
    }
    for (const char *cpKey : {"gv_ro_bin", "gv_ro_db"}) {
        const std::string &directory = check.paths.at(cpKey);
        if (!is_element(*path, directory)) {
            return {directory + " is not added, because the text holds it as part of another "
                                "directory",
                    "put it into PATH before that directory"};
        }
    }
    return {};
}

void check_path(s_CHECK *check) {
    check_elements(check);
    std::string path = check->path;
    if (!say_fault(check, "PATH", path_fault(*check, &path))) {
        say_right(check, "PATH of the agent's children: " + path);
    }
}

} // namespace

s_FAULT program_fault(const s_CHECK &check, const std::string &file) {
    struct stat status = {};
    if (::stat(file.c_str(), &status) != 0) {
        const int iErrno = errno;
        if (iErrno == EACCES && is_outsider(check)) {
            return hidden_fault(file);
        }
        return {file + " cannot be found: " + error_text(iErrno), "install it"};
    }
    if (!S_ISREG(status.st_mode)) {
        return {file + " is no regular file", "put the program there"};
    }
    if (!can_run(check, file, status)) {
        return {file + " cannot be run", "chmod a+rx " + shell_quoted(file, QUOTES_NONE)};
    }
    if (status.st_size == 0) {
        return {file + " is empty: it does nothing and succeeds", "put the program there"};
    }
    const std::string interpreter = interpreter_of(file);
    if (!interpreter.empty() && ::access(interpreter.c_str(), X_OK) != 0) {
        return {file + " needs " + interpreter + ": " + error_text(errno),
                "install " + interpreter};
    }
    return {};
}

std::string search_program(const s_CHECK &check, const std::string &path, const std::string &name,
                           std::string *other) {
    for (const std::string &element : elements_of(path)) {
        const std::string file = element + (element.ends_with('/') ? "" : "/") + name;
        struct stat status = {};
        if (!element.starts_with('/') || ::stat(file.c_str(), &status) != 0) {
            continue;
        }
        if (S_ISREG(status.st_mode) && can_run(check, file, status)) {
            return file;
        }
        if (other->empty()) {
            *other = file;
        }
    }
    return "";
}

s_FAULT find_program(const s_CHECK &check, const std::string &name, std::string *file) {
    std::string other;
    *file = search_program(check, path_of_children(check.path, name), name, &other);
    if (file->empty() && other.empty()) {
        return {"not found in the PATH of the agent's children", "install " + name};
    }
    if (file->empty()) {
        *file = other;
    }
    const s_FAULT fault = program_fault(check, *file);
    return fault.what.empty() ? place_fault(check, name, *file) : fault;
}

void CHECK_PROGRAMS(s_CHECK *check) {
    check_path(check);
    for (const s_PROGRAM_USE &use : kPrograms) {
        if (use.cpName != nullptr) {
            check_program(check, use);
        }
    }
    if (is_variable_set(*check, "gv_ctrlc_old")) {
        check_program(check,
                      {"vn_ctrlc", nullptr, "gv_ctrlc_old is set, so no daemon is called", WRONG});
    }
    const s_FAULT shell = program_fault(*check, "/bin/sh");
    if (!say_fault(check, "program sh", shell)) {
        say_right(check, "program sh: /bin/sh can be run");
    }
}
