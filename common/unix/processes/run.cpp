// Running other programs, see run.h. The shell path and the direct path tell a failed start
// differently (errno + 160 in the exit code, errno + 128 in the raw status): callers know both.
#include "common/unix/processes/run.h"

#include "common/common/cm_message.h"
#include "common/common/strlib.h"
#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/configuration/environment.h"
#include "common/unix/configuration/glbv.h"
#include "common/unix/configuration/reference.h"
#include "common/unix/files/append.h"
#include "common/unix/processes/child.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace {

constexpr int kSubjectSize = 1024;
constexpr int kShellOffset = 160; // a shell that cannot be started exits with errno + 160
constexpr int kExeOffset = 128;   // a program that cannot be started exits with errno + 128
constexpr int kLostStatus =
    127; // of a child that could not be waited for: how it ended is not known

// 0 when the program came to its end by itself, the signal that ended it, 127 when it only stopped
// or was lost: what a wait status holds in its low seven bits.
int signal_bits(int iStatus) {
    if (WIFEXITED(iStatus)) {
        return 0;
    }
    return WIFSIGNALED(iStatus) ? WTERMSIG(iStatus) : 127;
}

bool exists(const char *cpFile) {
    struct stat status = {};
    return ::stat(cpFile, &status) == 0;
}

// Reports an abnormal end for the command in the trace and in the protocol.
void report(const char *cpSubject, const char *cpFormat, ...) __attribute__((format(printf, 2, 3)));
void report(const char *cpSubject, const char *cpFormat, ...) {
    char szText[kMessageSize];
    va_list arguments;
    va_start(arguments, cpFormat);
    text_vprint(szText, sizeof szText, cpFormat, arguments);
    va_end(arguments);
    trace_at(TRACE_EVENTS, "%s: %s", cpSubject, szText);
    v_PROT_COMMAND_ERROR(cpSubject, szText);
}

// A program that a signal ended, directly or as its shell tells.
void report_killed_program(const char *cpSubject, int iSignal) {
    std::fprintf(stderr, "exe terminated due to the receipt of a signal that was not caught: %d\n",
                 iSignal);
    report(cpSubject,
           by_language("terminated due to receipt of a signal that was not caught: %d",
                       "durch ein nicht abgefangenes Signal beendet: %d",
                       "vo am Signal daschlong worn: %d"),
           iSignal);
}

void report_not_started(const char *cpWho, const char *cpSubject, int iErrno) {
    errno = iErrno;
    std::fprintf(stderr, "%s: %s (%d)\n", cpWho, std::strerror(iErrno), iErrno);
    report(cpSubject,
           by_language("could not start: %s", "konnte nicht gestartet werden: %s",
                       "hod net startn kenna: %s"),
           error_text(iErrno).c_str());
}

void report_not_found(const char *cpSubject) {
    const std::string error = error_text(ENOENT);
    std::fprintf(stderr, "start_system: please check: %s (%d)\n", error.c_str(), ENOENT);
    char szText[kMessageSize];
    text_print(szText,
               by_language("could not start (ENOENT): %s",
                           "konnte nicht gestartet werden (ENOENT): %s",
                           "hod net startn kenna (ENOENT): %s"),
               error.c_str());
    report(cpSubject, "%s", szText);
    std::fprintf(stderr, "start_system: [%s]\n", szText);
}

// In the child: tells why the program did not start and ends with errno + iOffset.
[[noreturn]] void end_unstarted(const char *cpWho, int iOffset) {
    const int iErrno = errno;
    char szText[kMessageSize];
    text_print(szText, "%s (child): %s (%d)\n", cpWho, std::strerror(iErrno), iErrno);
    write_all(STDERR_FILENO, szText);
    ::_exit(iErrno + iOffset);
}

void report_no_child(const char *cpWho, const char *cpSubject, int *piStatus) {
    const int iErrno = errno;
    const std::string error = error_text(iErrno);
    std::fprintf(stderr, "%s: no child to wait for! %s (errno=%d)\n", cpWho, error.c_str(), iErrno);
    report(cpSubject,
           by_language("no child to wait for: %s", "kein Kindprozess zum Warten: %s",
                       "koa Kind zum Wartn do: %s"),
           error.c_str());
    if (*piStatus == 0) {
        *piStatus = kLostStatus;
    }
}

void inspect_shell_status(const char *cpSubject, int iStatus) {
    const int iSignal = signal_bits(iStatus);
    const int iCode = exit_code(iStatus);
    if (iSignal != 0) {
        std::fprintf(stderr, "/bin/sh terminated abnormally %d...\n", 0);
        report(cpSubject, by_language("/bin/sh terminated abnormally",
                                      "/bin/sh wurde abnormal beendet", "/bin/sh hot's zrissn"));
    }
    if (iSignal >= 1 && iSignal <= 126) {
        std::fprintf(stderr,
                     "/bin/sh terminated due to the receipt of a signal that was not caught: %d\n",
                     iSignal);
        report(cpSubject,
               by_language("/bin/sh terminated due to receipt of a signal that was not caught: %d",
                           "/bin/sh wurde durch ein nicht abgefangenes Signal beendet: %d",
                           "/bin/sh is vo am Signal daschlong worn: %d"),
               iSignal);
    }
    if (iCode >= 128 && iCode <= kShellOffset) { // the shell's word for a killed program
        report_killed_program(cpSubject, iCode - 128);
    }
    if (iCode > kShellOffset) {
        std::fprintf(stderr, "exe could not start!\n");
        report_not_started("start_system", cpSubject, iCode - kShellOffset);
    }
    if (iCode == 127) { // the shell's word for a program that it did not find
        report_not_found(cpSubject);
    }
}

