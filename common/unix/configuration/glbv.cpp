// The variable store, see glbv.h. Nothing is cached: other programs change the variables at any
// time, and one that is being made may be seen empty.
#include "common/unix/configuration/glbv.h"

#include "common/common/cm_message.h"
#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/configuration/ini.h"
#include "common/unix/configuration/ini_file.h"
#include "common/unix/files/append.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/files/regular_file.h"
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

void screen_failure(const char *cpAction, const std::string &path, int iErrno) {
    write_screen(std::string("glbv() ") + cpAction + ' ' + path + " failed: " + error_text(iErrno) +
                 " (" + std::to_string(iErrno) + ")\n");
}

// The rest of a reply for a failure that nobody expects, and its two reports.
void report_failure(const char *cpAction, const std::string &path, int iErrno, char *value,
                    int iSize) {
    screen_failure(cpAction, path, iErrno);
    text_append(value, iSize, ": " + error_text(iErrno));
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

// What an old value may have to be kept over a failure; a larger file is none of our values.
constexpr off_t kKeptSize = 65536;

// Agents take turns. Whoever may read the variable can hold its lock for good: that costs a call a
// second, once, and no value.
void take_turn(int fd) {
    static bool bInVain = false;
    bInVain = !lock_for_change(fd, bInVain ? 0 : gIniLockPolicy.iReadMsec) || bInVain;
}

// Replaces the value; the old one stays when that fails. Its line feeds are none of the value's, so
// neither are those with which a kill in between would leave it. 0, or the error number.
int replace_value(int fd, const char *value) {
    std::string before;
    struct stat status = {};
    take_turn(fd);
    if (::fstat(fd, &status) != 0) {
        return errno;
    }
    if (status.st_size > kKeptSize ? ::ftruncate(fd, 0) != 0 : !read_to_end(fd, &before)) {
        return errno;
    }
    return rewrite_text(fd, before, value);
}

// What somebody put into the store in place of a file, or what we may only write, takes the value
// as it can.
int write_special(const std::string &path, const char *value) {
    const unique_fd file(::open(path.c_str(), O_WRONLY | O_TRUNC | kGuards));
    return file && write_all(file.get(), value) ? 0 : errno;
}

// 0, or the error number.
int write_value(const std::string &path, const char *value) {
    unique_fd file(::open(path.c_str(), O_RDWR | O_CREAT | kGuards, 0644));
    struct stat status = {};
    if (!file && errno == EACCES) {
        return write_special(path, value);
    }
    if (!file || ::fstat(file.get(), &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        file.reset();
        return write_special(path, value);
    }
    const int iErrno = replace_value(file.get(), value);
    return file.reset() == 0 || iErrno != 0 ? iErrno : errno;
}

void write_variable(const char *name, const std::string &path, char *value) {
    const int iErrno = write_value(path, value);
    if (iErrno == 0) {
        return;
    }
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

// Only regular files hold values: a device might never end. 0, or the error number.
int read_file(int fd, s_VALUE *result) {
    struct stat status = {};
    if (::fstat(fd, &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return 0;
    }
    char block[4096];
    ssize_t got = 0;
    do {
        got = ::read(fd, block, sizeof block);
    } while ((got < 0 && errno == EINTR) ||
             (got > 0 && add_block(result, block, static_cast<std::size_t>(got))));
    return got < 0 ? errno : 0;
}

// Fills *result. 0, or the error number.
int read_value(const std::string &path, s_VALUE *result) {
    const unique_fd file(::open(path.c_str(), O_RDWR | kGuards));
    return file ? read_file(file.get(), result) : errno;
}

// The value is the answer all the same; that it is still there must not stay unknown.
void delete_variable(const char *name, const std::string &path) {
    if (::unlink(path.c_str()) != 0 && errno != ENOENT) {
        const int iErrno = errno;
        screen_failure("delete", path, iErrno);
        PROT("Error: GLBV: ?? GLBV %s cannot be deleted: %s", name, error_text(iErrno).c_str());
    }
}

void read_variable(const char *name, const std::string &path, bool bDelete, char *value) {
    s_VALUE result;
    const int iErrno = read_value(path, &result);
    if (iErrno != 0) {
        reply_not_existing(name, value);
        if (iErrno != ENOENT) {
            report_failure("read", path, iErrno, value, GLBV_VALUE_SIZE);
        }
        return;
    }
    if (result.bRead) {
        text_copy(value, GLBV_VALUE_SIZE, result.szText);
    } else {
        write_screen("glbv() read failed: empty file\n");
        reply_not_existing(name, value);
    }
    if (bDelete) {
        delete_variable(name, path);
    }
}

} // namespace

bool glbv_content(int fd, char *value) {
    s_VALUE result;
    const bool bRead = read_file(fd, &result) == 0 && result.bRead;
    text_copy(value, GLBV_VALUE_SIZE, bRead ? result.szText : "");
    return bRead;
}

bool glbv_file(const char *name, std::string *file) {
    char szDirectory[kDirectorySize];
    const bool bStore = read_directory(szDirectory);
    *file = bStore ? std::string(szDirectory) + name + ".sgv" : szDirectory;
    return bStore;
}

char *glbv(int cFunction, char *name, char *value) {
    std::replace_if(
        name, name + std::strlen(name), [](char c) { return c == '\\' || c == '/'; }, '_');
    std::string path;
    if (!glbv_file(name, &path)) {
        if (cFunction != 'd') {
            reply_no_store(value, path.c_str());
        }
        return value;
    }
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
