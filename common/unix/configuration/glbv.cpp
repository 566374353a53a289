// The variable store, see glbv.h. Nothing is cached: other programs change the variables at any
// time, and a value that is being replaced may be seen empty.
#include "common/unix/configuration/glbv.h"

#include "common/common/cm_message.h"
#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/configuration/ini.h"
#include "common/unix/files/append.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/trace/fatal.h"
#include "common/unix/trace/screen.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fnmatch.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int kDirectorySize = 512; // as for every directory of the installation
constexpr int kReplySize = 256;     // what every caller's buffer holds

// A pipe that somebody put into the store must not hang the caller.
constexpr int kGuards = O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

// Reads the store's directory, which ends in "/", into szDirectory. False also for one that does
// not fit: a cut one would be another directory, of which nothing may be removed.
template <std::size_t N>
bool read_directory(char (&szDirectory)[N]) {
    char szWhole[1024]; // longer than any buffer: a cut shows
    char szMsg[kMessageSize];
    const bool bFound = i_READ_INI("VN_INI", "[Pathes]", "gv_rw_glbv", szWhole, sizeof szWhole,
                                   szMsg, sizeof szMsg) == 1;
    return text_copy(szDirectory, szWhole) && bFound;
}

void reply_no_store(char *value, const char *cpDirectory) {
    const std::string detail = std::string(cpDirectory) + " error reading vn_ini";
    // Not this source file's place, but the one under which support knows the fault.
    text_print(value, kReplySize, "?? %s", fatal_text("../cm_hal_unix", 259, detail).c_str());
}

void reply_invalid_service(int cFunction, char *value) {
    if (eLang == LANG_FR) {
        text_print(value, kReplySize, "?? Le Parametre %c est erroné", cFunction);
        return;
    }
    text_print(value, kReplySize,
               by_language("?? invalid service %c", "?? ungültiger Parameter %c",
                           "?? an Parameter %c gibt's net"),
               cFunction);
}

void reply_not_existing(const char *name, char *value) {
    text_print(value, GLBV_VALUE_SIZE, "?? GLBV %s not existing", name);
}

// The rest of a reply for a failure that nobody expects, and its two reports.
void report_failure(const char *cpAction, const std::string &path, int iErrno, char *value,
                    int iSize) {
    const std::string error = error_text(iErrno);
    write_screen(std::string("glbv() ") + cpAction + ' ' + path + " failed: " + error + " (" +
                 std::to_string(iErrno) + ")\n");
    text_append(value, iSize, ": " + error);
    PROT("Error: GLBV: %s", value);
}

void remove_matching(const char *cpPattern) {
    char szDirectory[kDirectorySize];
    const bool bWhole = read_directory(szDirectory);
    errno = ENAMETOOLONG;
    const unique_directory directory(bWhole ? ::opendir(szDirectory) : nullptr);
    if (!directory) {
        write_screen(std::string("glbv: Error in opendir( ") + szDirectory +
                     " ): " + error_text(errno) + '\n');
        return;
    }
    while (const dirent *entry = ::readdir(directory.get())) {
        const char *cpName = entry->d_name;
        if (std::strcmp(cpName, ".") == 0 || std::strcmp(cpName, "..") == 0) {
            continue;
        }
        if (::fnmatch(cpPattern, cpName, 0) == 0) {
            ::unlink((std::string(szDirectory) + cpName).c_str());
        }
    }
}

void write_variable(const char *name, const std::string &path, char *value) {
    unique_fd file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | kGuards, 0644));
    if (file && write_all(file.get(), value) && file.reset() == 0) {
        return;
    }
    const int iErrno = errno;
    text_print(value, kReplySize, "?? GLBV %s cannot be created", name);
    report_failure("write", path, iErrno, value, kReplySize);
}

// A value as it is read from its file: the lines joined, each up to its end or a NUL byte.
struct s_VALUE {
    char szText[GLBV_VALUE_SIZE] = "";
    std::size_t iLength = 0;
    bool bRead = false;     // the file held at least one byte
    bool bSkipping = false; // behind a NUL byte, up to the line's end
};

// Adds a block of the file. False when the value is full: the rest is cut off.
bool add_block(s_VALUE *result, const char *cpBlock, std::size_t iLength) {
    result->bRead = result->bRead || iLength > 0;
    for (std::size_t i = 0; i < iLength; ++i) {
        const char letter = cpBlock[i];
        if (letter == '\n' || letter == '\0') {
            result->bSkipping = letter == '\0';
        } else if (!result->bSkipping) {
            if (result->iLength == GLBV_VALUE_SIZE - 1) {
                result->szText[GLBV_VALUE_SIZE - 2] = '>';
                return false;
            }
            result->szText[result->iLength++] = letter;
        }
    }
    return true;
}

// Only regular files hold values: a device might never end.
void read_file(int fd, s_VALUE *result) {
    struct stat status = {};
    if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
        return;
    }
    char block[4096];
    ssize_t got = 0;
    do {
        got = ::read(fd, block, sizeof block);
    } while ((got < 0 && errno == EINTR) ||
             (got > 0 && add_block(result, block, static_cast<std::size_t>(got))));
}

void read_variable(const char *name, const std::string &path, bool bDelete, char *value) {
    unique_fd file(::open(path.c_str(), O_RDWR | kGuards));
    if (!file) {
        const int iErrno = errno;
        reply_not_existing(name, value);
        if (iErrno != ENOENT) {
            report_failure("read", path, iErrno, value, GLBV_VALUE_SIZE);
        }
        return;
    }
    s_VALUE result;
    read_file(file.get(), &result);
    file.reset();
    if (result.bRead) {
        text_copy(value, GLBV_VALUE_SIZE, result.szText);
    } else {
        write_screen("glbv() read failed: empty file\n");
        reply_not_existing(name, value);
    }
    if (bDelete) {
        ::unlink(path.c_str());
    }
}

} // namespace

char *glbv(int cFunction, char *name, char *value) {
    std::replace_if(
        name, name + std::strlen(name), [](char c) { return c == '\\' || c == '/'; }, '_');
    char szDirectory[kDirectorySize];
    if (!read_directory(szDirectory)) {
        if (cFunction != 'd') {
            reply_no_store(value, szDirectory);
        }
        return value;
    }
    const std::string path = std::string(szDirectory) + name + ".sgv";
    switch (cFunction) {
    case 'd':
        if (std::strchr(name, '*') != nullptr) {
            remove_matching(name);
        } else {
            ::unlink(path.c_str());
        }
        break;
    case 'w':
        write_variable(name, path, value);
        break;
    case 'r':
    case 'R':
        read_variable(name, path, cFunction == 'R', value);
        break;
    default:
        reply_invalid_service(cFunction, value);
        break;
    }
    return value;
}