void inspect_exe_status(const char *cpSubject, const char *cpFile, int iStatus) {
    const int iSignal = signal_bits(iStatus);
    const int iCode = exit_code(iStatus);
    if (iSignal != 0) {
        std::fprintf(stderr, "exe terminated abnormally %d...\n", 0);
        report(cpSubject,
               by_language("exe terminated abnormally", "Programm wurde abnormal beendet",
                           "s'Programm hot's zrissn"));
    }
    if (iSignal >= 1 && iSignal <= 126) {
        report_killed_program(cpSubject, iSignal);
    }
    if (iCode > kExeOffset) {
        std::fprintf(stderr, "exe %s could not start!\n", cpFile);
        report_not_started("start_exe", cpSubject, iCode - kExeOffset);
    }
}

void report_no_process(const char *cpSubject) {
    const int iErrno = errno;
    const std::string error = error_text(iErrno);
    std::fprintf(stderr, "start_exe Unable to fork child process: %s (errno=%d)\n", error.c_str(),
                 iErrno);
    report(cpSubject,
           by_language("unable to fork child process: %s",
                       "Kindprozess konnte nicht erzeugt werden: %s",
                       "koa Kind net zammbracht: %s"),
           error.c_str());
}

} // namespace

void v_PROT_COMMAND_ERROR(const char *cpSubject, const char *cpText) {
    PROT(by_language("E008-BASICS  Error in command execution %s: %s",
                     "E008-BASICS  Fehler bei Kommandoausfuehrung %s: %s",
                     "E008-BASICS  Fälla beim Ausfian vom Kommando %s: %s"),
         cpSubject, cpText);
}

int i_cm_system(const char *cpCmd) {
    int iStatus = 0;
    return i_cm_system_status(cpCmd, &iStatus);
}

int i_cm_system_status(const char *cpCmd, int *piStatus) {
    *piStatus = 0;
    i_setenv_vorna(cpCmd);
    if (cpCmd == nullptr) {
        return 1;
    }
    char szSubject[kSubjectSize];
    text_print(szSubject, "Error: start_system: %s", cpCmd);
    std::fflush(stdout); // what was printed comes before what the command prints
    const pid_t child = ::fork();
    if (child < 0) {
        return -1;
    }
    if (child == 0) {
        const char *const argv[] = {"sh", "-c", cpCmd, nullptr};
        ::execve("/bin/sh", const_cast<char *const *>(argv), environ);
        end_unstarted("start_system", kShellOffset);
    }
    const bool bLost = !wait_for_child(child, piStatus, WUNTRACED);
    if (bLost) {
        report_no_child("start_system", szSubject, piStatus);
    }
    inspect_shell_status(szSubject, *piStatus);
    return bLost ? kLostStatus : exit_code(*piStatus);
}

int i_cm_system_state(const char *cpCmd) {
    int iStatus = 0;
    const int iResult = i_cm_system_status(cpCmd, &iStatus);
    return iResult == 0 ? exit_state(iStatus) : iResult;
}

int start_system(const char *cpCmd) {
    return i_cm_system(cpCmd);
}

int start_proc(const char *cpCmd) {
    if (cpCmd == nullptr) {
        return i_cm_system(cpCmd);
    }
    char szProgram[768];
    if (str_elem(0, ' ', cpCmd, szProgram) != 1) {
        return -3;
    }
    if (!exists(szProgram)) {
        char szName[] = "gv_ro_bin";
        char szDirectory[GLBV_VALUE_SIZE];
        glbv('r', szName, szDirectory);
        if (!exists((std::string(szDirectory) + szProgram).c_str())) {
            return -3;
        }
    }
    return i_cm_system(cpCmd);
}

int i_cm_execvp(const char *cpFile, char **argv) {
    const int iStatus = i_cm_execvp_status(cpFile, argv);
    if (iStatus == -1) {
        std::exit(1);
    }
    return iStatus;
}

int i_cm_execvp_status(const char *cpFile, char **argv) {
    char szProgram[512];
    text_copy(szProgram, cpFile);
    if (i_setenv_vorna(szProgram) != 1) {
        std::fprintf(stderr, "error occured in i_setenv_vorna\n");
        return kNotPrepared;
    }
    char szSubject[kSubjectSize];
    text_print(szSubject, "Error: start_exe: %s", cpFile);
    std::fflush(stdout);
    const pid_t child = ::fork();
    if (child < 0) {
        report_no_process(szSubject);
        return -1;
    }
    if (child == 0) {
        ::execvp(cpFile, argv);
        end_unstarted("start_exe", kExeOffset);
    }
    int iStatus = 0;
    if (!wait_for_child(child, &iStatus)) {
        report_no_child("start_exe", szSubject, &iStatus);
        return iStatus;
    }
    inspect_exe_status(szSubject, cpFile, iStatus);
    return iStatus;
}

int bSetInterpreter(const char *cpCmd, int) {
    trace_at(TRACE_DETAILS, "bSetInterpreter: got [%s]", cpCmd);
    char szProgram[24576];
    text_print(szProgram, "gv_ro_bin:%.*s", static_cast<int>(std::strcspn(cpCmd, " ")), cpCmd);
    resolve_path(szProgram, sizeof szProgram);
    return exists(szProgram) ? 1 : 0;
}

int bIsFileExecutable(const char *cpFile, char *cpMsg, int iLen) {
    const bool bExists = exists(cpFile);
    text_print(cpMsg, iLen, "%s %s", cpFile, bExists ? "is existing" : "not found");
    return bExists ? 1 : 0;
}
