// Processes of a saveset, tape drives, disk mounts, the media server, and how long a wait may take.
#include "tests/probe/probe.h"

#include "common/unix/configuration/directories.h"
#include "common/unix/system/device_node.h"
#include "control/first.h"
#include "kernel/remote/async.h"
#include "kernel/remote/call/relay.h"
#include "kernel/unix_hal/vn_hal_unix.h"
#include "kernel/vn_get_volume_lib.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vn_probe {
namespace {

// NAME [VALUE...]: sets the values of a policy, without any shows them.
void run_policy(Words &words) {
    static const std::pair<const char *, std::vector<int *>> kPolicies[] = {
        {"kill",
         {&gKillPolicy.iRounds, &gKillPolicy.iRoundMsec, &gKillPolicy.iForcedRounds,
          &gKillPolicy.iForcedRoundMsec}},
        {"vns", {&gVnsPolicy.iReloadMsec}},
        {"ctrl",
         {&gCtrlPolicy.iResolve, &gCtrlPolicy.iConnect, &gCtrlPolicy.iAccept,
          &gCtrlPolicy.iUrgent}},
        {"relay", {&gRelayPolicy.iIdleLimit, &gRelayPolicy.iIdlePauseMsec}},
        {"async", {&gAsyncPolicy.iLookMsec}}};
    const std::string name = words.text();
    const bool set = words.more();
    for (const auto &[known, values] : kPolicies) {
        for (size_t i = 0; name == known && i < values.size(); i++) {
            if (words.more()) {
                *values[i] = (int)words.number();
            } else if (!set) {
                std::printf("%s%d", i == 0 ? "" : " ", *values[i]);
            }
        }
    }
    std::printf("%s", set ? "" : "\n");
}

// [FROM TO]: whether so many milliseconds have passed since the clock was asked last.
void run_clock(Words &words) {
    using clock = std::chrono::steady_clock;
    static clock::time_point last_s;
    const auto passed =
        std::chrono::duration_cast<std::chrono::milliseconds>(clock::now() - last_s);
    if (words.more()) {
        const long from = words.number(), to = words.number();
        const auto msec = passed.count();
        const bool in_time = msec >= from && msec <= to;
        std::printf("%s\n", in_time ? "in time" : (std::to_string(msec) + " ms").c_str());
    }
    last_s = clock::now();
}

struct Process {
    std::string title;
    pid_t pid;
};
std::vector<Process> processes;

// TITLE [stubborn]: a process that ps shows as the title; a stubborn one ignores interrupts. Its id
// is $P1, of the next one $P2 and so on.
void run_start(Words &words) {
    Process process = {words.text(), -1};
    char wait[] = "sleep", *argv[] = {process.title.data(), wait, nullptr};
    signal(SIGINT, words.more() ? SIG_IGN : SIG_DFL); // is inherited
    const std::string program = std::string(std::getenv("SESSION")) + "/waits";
    posix_spawn(&process.pid, program.c_str(), nullptr, nullptr, argv, environ);
    signal(SIGINT, SIG_DFL);
    while (words.more()) {
        words.text();
    }
    processes.push_back(process);
    const std::string name = "P" + std::to_string(processes.size());
    setenv(name.c_str(), std::to_string(process.pid).c_str(), 1);
}

// How each of the processes has ended; those that run are ended.
void run_ended(Words &) {
    for (const Process &process : processes) {
        int status = 0;
        kill(process.pid, SIGTERM);
        waitpid(process.pid, &status, 0);
        const int by = WTERMSIG(status);
        std::printf("%s: %s\n", process.title.c_str(),
                    by == SIGTERM ? "ran on" : ("signal " + std::to_string(by)).c_str());
    }
    processes.clear();
}

// KEYWORD
void run_kill(Words &words) {
    Buffer message = buffer(256);
    const int result = i_KILL_VBC(words.text(), message.data(), log);
    std::printf("%d %s\n", result, message.data());
}

// PIPELINE KEYWORD VALUE: the result and the number of processes.
void run_pids(Words &words) {
    int count = -1;
    const char *pipeline = words.text(), *keyword = words.text();
    const int result = i_KILL_PROCESSES(pipeline, keyword, (int)words.number(), &count, log);
    std::printf("%d %d\n", result, count);
}

// SYSTEM: how it lists its processes.
void run_listing(Words &words) {
    Buffer command = buffer(256, "old"), pid = buffer(16, "old"), parent = buffer(16, "old");
    v_GET_PS_POSITION(words.text(), command.data(), pid.data(), parent.data(), log);
    std::printf("%s|%s|%s\n", command.data(), pid.data(), parent.data());
}

long general_status = 0; // -1: the driver's request fails

// NODE IDENT [STATUS]: of a drive whose driver answers so, else of the machine's.
void run_tape(Words &words) {
    Buffer status = buffer(256), message = buffer(256, "old");
    const char *node = words.text(), *ident = words.text();
    if (words.more()) {
        general_status = words.number();
        gTapeDriver.status = [](int, s_TAPE_STATE *state) {
            *state = tape_state((unsigned long)general_status, geDeviceSystem);
            errno = EIO;
            return general_status < 0 ? -1 : 0;
        };
    }
    const int result = i_TAPE_STATUS_LOCAL(node, status.data(), message.data(), ident, log);
    std::printf("%d %s [%s]\n", result, status.data(), message.data());
}

// [FILE]: which of both still are.
void run_release(Words &words) {
    const char *file = words.more() ? words.text() : nullptr;
    const int fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
    v_TAPE_STATUS_RELEASE(file, file != nullptr ? fd : -1, {});
    const bool open_still = fcntl(fd, F_GETFD) >= 0;
    std::printf("descriptor %s\n", open_still ? "open" : "closed");
    if (open_still) {
        close(fd);
    }
}

// CLIENT PLATFORM PATH NODE: the result, the real node and the mount point, which was /given\ .
void run_mount(Words &words) {
    const char *client = words.text(), *platform = words.text(), *path = words.text();
    path = path == nullptr ? "NULL" : path; // the text
    Buffer real = buffer(512), mount = buffer(512, "/given\\");
    const int result =
        i_CHECK_MOUNT(client, platform, path, words.text(), real.data(), mount.data(), log);
    std::printf("%d [%s] [%s]\n", result, real.data(), mount.data());
}

// NODE [CLIENT]
void run_device(Words &words) {
    Buffer real = buffer(512, "old"), uuid = buffer(256, "old");
    const char *node = words.text(), *client = words.text_or(const_cast<char *>("LOCAL"));
    const int result = i_get_deviceinfo(client, node, real.data(), uuid.data(), log);
    std::printf("%d [%s] [%s]\n", result, real.data(), uuid.data());
}

// PATH
void run_mount_point(Words &words) {
    const char *path = words.text();
    std::printf("%s[%s]\n", is_relative_path(path) ? "relative " : "",
                disk_mount_point(path).c_str());
}

// FLAG
void run_vns(Words &words) {
    std::printf("%d\n", i_CHECK_VNS((int)words.number(), log));
}

void run_label(Words &) {
    char message[] = "old";
    const int result = i_SET_VOLUME_LABEL("/v", "label", 's', message, sizeof message);
    std::printf("%d [%s]\n", result, message);
}

const Function kFunctions[] = {{"policy", run_policy},
                               {"clock", run_clock},
                               {"process", run_start},
                               {"ended", run_ended},
                               {"kill", run_kill},
                               {"pids", run_pids},
                               {"listing", run_listing},
                               {"tape", run_tape},
                               {"release", run_release},
                               {"mount", run_mount},
                               {"device", run_device},
                               {"vns", run_vns},
                               {"mount_point", run_mount_point},
                               {"label", run_label}};

} // namespace

const std::span<const Function> kUnixHal = kFunctions;

} // namespace vn_probe
