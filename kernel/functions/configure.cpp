// The media server's device configuration, see configure.h. The old vns.ini stays in its place
// until the new one is whole: at no moment is the installation without one.
#include "kernel/functions/configure.h"

#include "common/common/owner.h"
#include "common/common/strlib.h"
#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/configuration/glbv.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/files/file.h"
#include "common/unix/files/file_find.h"
#include "common/unix/host/alarm.h"
#include "common/unix/processes/semaphore.h"
#include "common/unix/trace/trace.h"
#include "kernel/request/call.h"
#include "kernel/request/finish.h"
#include "kernel/request/options.h"
#include "kernel/unix_hal/absent.h"
#include "kernel/unix_hal/media_server.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr long kMostDrives = 200;

// A drive as the server describes it.
struct s_DRIVE {
    std::string number;
    std::string device;
    std::string type;
    std::string classOf;
    std::string tapemark;
    int iStreams;
};

// A rewrite of vns.ini under way.
struct s_REWRITE {
    std::string ini;
    std::string tmp;
    unique_file out;
    const char *cpPrefix; // of the sections' names
    std::string rest;     // of the old file, behind the line that begins the tape section
    std::vector<s_DRIVE> drives;
    char *cpMsg;
};

int fail(char *cpMsg) {
    trace_log(&strLog, TRACE_EVENTS, "--- CONFIGURE_VNS_INI   %s ", cpMsg);
    return 1;
}

// The next line of a text without its line feed, which it is taken off.
std::string_view take_line(std::string_view *text) {
    const std::size_t end = std::min(text->find('\n'), text->size());
    const std::string_view line = text->substr(0, end);
    text->remove_prefix(std::min(end + 1, text->size()));
    return line;
}

