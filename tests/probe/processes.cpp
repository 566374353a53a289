// Programs, pipes and semaphores.
#include "tests/probe/probe.h"

#include "common/common/text.h"
#include "common/unix/cm_hal_pipe.h"
#include "common/unix/cm_hal_unix.h"
#include "common/unix/cm_semaphore.h"
#include "common/unix/processes/child.h"

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <map>
#include <sys/wait.h>
#include <unistd.h>

namespace vn_probe {
namespace {

// What was printed before ("system ") has to come before what the command prints.
void run_system(Words &words) {
    const char *command = words.text();
    std::printf("system ");
    const int code = i_cm_system(command);
    std::fprintf(stderr, "%.15s: %d\n", command, code);
}

void run_exec(Words &words) {
    char *arguments[] = {words.text(), words.text_or(nullptr), words.text_or(nullptr), nullptr};
    std::printf("exec ");
    std::fprintf(stderr, "%s: %d\n", arguments[0], i_cm_execvp(arguments[0], arguments));
}

void run_status(Words &words) {
    while (words.more()) {
        const int status = static_cast<int>(words.number());
        std::printf("%d: %d %d %d %d %s %s\n", status, exit_state(status), exit_code(status),
                    ending_signal(status), end_signal(status), ended_well(status) ? "well" : "bad",
                    exit_text(status).c_str());
    }
}

void run_parent(Words &words) {
    Buffer info = buffer(static_cast<size_t>(words.number()), "old");
    const int result = get_parent_info(info.data(), static_cast<int>(info.size()));
    std::printf("%d [%s]\n", result, info.data());
}

void run_executable(Words &words) {
    const char *file = words.text();
    Buffer text = buffer(static_cast<size_t>(words.number()));
    const int result = bIsFileExecutable(file, text.data(), static_cast<int>(text.size()));
    std::printf("%d [%s]\n", result, text.data());
}

DB_PROC_PIP thePipe;

// MODE COMMAND [FILE for its input [wait until it has ended]]
void run_pipe_open(Words &words) {
    const char *mode = words.text(), *command = words.text();
    const std::string file = words.text_or(const_cast<char *>(""));
    Buffer text = buffer(80, "old");
    std::printf("open ");
    const int result =
        file.empty() ? iPIPE_OPEN(command, mode, text.data(), 80, &thePipe)
                     : iPIPE_OPEN_STDIN(command, mode, file.c_str(), text.data(), 80, &thePipe);
    std::printf("%d [%s] %d\n", result, text.data(), thePipe.ifdOut > 2);
    if (words.more()) {
        siginfo_t info;
        waitid(P_PID, static_cast<id_t>(thePipe.iChildPid), &info, WEXITED | WNOWAIT);
    }
}

// One call of a reader with a buffer of what it may fill; adds the line or piece with ";", or "."
// for the end.
int read_one(bool error, size_t max, std::string &text) {
    Buffer line = buffer(max + 1);
    const int result =
        (error ? iPIPE_READ_STDERR : iPIPE_READ)(&thePipe, line.data(), static_cast<int>(max));
    text += line.data() + std::string(result == 1 ? ";" : result == 0 ? "." : "");
    return result;
}

// "out" or "err", how long a line may be, and how often it is read.
void run_pipe_read(Words &words) {
    const bool error = *words.text() == 'e';
    const auto max = static_cast<size_t>(words.number());
    for (long i = words.number_or(1); i > 0; i--) {
        std::string text;
        const int result = read_one(error, max, text);
        std::printf("read %d [%s]\n", result, text.c_str());
    }
}

// All that the child still gives, in pieces of a length: "<output> <errors> <exit code>".
void run_pipe_rest(Words &words) {
    const auto max = static_cast<size_t>(words.number());
    std::string text[2];
    while (thePipe.iMax_read != 0) {
        for (const int error : {0, 1}) {
            if (FD_ISSET(error ? thePipe.ifdErr : thePipe.ifdOut, &thePipe.fdset_read)) {
                read_one(error, max, text[error]);
            }
        }
    }
    std::printf("%s %s %d\n", text[0].c_str(), text[1].c_str(), iPIPE_CLOSE(&thePipe));
}

// "stdin", "out" or "err": a handle with a descriptor that is none.
void run_pipe_break(Words &words) {
    const std::string which = words.text();
    thePipe.iFdOldStdin = which == "stdin" ? 999 : 0;
    thePipe.ifdOut = which == "out" ? 998 : thePipe.ifdOut;
    if (which == "err") {
        close(thePipe.ifdErr);
    }
}

std::map<std::string, SCT_SEMA> theSemas;

// LETTERS NAME [CALLER]: each letter on the record of that name.
void run_sema(Words &words) {
    const std::string letters = words.text(), name = words.text();
    SCT_SEMA &sema = theSemas[name];
    text_copy(sema.szSema, name);
    text_copy(sema.szCaller, words.text_or(const_cast<char *>("caller")));
    for (const char letter : letters) {
        const int code = i_SEMA(letter, &sema, log);
        const char *held = fcntl(sema.hSema, F_GETFD) == FD_CLOEXEC ? "held" : "inherited";
        std::printf("sema %c %d %s: %s\n", letter, code, sema.hSema == 0 ? "-" : held, sema.szMsg);
        std::fflush(stdout);
    }
}

void run_sema_file(Words &words) {
    const char letter = *words.text();
    SCT_SEMA sema = {"s", "caller", "", 0};
    const int code = x_Semaphore(letter, words.text(), &sema);
    std::printf("sema %c %d %d %s\n", letter, code, sema.hSema > 0, sema.szMsg);
}

const Function kFunctions[] = {
    {"system", run_system},
    {"state",
     [](Words &words) { std::fprintf(stderr, "state %d\n", i_cm_system_state(words.text())); }},
    {"start", [](Words &words) { std::fprintf(stderr, "start %d\n", start_system(words.text())); }},
    {"proc", [](Words &words) { std::printf("%d\n", start_proc(words.text_or(nullptr))); }},
    {"exec", run_exec},
    {"status", run_status},
    {"parent", run_parent},
    {"executable", run_executable},
    {"user",
     [](Words &) {
         Buffer name = buffer(64);
         GET_USER_NAME(name.data(), 64);
         std::printf("%s\n", name.data());
     }},
    {"wait", [](Words &words) { wait_msec(static_cast<int>(words.number())); }},
    {"interpreter", [](Words &words) { std::printf("%d\n", bSetInterpreter(words.text(), 0)); }},
    {"pipe", run_pipe_open},
    {"pipe_read", run_pipe_read},
    {"pipe_rest", run_pipe_rest},
    {"pipe_break", run_pipe_break},
    {"pipe_close", [](Words &) { std::printf("close %d\n", iPIPE_CLOSE(&thePipe)); }},
    {"pipe_kill", [](Words &) { kill(thePipe.iChildPid, SIGKILL); }},
    {"sema", run_sema},
    {"sema_break", [](Words &words) { theSemas[words.text()].hSema = 999; }},
    {"sema_file", run_sema_file},
};

} // namespace

const std::span<const Function> kProcesses = kFunctions;

} // namespace vn_probe
