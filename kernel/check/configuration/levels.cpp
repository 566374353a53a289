// What is traced, see levels.h.
#include "kernel/check/configuration/levels.h"

#include "common/common/strlib.h"
#include "common/common/text.h"
#include "common/unix/files/line_reader.h"
#include "common/unix/files/regular_file.h"
#include "common/unix/trace/record.h"
#include "kernel/check/configuration/ini_lines.h"
#include "kernel/check/configuration/variables.h"
#include "kernel/check/rights/owner.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::string_view kModules[] = {"VN_CLIENT", "STDERR"};
constexpr std::string_view kLetters = "cdDefkmprtuxGRW";

std::string upper(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), text_upper);
    return result;
}

bool is_number(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// What keeps the agent from a level as it is meant.
s_FAULT level_fault(std::string_view line, std::string_view module) {
    const std::string key(line.substr(0, line.find('=')));
    if (key != module) {
        return {"\"" + key + "\" is not found, the agent reads \"" + std::string(module) + "=\"",
                "write " + std::string(module) + "=<level>"};
    }
    if (!is_number(text_stripped(line.substr(key.size() + 1)))) {
        return {"\"" + std::string(line) + "\" has no plain number", "write a level from 0 to 3"};
    }
    return {};
}

// Says the fault of each line that is meant for the agent. False when there is one.
bool check_lines(s_CHECK *check, const std::string &file) {
    line_reader reader(file.c_str());
    std::string_view line;
    bool bGood = true;
    for (int iNumber = 1; reader.next(&line); ++iNumber) {
        const std::string key = upper(entry_key(line));
        for (const std::string_view module : kModules) {
            if (!line.starts_with('#') && key == module) {
                const std::string place = "line " + std::to_string(iNumber) + " of " + file;
                bGood = !say_fault(check, place, level_fault(line, module)) && bGood;
            }
        }
    }
    return bGood;
}

std::string cost_of(int iLevel) {
    return "each call starts ps to name its parent and traces its beginning" +
           std::string(iLevel == 1   ? ", a line for each step"
                       : iLevel == 2 ? " with details"
                                     : " with every value that is read");
}

void check_levels(s_CHECK *check, const std::string &file) {
    const int iLevel = debug_level_of(file.c_str(), "VN_CLIENT");
    const int iStderr = debug_level_of(file.c_str(), "STDERR");
    if (iLevel > 0) {
        const std::string also =
            iStderr != 0 ? ", on standard error before the record, too (STDERR)" : "";
        say_doubtful(check,
                     file + ": VN_CLIENT=" + std::to_string(iLevel) + ", " + cost_of(iLevel) + also,
                     "write VN_CLIENT=0 when nobody looks for a fault");
    } else {
        say_right(check, file + ": VN_CLIENT is 0, it traces nothing");
    }
}

void check_file(s_CHECK *check) {
    const auto directory = check->paths.find("gv_rw_ini");
    if (directory == check->paths.end()) {
        say_doubtful(check,
                     "debug.ini was not looked at: the directory of the INI files cannot be "
                     "used",
                     "gv_rw_ini first");
        return;
    }
    const std::string file = debug_switch_file(directory->second);
    if (file.empty()) {
        say_doubtful(check,
                     directory->second + "debug.ini is not read: its path is longer than 127 "
                                         "bytes",
                     "give the INI files a directory with a shorter path");
        return;
    }
    if (!open_regular(file.c_str())) {
        const int iErrno = errno;
        if (iErrno == ENOENT) {
            say_right(check, file + " is not there, it traces nothing");
        } else {
            say_fault(check, "levels", reading_fault(*check, file, iErrno));
        }
        return;
    }
    if (check_lines(check, file)) {
        check_levels(check, file);
    }
}

void check_switch(s_CHECK *check) {
    if (check->paths.count("gv_rw_glbv") == 0) {
        return; // said when the variables were looked at
    }
    constexpr char kName[] = "gv_client_trace";
    const std::string title = std::string("variable ") + kName;
    const s_VARIABLE variable = look_at_variable(*check, kName);
    if (say_fault(check, title, variable.fault)) {
        return;
    }
    if (!variable.bThere) {
        say_right(check, title + " is not set, no function is traced");
    } else if (variable.value.find_first_of(kLetters) == std::string::npos) {
        say_doubtful(check, title + ": " + variable.value + " holds no function's letter",
                     "remove the variable, or write letters such as Gu");
    } else {
        say_doubtful(check,
                     title + ": calls of the functions " + variable.value +
                         " are traced, also on standard error before the record",
                     "remove the variable when nobody looks for a fault");
    }
}

// A trace file that cannot be written is not told to anybody.
void check_trace(s_CHECK *check) {
    const auto directory = check->paths.find("gv_rw_lgc");
    struct stat status = {};
    if (directory == check->paths.end()) {
        return; // said when the directories were looked at
    }
    const std::string file = directory->second + "vn_client_.lgc";
    if (::stat(file.c_str(), &status) != 0) {
        say_right(check, "trace " + file + " is not there yet");
    } else if (!S_ISREG(status.st_mode)) {
        say_wrong(check, "trace " + file + " is no regular file", "remove it");
    } else if (!say_fault(check, "trace", access_fault(*check, file, W_OK))) {
        say_right(check, "trace " + file + " can be written");
    }
}

} // namespace

void CHECK_LEVELS(s_CHECK *check) {
    check_trace(check);
    check_file(check);
    check_switch(check);
}