bool holds(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

// Reads the old file up to its tape section. False with the message.
bool read_old(s_REWRITE *r) {
    const unique_file file(std::fopen(r->ini.c_str(), "re"));
    if (!file) {
        text_print(r->cpMsg, kMessageSize, "Cannot open file %s to read", r->ini.c_str());
        return false;
    }
    std::string old;
    char block[65536];
    for (std::size_t got = 0; (got = std::fread(block, 1, sizeof block, file.get())) > 0;) {
        old.append(block, got);
    }
    if (std::ferror(file.get()) != 0) { // half a file must not become the new one
        text_print(r->cpMsg, kMessageSize, "Cannot open file %s to read", r->ini.c_str());
        return false;
    }
    std::string_view rest = old;
    while (!rest.empty()) {
        const std::string_view line = take_line(&rest);
        if (holds(line, "Tape]")) {
            r->cpPrefix = holds(line, "[VNS_Tape]") ? "VNS_" : "";
            r->rest = rest;
            return true;
        }
    }
    text_print(r->cpMsg, kMessageSize, "no tape section in %s", r->ini.c_str());
    return false;
}

// The next blank-separated word.
std::string take_word(std::string_view *text) {
    text->remove_prefix(std::min(text->find_first_not_of(" \t\r\n"), text->size()));
    const std::size_t end = std::min(text->find_first_of(" \t\r\n"), text->size());
    std::string word(text->substr(0, end));
    text->remove_prefix(end);
    return word;
}

// Six fields, none longer than what the media server takes; what follows them does not count.
bool parse_drive(std::string_view text, s_DRIVE *drive) {
    constexpr std::size_t kWord = 15;
    drive->number = take_word(&text);
    drive->device = take_word(&text);
    drive->type = take_word(&text);
    drive->classOf = take_word(&text);
    drive->tapemark = take_word(&text);
    const std::string streams = take_word(&text);
    const char *begin = streams.c_str() + (streams[0] == '+' ? 1 : 0);
    const char *end = streams.c_str() + streams.size();
    return !streams.empty() && drive->type.size() <= kWord && drive->classOf.size() <= kWord &&
           drive->tapemark.size() <= kWord && !holds(drive->number, "/") &&
           std::from_chars(begin, end, drive->iStreams).ec == std::errc();
}

// Takes the description that the caller has left for drive i. False with the message.
bool read_drive(int i, s_REWRITE *r, s_DRIVE *drive) {
    char szName[64];
    char szValue[GLBV_VALUE_SIZE];
    text_print(szName, "gv_client_c_%d", i);
    glbv('R', szName, szValue);
    if (szValue[0] == '?') {
        text_print(r->cpMsg, kMessageSize,
                   "GLBV %s had not been written by caller, so cannot configure the drive", szName);
        return false;
    }
    trace_log(&strLog, TRACE_EVENTS, "read from gv_client_c_ %d  : %s ", i, szValue);
    if (!parse_drive(szValue, drive)) {
        text_print(r->cpMsg, kMessageSize, "GLBV %s invalid: %s", szName, szValue);
        return false;
    }
    return true;
}

bool is_relative(const std::string &path) {
    return path[0] != '/' && (path.size() < 2 || (path[1] != ':' && path[1] != '\\'));
}

// Where a changeable disk is mounted: a relative path lies under the work directory. Empty when it
// does not fit.
std::string mount_point(const std::string &path) {
    if (!is_relative(path)) {
        return path;
    }
    trace_log(&strLog, TRACE_EVENTS, "use mount point in WORK dir");
    char szPath[256];
    if (!text_print(szPath, "%s/diskmnt/%s", gszRwWork, path.c_str())) {
        return "";
    }
    squeeze(szPath + 1, '/');
    return szPath;
}

// False when the disk's path does not fit.
bool write_disk(int i, const s_DRIVE &drive, std::FILE *out) {
    const std::string name = "disk" + drive.number;
    const bool bChangeable = drive.classOf.size() > 5 && drive.classOf[5] == 'C';
    std::fprintf(out, "Device_Name_%d=%s\n", i, name.c_str());
    const std::string content = bChangeable ? mount_point(drive.device) : "empty";
    if (content.empty()) {
        return false;
    }
    CREATE_DISK_DEVICE_FILE(name.c_str(), content.c_str(), gszRwIni, "0");
    return true;
}

// The device section, while the descriptions are read. False with the message.
bool write_devices(int iDrives, s_REWRITE *r) {
    std::FILE *out = r->out.get();
    trace_log(&strLog, TRACE_EVENTS, "Device section");
    std::fprintf(out, "[%sDevice]\nMaximal_Number_Of_Devices=%d\n", r->cpPrefix, iDrives);
    for (int i = 0; i < iDrives; ++i) {
        s_DRIVE drive = {};
        if (!read_drive(i, r, &drive)) {
            return false;
        }
        if (!holds(drive.classOf, "DISK_")) {
            std::fprintf(out, "Device_Name_%d=%s\n", i, drive.device.c_str());
        } else if (!write_disk(i, drive, out)) {
            text_print(r->cpMsg, kMessageSize, "GLBV gv_client_c_%d invalid: %s", i,
                       drive.device.c_str());
            return false;
        }
        r->drives.push_back(drive);
    }
    for (int i = 0; i < iDrives; ++i) {
        const std::string &type = r->drives[static_cast<std::size_t>(i)].type;
        std::fprintf(out, "Device_Type_%d=%s\n", i, type.c_str());
        trace_log(&strLog, TRACE_EVENTS, " Device_Type_%d=%s ", i, type.c_str());
    }
    return true;
}

void write_tapes(const s_REWRITE &r) {
    std::FILE *out = r.out.get();
    trace_log(&strLog, TRACE_EVENTS, "Disk section [Disk]Directory= %s ", gszRwIni);
    std::fprintf(out, "\n[%sDisk]\nDirectory=%s\n", r.cpPrefix, gszRwIni);
    trace_log(&strLog, TRACE_EVENTS, "Tape section");
    std::fprintf(out, "\n[%sTape]\n", r.cpPrefix);
    int i = 0;
    for (const s_DRIVE &drive : r.drives) {
        std::fprintf(out, "Tapemark_Type_%d=%s\n", i, drive.tapemark.c_str());
        trace_log(&strLog, TRACE_EVENTS, "    Tapemark_Type_%d=%s ", i, drive.tapemark.c_str());
        VNS_SHUTDOWN(i);
        ++i;
    }
}

void write_streams(const s_REWRITE &r) {
    int i = 0;
    for (const s_DRIVE &drive : r.drives) {
        std::fprintf(r.out.get(), "Maximal_Number_Of_Parallel_Streams_%d=%d\n", i++,
                     drive.iStreams);
    }
}

// The rest of the old file, but for what describes the drives.
void write_rest(const s_REWRITE &r) {
    trace_log(&strLog, TRACE_EVENTS, "write remaining file");
    bool bStreams = false;
    std::string_view rest = r.rest;
    while (!rest.empty()) {
        const std::string_view line = take_line(&rest);
        if (holds(line, "Tapemark_Type")) {
            continue;
        }
        if (!holds(line, "Maximal_Number_Of_Parallel_Streams")) {
            std::fwrite(line.data(), 1, line.size(), r.out.get());
            std::fputc('\n', r.out.get());
        } else if (!bStreams) {
            bStreams = true;
            write_streams(r);
        }
    }
}

// Closes the new file. False with the message when it is not whole.
bool close_new(s_REWRITE *r) {
    const bool bWritten = std::fflush(r->out.get()) == 0;
    int iErrno = bWritten ? 0 : errno;
    if (iErrno == 0 && std::ferror(r->out.get()) != 0) {
        iErrno = EIO; // an earlier write failed, its reason is gone
    }
    if (std::fclose(r->out.release()) != 0 && iErrno == 0) {
        iErrno = errno;
    }
    if (iErrno == 0) {
        return true;
    }
    errno = iErrno;
    i_FILE_CLOSE(iErrno);
    text_print(r->cpMsg, kMessageSize, "Cannot write file %s: %s", r->tmp.c_str(),
               error_text(iErrno).c_str());
    return false;
}

void sync_file(const char *cpFile) {
    const unique_fd file(::open(cpFile, O_RDONLY | O_NOCTTY | O_CLOEXEC));
    if (file) {
        ::fsync(file.get());
    }
}

// Gives the new file the mode, and as far as that is allowed the owner, of the old one.
void keep_owner(const char *cpOld, const char *cpNew) {
    struct stat status = {};
    if (::stat(cpOld, &status) == 0) {
        [[maybe_unused]] const int iOwner = ::chown(cpNew, status.st_uid, status.st_gid);
        ::chmod(cpNew, status.st_mode & 07777);
    }
}

// Puts the new file in the place of the old one: a copy beside it takes the name in one step. False
// with the message.
bool replace_old(s_REWRITE *r) {
    trace_log(&strLog, TRACE_EVENTS, "update file  %s  ->  %s ", r->tmp.c_str(), r->ini.c_str());
    const std::string fresh = r->ini + ".new";
    int iResult = file_copy(r->tmp.c_str(), fresh.c_str());
    keep_owner(r->ini.c_str(), fresh.c_str());
    sync_file(fresh.c_str()); // the name must not reach the disk before the content
    if (iResult == 0 && std::rename(fresh.c_str(), r->ini.c_str()) != 0) {
        iResult = errno;
    }
    if (iResult != 0) {
        std::remove(fresh.c_str());
        text_print(r->cpMsg, kMessageSize, "Error during copy %s to %s (%d)", r->tmp.c_str(),
                   r->ini.c_str(), iResult);
        return false;
    }
    std::remove(r->tmp.c_str());
    return true;
}

// The rewrite, under the lock. False with the message.
bool rewrite(int iDrives, s_REWRITE *r) {
    if (!read_old(r)) {
        return false;
    }
    i_FILE_DELETE((std::string(gszRwIni) + "disk*").c_str(), strLog);
    r->out.reset(std::fopen(r->tmp.c_str(), "we"));
    if (!r->out) {
        text_print(r->cpMsg, kMessageSize, "Cannot open file %s to write", r->tmp.c_str());
        return false;
    }
    if (!write_devices(iDrives, r)) {
        return false;
    }
    write_tapes(*r);
    write_rest(*r);
    return close_new(r) && replace_old(r);
}

} // namespace

