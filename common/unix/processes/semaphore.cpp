// Named semaphores, see semaphore.h. Most steps go on after a failure, and a later failure
// replaces the code and the message of an earlier one.
#include "common/unix/processes/semaphore.h"

#include "common/common/cm_message.h"
#include "common/common/text.h"
#include "common/unix/configuration/reference.h"
#include "common/unix/files/append.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/processes/process.h"
#include "common/unix/trace/trace.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char kVersion[] = "cm_semaphore " VN_VERSION;
constexpr int kPathSize = 576; // bytes of a lock file's path

// A holder writes who it is right behind the grant of its lock: how often, and after which pause,
// an inquiry that finds the file empty looks again.
constexpr int kHolderLooks = 20;
constexpr int kHolderPauseMsec = 5;

const char *code_name(int eState) {
    constexpr const char *kNames[] = {"SUCCESS", "WARNING", "ERROR", "FATAL"};
    return eState >= SEMA_SUCCESS && eState <= SEMA_FATAL ? kNames[eState] : "?";
}

int own_pid() {
    return static_cast<int>(getpid());
}

// Puts "<cpWhat>: (<number>) <text>" of errno into the message. Returns eState.
int failure(SCT_SEMA *pS, int eState, const char *cpWhat) {
    const int iErrno = errno;
    text_print(pS->szMsg, "%s: (%d) %s", cpWhat, iErrno, error_text(iErrno).c_str());
    return eState;
}

// Locks the whole file for this process; waits for it with F_SETLKW.
bool lock_file(int fd, int iCommand) {
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    int iSts = 0;
    do {
        iSts = ::fcntl(fd, iCommand, &lock);
    } while (iSts != 0 && errno == EINTR);
    return iSts == 0;
}

// True when the lock just asked for is another process's.
bool is_held_elsewhere() {
    return errno == EACCES || errno == EAGAIN;
}

