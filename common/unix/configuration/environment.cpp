// The environment of child programs (i_setenv_vorna of environment.h). The strings given to putenv
// live in static buffers, because the environment keeps pointing at them.
#include "common/unix/configuration/environment.h"

#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/configuration/ini.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace {

constexpr int kCommandSize = 512; // bytes of the command line that are looked at
constexpr int kValueSize = 512;   // bytes of a value from the INI file
constexpr int kPathLimit = 2048;  // the lengths that are counted must stay below this
// Also holds what is not counted: the name, gv_ro_pgsql and the separators.
constexpr int kPathSize = kPathLimit + kValueSize + 16;
constexpr int kLibraryPathSize = 4096;
constexpr char kNetwareLibraries[] = "/opt/novell/lib";

struct s_PROGRAM {
    bool bDatabase;
    bool bMediaServer;
    bool bNetware;
};

// What the command line's first word says that is started. The names that end in a blank are
// programs without an extension; they too only have to start inside the first word.
s_PROGRAM classify(const char *cpCommand) {
    char szCommand[kCommandSize];
    text_copy(szCommand, cpCommand + std::strspn(cpCommand, " "));
    for (char *letter = szCommand; *letter != '\0'; ++letter) {
        *letter = text_lower(*letter);
    }
    const std::string_view command = szCommand;
    const std::size_t first_word = std::min(command.find(' '), command.size());
    const auto names = [command, first_word](std::string_view program) {
        return command.find(program) < first_word;
    };
    return {names("vn_db ") || names("damisql") || names("psql"), names("vn_vns_interface "),
            names("netware")};
}

bool read_key(const char *cpSection, const char *cpKey, char (&szValue)[kValueSize],
              char (&szMsg)[kMessageSize]) {
    return i_READ_INI("VN_INI", cpSection, cpKey, szValue, kValueSize, szMsg, sizeof szMsg) == 1;
}

std::string environment(const char *cpName) {
    const char *cpValue = std::getenv(cpName);
    return cpValue == nullptr ? "" : cpValue;
}

bool set_database_port(const s_PROGRAM &program) {
    static char szPort[kValueSize + 8];
    char szValue[kValueSize];
    char szMsg[kMessageSize];
    if (!read_key("[SERVER]", "gv_port_db", szValue, szMsg)) {
        if (program.bDatabase) {
            std::printf("key gv_port_db not found in vn.ini");
        }
        return !program.bDatabase;
    }
    if (environment("PGPORT") == szValue) {
        return true;
    }
    text_print(szPort, "PGPORT=%s", szValue);
    if (::putenv(szPort) != 0) {
        std::printf("error in putenv %s\n", szPort);
        return false;
    }
    return true;
}

// The directories of programs, empty when PATH needs no more than it has.
struct s_DIRECTORIES {
    char szRoBin[kValueSize] = "";
    char szRoDb[kValueSize] = "";
    char szRoPgsql[kValueSize] = "";
    char szRoVns[kValueSize] = "";
};

// False with what is to be said on standard output.
bool read_directories(const s_PROGRAM &program, s_DIRECTORIES *directories, std::string *fault) {
    char szMsg[kMessageSize];
    if (!read_key("[PATHES]", "gv_ro_bin", directories->szRoBin, szMsg)) {
        return false;
    }
    if (program.bMediaServer && !read_key("[PATHES]", "gv_ro_vns", directories->szRoVns, szMsg)) {
        *fault = std::string("error in i_READ_INI gv_ro_vns ") + szMsg + '\n';
        return false;
    }
    if (!program.bDatabase) {
        return true;
    }
    if (!read_key("[PATHES]", "gv_ro_db", directories->szRoDb, szMsg)) {
        *fault = std::string("error in i_READ_INI gv_ro_db ") + szMsg + '\n';
        return false;
    }
    if (!read_key("[PATHES]", "gv_ro_pgsql", directories->szRoPgsql, szMsg)) {
        text_copy(directories->szRoPgsql, "/usr/local/pgsql/bin/");
    }
    return true;
}