void v_CONFIGURE(s_CALL *) {
    char szMsg[kMessageSize] = "";
    const int iSts = i_CONFIGURE_VNS_INI(gszOpt_d, szMsg);
    FINISH(iSts, szMsg);
}

int i_CONFIGURE_VNS_INI(const char *cpDrives, char *cpMsg) {
    trace_log(&strLog, TRACE_EVENTS, "+++ CONFIGURE_VNS_INI   %s ", cpDrives);
    const long lDrives = std::strtol(cpDrives, nullptr, 10);
    if (lDrives == 0) {
        text_copy(cpMsg, kMessageSize, "there no drives to configure");
        trace_log(&strLog, TRACE_EVENTS, "--- CONFIGURE_VNS_INI  ");
        return 0;
    }
    if (lDrives < 0 || lDrives > kMostDrives) {
        text_print(cpMsg, kMessageSize, "invalid number of drives: %s", cpDrives);
        return fail(cpMsg);
    }
    static SCT_SEMA lock; // a failure leaves it to the end of the process
    text_copy(lock.szSema, "ctrl_conf_vns");
    text_copy(lock.szCaller, "CONFIGURE_VNS_INI");
    if (i_SEMA('+', &lock, strLog) != SEMA_SUCCESS) {
        text_copy(cpMsg, kMessageSize, lock.szMsg);
        return fail(cpMsg);
    }
    const int iDrives = static_cast<int>(lDrives);
    s_REWRITE r = {};
    r.ini = std::string(gszRwIni) + "vns.ini";
    r.tmp = std::string(gszRwIni) + "vns.tmp";
    r.cpMsg = cpMsg;
    if (!rewrite(iDrives, &r)) {
        return fail(cpMsg);
    }
    trace_log(&strLog, TRACE_EVENTS, "restart VNS");
    i_CHECK_VNS(2, strLog);
    text_print(cpMsg, kMessageSize, "Configured %d VNS-drives", iDrives);
    trace_log(&strLog, TRACE_EVENTS, "--- CONFIGURE_VNS_INI  ");
    i_SEMA('-', &lock, strLog);
    return 0;
}