// The lock file for an inquiry.
int open_inquiry(const char *cpSemaFile) {
    return ::open(cpSemaFile, O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

// The file's content, at most 512 bytes.
std::string content_of(int fd) {
    char szContent[513];
    ssize_t got = 0;
    do {
        got = ::pread(fd, szContent, sizeof szContent - 1, 0);
    } while (got < 0 && errno == EINTR);
    szContent[got < 0 ? 0 : got] = '\0';
    return szContent;
}

// Makes who the file names the message.
void show_holder(const std::string &holder, SCT_SEMA *pS) {
    if (!holder.empty()) {
        text_copy(pS->szMsg, holder);
        trace_at(TRACE_DETAILS, "[%6d] got (%d): %s", own_pid(), static_cast<int>(holder.size()),
                 holder.c_str());
    }
}

// What became of the holder that the file names, now that the inquiry has the lock.
int inquire_free(int fd, const std::string &holder, SCT_SEMA *pS) {
    if (holder.empty()) {
        return SEMA_SUCCESS;
    }
    text_print(pS->szMsg, "holding process %s for semaphore %s disappeared", holder.c_str(),
               pS->szSema);
    return ::ftruncate(fd, 0) == 0 ? int{SEMA_SUCCESS}
                                   : failure(pS, SEMA_FATAL, "failed to truncate lock file");
}

// The lock is another process's, which the file names, or will in a moment, unless it is that of a
// holder that was about to let go of it.
int inquire_locked(int fd, std::string holder, SCT_SEMA *pS) {
    const int iErrno = errno;
    for (int iLook = 0; holder.empty() && iLook < kHolderLooks; ++iLook) {
        wait_msec(kHolderPauseMsec);
        holder = content_of(fd);
        show_holder(holder, pS);
        if (holder.empty() && lock_file(fd, F_SETLK)) {
            return inquire_free(fd, holder, pS);
        }
    }
    if (holder.empty()) {
        errno = iErrno;
        return failure(pS, SEMA_ERROR, "failed to try to set lock on lock file");
    }
    trace_at(TRACE_DETAILS, "[%6d] %s still locked by concurrent process %s", own_pid(), pS->szSema,
             holder.c_str());
    return SEMA_WARNING;
}

// Whether the semaphore is held, and by whom.
int inquire(const char *cpSemaFile, SCT_SEMA *pS) {
    text_print(pS->szMsg, "semaphore %s is free", pS->szSema);
    trace_at(TRACE_DETAILS, "[%6d] open semaphore file %s", own_pid(), cpSemaFile);
    const unique_fd file(open_inquiry(cpSemaFile));
    if (!file && errno == ENOENT) {
        trace_at(TRACE_DETAILS, "[%6d] semaphore file %s does not exist", own_pid(), cpSemaFile);
        return SEMA_SUCCESS;
    }
    if (!file) {
        const std::string what = std::string("failed to open semaphore file [") + cpSemaFile + "]";
        return failure(pS, SEMA_ERROR, what.c_str());
    }
    const std::string holder = content_of(file.get());
    show_holder(holder, pS);
    trace_at(TRACE_DETAILS, "[%6d] try to inquire lock state requested by %s", own_pid(),
             pS->szCaller);
    if (lock_file(file.get(), F_SETLK)) {
        return inquire_free(file.get(), holder, pS);
    }
    if (is_held_elsewhere()) {
        return inquire_locked(file.get(), holder, pS);
    }
    return failure(pS, SEMA_ERROR, "error in file lock with fcntl");
}

int open_lock_file(const char *cpSemaFile) {
    return ::open(cpSemaFile, O_WRONLY | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0644);
}

// Opens the lock file, once more when its directory was missing and "/tmp", which is all that may
// be made for it, could be made. The descriptor is -1 when the semaphore cannot be had.
int open_for_taking(const char *cpSemaFile, SCT_SEMA *pS, unique_fd *file) {
    constexpr char kDirectory[] = "/tmp";
    trace_at(TRACE_DETAILS, "[%6d] open lock file %s", own_pid(), cpSemaFile);
    file->reset(open_lock_file(cpSemaFile));
    if (lift_descriptor(file)) {
        return SEMA_SUCCESS;
    }
    if (errno != ENOENT) {
        return failure(pS, SEMA_FATAL, "failed to open lock file");
    }
    const int eState = failure(pS, SEMA_WARNING, "failed to open lock file");
    trace_at(TRACE_DETAILS, "try to create directory %s", kDirectory);
    if (::mkdir(kDirectory, 0775) != 0) {
        return eState;
    }
    file->reset(open_lock_file(cpSemaFile));
    if (lift_descriptor(file)) {
        text_copy(pS->szMsg, "");
        return SEMA_SUCCESS;
    }
    const std::string what =
        std::string("directory ") + kDirectory + " created >> retry creation of lock file failed";
    return failure(pS, SEMA_WARNING, what.c_str());
}

// A lock that "*" did not get: tells who holds it.
int occupied(const char *cpSemaFile, SCT_SEMA *pS) {
    if (inquire(cpSemaFile, pS) == SEMA_WARNING) {
        const std::string holder = pS->szMsg;
        text_print(pS->szMsg, "another process %s is holding semaphore %s", holder.c_str(),
                   pS->szSema);
    } else {
        text_copy(pS->szMsg, "semaphore is occupied by another process");
    }
    return SEMA_WARNING;
}

// Writes who holds the lock into its file.
int write_holder(int fd, SCT_SEMA *pS) {
    int eState = SEMA_SUCCESS;
    if (::ftruncate(fd, 0) != 0) {
        eState = failure(pS, SEMA_FATAL, "failed to truncate lock file");
    }
    const std::string holder = std::to_string(own_pid()) + ' ' + pS->szCaller;
    if (!write_all(fd, holder)) {
        eState = failure(pS, SEMA_FATAL, "writing pid into lock file failed");
    }
    return eState;
}

// Started programs must not inherit the lock's descriptor.
int close_on_exec(int fd, SCT_SEMA *pS) {
    const int iFlags = ::fcntl(fd, F_GETFD);
    if (iFlags < 0) {
        return failure(pS, SEMA_ERROR, "fcntl with F_GETFD failed");
    }
    if (::fcntl(fd, F_SETFD, iFlags | FD_CLOEXEC) != 0) {
        return failure(pS, SEMA_ERROR, "fcntl with F_SETFD failed");
    }
    return SEMA_SUCCESS;
}

// Asks for the lock: "*" does not wait for it. SEMA_SUCCESS when it is granted.
int lock_semaphore(char cFunction, const char *cpSemaFile, int fd, SCT_SEMA *pS) {
    if (lock_file(fd, cFunction == '*' ? F_SETLK : F_SETLKW)) {
        return SEMA_SUCCESS;
    }
    if (cFunction == '*' && is_held_elsewhere()) {
        return occupied(cpSemaFile, pS);
    }
    return failure(pS, SEMA_FATAL, "file lock with fcntl() failed");
}

int take(char cFunction, const char *cpSemaFile, SCT_SEMA *pS) {
    if (pS->hSema > 0) { // closing a second descriptor would drop the lock
        return lock_semaphore(cFunction, cpSemaFile, pS->hSema, pS);
    }
    unique_fd file;
    int eState = open_for_taking(cpSemaFile, pS, &file);
    if (!file) {
        return eState;
    }
    eState = lock_semaphore(cFunction, cpSemaFile, file.get(), pS);
    if (eState != SEMA_SUCCESS) {
        return eState;
    }
    eState = write_holder(file.get(), pS);
    const int eFlag = close_on_exec(file.get(), pS);
    eState = eFlag == SEMA_SUCCESS ? eState : eFlag;
    pS->hSema = file.release();
    trace_at(TRACE_DETAILS, "[%6d] got exclusive lock for %s", own_pid(), cpSemaFile);
    return eState;
}

int release_held(SCT_SEMA *pS) {
    int eState = SEMA_SUCCESS;
    unique_fd file(pS->hSema);
    if (::ftruncate(file.get(), 0) != 0) {
        eState = failure(pS, SEMA_FATAL, "failed to truncate lock file");
    }
    if (file.reset() != 0) {
        eState = failure(pS, SEMA_ERROR, "couldn't close semaphore file");
    }
    return eState;
}

int release(const char *cpSemaFile, SCT_SEMA *pS) {
    int eState = SEMA_SUCCESS;
    if (pS->hSema > 0) {
        eState = release_held(pS);
    } else if (inquire(cpSemaFile, pS) == SEMA_WARNING) {
        const std::string holder = pS->szMsg;
        text_print(pS->szMsg,
                   "could not reset semaphore bcs. another process %s is holding semaphore %s",
                   holder.c_str(), pS->szSema);
        eState = SEMA_WARNING;
    } else {
        trace_at(TRACE_DETAILS, "[%6d] - %s", own_pid(), pS->szMsg);
    }
    trace_at(TRACE_DETAILS, "[%6d] - reset", own_pid());
    pS->hSema = 0;
    return eState;
}

// The semaphore's lock file. False with a message when its path does not fit: cut, it would be
// another file's.
bool find_lock_file(SCT_SEMA *pS, char (&szFile)[kPathSize]) {
    char szName[64];
    text_print(szName, "gv_rw_work:sem/%s.sem", pS->szSema);
    if (resolve_whole(szName, szFile, kPathSize, REFERENCE_PATHES)) {
        return true;
    }
    text_print(pS->szMsg, "path of lock file is too long: %s", szFile);
    return false;
}

// Takes or releases the semaphore that lets one process inquire at a time: another inquiry would be
// taken for the holder.
void lock_inquiries(char cFunction, SCT_SEMA *inquiry) {
    char szFile[kPathSize];
    if (find_lock_file(inquiry, szFile)) {
        x_Semaphore(cFunction, szFile, inquiry);
    }
}

} // namespace

int x_Semaphore(char cFunction, const char *cpSemaFile, SCT_SEMA *pS) {
    static bool bVersionTraced = false;
    if (!bVersionTraced) {
        bVersionTraced = true;
        trace_at(TRACE_DETAILS, "%s", kVersion);
    }
    trace_at(TRACE_DETAILS, "+++ x_Semaphore [%6d] %c %s", own_pid(), cFunction, cpSemaFile);
    text_copy(pS->szMsg, "");
    int eState = SEMA_ERROR;
    switch (cFunction) {
    case '*':
    case '+':
    case 'S':
        eState = take(cFunction, cpSemaFile, pS);
        break;
    case '-':
    case 'R':
        eState = release(cpSemaFile, pS);
        break;
    case '?':
        eState = inquire(cpSemaFile, pS);
        break;
    default:
        text_print(pS->szMsg, "error: invalid argument %c", cFunction);
        break;
    }
    trace_at(TRACE_DETAILS, "--- x_Semaphore [%6d] %c returns: %d (%s): %s", own_pid(), cFunction,
             eState, code_name(eState), pS->szMsg);
    return eState;
}

int i_SEMA(char cFunction, SCT_SEMA *pS, str_log strLog) {
    trace_log(&strLog, TRACE_EVENTS, "+++ SEMA [%6d] %c %s", own_pid(), cFunction, pS->szSema);
    char szFile[kPathSize];
    const bool bFile = find_lock_file(pS, szFile);
    trace_log(&strLog, TRACE_DETAILS, "sema file name: '%s'", szFile);
    SCT_SEMA inquiry = {};
    text_print(inquiry.szSema, "inq_%s", pS->szSema);
    text_copy(inquiry.szCaller, pS->szCaller);
    if (cFunction == '?') {
        lock_inquiries('+', &inquiry);
    }
    const int eState = bFile ? x_Semaphore(cFunction, szFile, pS) : int{SEMA_ERROR};
    if (eState == SEMA_ERROR || eState == SEMA_FATAL) {
        log_error(eState, cFunction, pS, strLog);
    }
    if (cFunction == '?') {
        lock_inquiries('-', &inquiry);
    }
    trace_log(&strLog, TRACE_EVENTS, "--- SEMA [%6d] %c returns: %d (%s): %s", own_pid(), cFunction,
              eState, code_name(eState), pS->szMsg);
    return eState;
}

void log_error(int eState, char cFunction, SCT_SEMA *pS, str_log strLog) {
    trace_log(&strLog, TRACE_EVENTS, "--- SEMA: [%6d] i_SEMA( %c, %s, %s) returned %s: %s",
              own_pid(), cFunction, pS->szSema, pS->szCaller, code_name(eState), pS->szMsg);
    if (eState == SEMA_FATAL) {
        std::printf("STATUS=%s MSG=Operation '%c' for semaphore [%s] with caller [%s] failed with: "
                    "%s\n",
                    "FATAL", cFunction, pS->szSema, pS->szCaller, pS->szMsg);
    }
}