std::string too_long_text(const s_DIRECTORIES &directories, std::size_t iPath) {
    constexpr char kInPath[] = " (0 means that string already in PATH)\n";
    const auto length = [kInPath](const char *cpName, const char *cpDirectory) {
        return cpName + std::to_string(std::strlen(cpDirectory)) + kInPath;
    };
    return length("iStrLenRoBin = ", directories.szRoBin) +
           length("iStrLenRoDb  = ", directories.szRoDb) +
           length("iStrLenRoPgsql = ", directories.szRoPgsql) +
           length("iStrLenRoVns = ", directories.szRoVns) +
           "iStrLenPath  = " + std::to_string(iPath) +
           "\niSizeOfPath  = " + std::to_string(kPathLimit) +
           "\nlength of string is not sufficient\n";
}

// A list of directories with one more at its end. An empty element would be the directory in which
// a program happens to run: none is made.
std::string with_directory(const std::string &list, const char *cpDirectory) {
    return list.empty() ? cpDirectory : list + ':' + cpDirectory;
}

// PATH with the directories that it lacks behind it. Those that it has are emptied: they do not
// count for the length.
std::string extended_path(const std::string &old, s_DIRECTORIES *directories) {
    char *const order[] = {directories->szRoBin, directories->szRoDb, directories->szRoPgsql,
                           directories->szRoVns};
    std::string path = old;
    for (char *directory : order) {
        if (old.find(directory) != std::string::npos) {
            directory[0] = '\0';
        } else {
            path = with_directory(path, directory);
        }
    }
    return path;
}

bool put_path(const std::string &path) {
    static char szPath[kPathSize];
    text_copy(szPath, "PATH=" + path);
    if (::putenv(szPath) != 0) {
        std::printf("error in putenv %s", szPath);
        return false;
    }
    return true;
}

bool set_path(const char *cpCommand) {
    const std::string old = environment("PATH");
    std::string path = old;
    std::string fault;
    if (!child_path(cpCommand, std::getenv("PATH") == nullptr ? nullptr : &path, &fault)) {
        std::fputs(fault.c_str(), stdout);
        return false;
    }
    return path == old || put_path(path);
}

bool set_library_path() {
    static char szLibraryPath[kLibraryPathSize];
    const std::string old = environment("LD_LIBRARY_PATH");
    std::printf("check LD_LIBRARY_PATH=%s\n", old.c_str());
    if (std::getenv("LD_LIBRARY_PATH") == nullptr) {
        std::printf("didn't get LD_LIBRARY_PATH\n");
    }
    if (old.find(kNetwareLibraries) != std::string::npos) {
        return true;
    }
    const bool bWhole =
        text_copy(szLibraryPath, "LD_LIBRARY_PATH=" + with_directory(old, kNetwareLibraries));
    if (!bWhole || ::putenv(szLibraryPath) != 0) {
        std::printf("error in putenv %s\n", szLibraryPath);
        return false;
    }
    std::printf("set %s\n", szLibraryPath);
    return true;
}

} // namespace

bool child_path(const char *cpCommand, std::string *path, std::string *fault) {
    s_DIRECTORIES directories;
    if (!read_directories(classify(cpCommand), &directories, fault)) {
        return false;
    }
    if (path == nullptr) {
        *fault = "error in getenv PATH\n";
        return false;
    }
    const std::string old = *path;
    *path = extended_path(old, &directories);
    const std::size_t counted = old.size() + std::strlen(directories.szRoBin) +
                                std::strlen(directories.szRoDb) + std::strlen(directories.szRoVns);
    if (*path != old && counted >= kPathLimit) { // gv_ro_pgsql does not count
        *fault = too_long_text(directories, old.size());
        return false;
    }
    return true;
}

int i_setenv_vorna(const char *cpCommand) {
    cpCommand = cpCommand == nullptr ? "" : cpCommand;
    const s_PROGRAM program = classify(cpCommand);
    if (!set_database_port(program) || !set_path(cpCommand)) {
        return 0;
    }
    return program.bNetware && !set_library_path() ? 0 : 1;
}