void CREATE_DISK_DEVICE_FILE(const char *name, const char *content, const char *directory,
                             const char *second) {
    trace_log(&strLog, TRACE_EVENTS, "+++ CREATE_DISK_DEVICE_FILE  %s  %s  %s ", name, content,
              directory);
    const std::string path = std::string(directory) + name;
    if (std::strcmp(content, "empty") == 0 && file_exist(path.c_str()) == 1) {
        trace_log(&strLog, TRACE_EVENTS, " Don't overwrite DISK_HARD %s with \"empty\" ", name);
        trace_log(&strLog, TRACE_EVENTS, "--- CREATE_DISK_DEVICE_FILE: DISK_HARD %s exists", name);
        return;
    }
    std::FILE *file = std::fopen(path.c_str(), "we");
    if (file == nullptr) {
        trace_log(&strLog, TRACE_EVENTS, "--- CREATE_DISK_DEVICE_FILE failed opening %s  to write",
                  path.c_str());
        return;
    }
    std::fprintf(file, "%s\n%s\n", content, second);
    if (std::fclose(file) != 0) {
        i_FILE_CLOSE(errno);
    }
    trace_log(&strLog, TRACE_EVENTS, "--- CREATE_DISK_DEVICE_FILE created %s ", path.c_str());
}
