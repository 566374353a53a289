// The global variables, see variables.h.
#include "kernel/check/configuration/variables.h"

#include "common/common/shell_quote.h"
#include "common/unix/configuration/glbv.h"
#include "common/unix/files/regular_file.h"
#include "kernel/check/rights/owner.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string title_of(const std::string &name) {
    return "variable " + name;
}

// The agent opens a variable for reading and writing, also to read it.
s_FAULT open_fault(const s_CHECK &check, const std::string &file, char *szValue) {
    const unique_fd opened = open_regular(file.c_str());
    if (!opened && errno == EINVAL) {
        return {file + " is no regular file", "remove it"};
    }
    s_FAULT fault = access_fault(check, file, R_OK | W_OK);
    if (!fault.what.empty() || !opened) {
        return fault;
    }
    if (!glbv_content(opened.get(), szValue)) {
        return {file + " is empty, which counts as missing", "write its value, or remove it"};
    }
    const std::string value = szValue;
    if (value.size() == GLBV_VALUE_SIZE - 1 && value.back() == '>') {
        return {"the value in " + file + " is longer than " + std::to_string(GLBV_VALUE_SIZE - 1) +
                    " bytes and is cut",
                "shorten it"};
    }
    return {};
}

std::string write_it(const std::string &name, const std::string &value) {
    return "vn_client -r -f W -n " + name + " -s " + value;
}

// The files of the protocol: there, or the directory to make them in.
s_FAULT protocol_fault(const s_CHECK &check, const std::string &protocol) {
    if (protocol.front() != '/') {
        return {protocol + " does not begin with \"/\"", "write the whole path"};
    }
    const std::string directory = protocol.substr(0, protocol.rfind('/') + 1);
    s_FAULT fault = directory_fault(check, directory, W_OK | X_OK);
    for (const std::string &file : {protocol, protocol + ".err"}) {
        struct stat status = {};
        if (!fault.what.empty() || ::stat(file.c_str(), &status) != 0) {
            continue;
        }
        fault = S_ISREG(status.st_mode) ? access_fault(check, file, W_OK)
                                        : s_FAULT{file + " is no regular file", "remove it"};
    }
    return fault;
}

void check_protocol(s_CHECK *check) {
    const std::string title = title_of("gv_prot");
    const s_VARIABLE protocol = look_at_variable(*check, "gv_prot");
    if (say_fault(check, title, protocol.fault)) {
        return;
    }
    if (!protocol.bThere) {
        say_wrong(check, title + " is not set: no event reaches an operator",
                  write_it("gv_prot", "<path of the protocol>"));
        return;
    }
    if (!say_fault(check, title, protocol_fault(*check, protocol.value))) {
        check->protocol = protocol.value;
        say_right(check, title + ": events go to " + protocol.value);
    }
}

// A directory that some of the agent's services take from the variable and others from the key.
void check_directory(s_CHECK *check, const std::string &key, const std::string &path) {
    const s_VARIABLE variable = look_at_variable(*check, key.c_str());
    if (say_fault(check, title_of(key), variable.fault)) {
        return;
    }
    if (variable.bThere && variable.value != path) {
        say_doubtful(check,
                     title_of(key) + " is " + variable.value + ", but [Pathes] has " + path +
                         ": services do not agree where they work",
                     write_it(key, shell_quoted(path, QUOTES_NONE)));
    } else if (variable.bThere) {
        say_right(check, title_of(key) + " is the directory of [Pathes]");
    } else if (key == "gv_ro_bin") {
        say_wrong(check,
                  title_of(key) + " is not set: vn_alarm is not found when the media server "
                                  "does not come up",
                  write_it(key, shell_quoted(path, QUOTES_NONE)));
    }
}

void check_database(s_CHECK *check) {
    const s_VARIABLE variable = look_at_variable(*check, "gv_ro_db");
    const auto key = check->paths.find("gv_ro_db");
    if (variable.bThere && key == check->paths.end()) {
        say_right(check, title_of("gv_ro_db") + ": " + variable.value);
    } else if (!variable.bThere && key != check->paths.end()) {
        say_right(check, title_of("gv_ro_db") + " is not set, [Pathes] has " + key->second);
    }
}

} // namespace

s_VARIABLE look_at_variable(const s_CHECK &check, const char *cpName) {
    s_VARIABLE variable;
    std::string file;
    struct stat status = {};
    if (!glbv_file(cpName, &file)) {
        return variable;
    }
    if (::lstat(file.c_str(), &status) != 0) {
        variable.fault = errno == ENOENT ? s_FAULT{} : reading_fault(check, file, errno);
        return variable;
    }
    char szValue[GLBV_VALUE_SIZE] = "";
    variable.fault = open_fault(check, file, szValue);
    variable.bThere = variable.fault.what.empty();
    variable.value = szValue;
    return variable;
}

bool is_variable_set(const s_CHECK &check, const char *cpName) {
    return look_at_variable(check, cpName).bThere;
}

std::string directory_of(const s_CHECK &check, const char *cpName) {
    const s_VARIABLE variable = look_at_variable(check, cpName);
    const auto key = check.paths.find(cpName);
    return variable.bThere ? variable.value : key == check.paths.end() ? "" : key->second;
}

void CHECK_VARIABLES(s_CHECK *check) {
    if (check->paths.count("gv_rw_glbv") == 0) {
        say_doubtful(check, "global variables were not looked at: their directory cannot be used",
                     "gv_rw_glbv first");
        return;
    }
    check_protocol(check);
    check_database(check);
    for (const auto &[key, path] : check->paths) {
        check_directory(check, key, path);
    }
}
