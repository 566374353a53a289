// The end of a request, commands of users, and programs for which a system call fails.
#include "common/common/text.h"
#include "kernel/request/finish.h"
#include "kernel/request/options.h"
#include "kernel/request/performance_record.h"
#include "kernel/unix_hal/vn_hal_unix.h"
#include "tests/probe/probe.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <string_view>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace vn_probe {
namespace {

// FUNCTION STATUS MESSAGE [remote]: the end of a request with the identifier 7, and of the probe.
void run_finish(Words &words) {
    text_copy(gszId, "7");
    strLog = log;
    gcFunc = *words.text();
    const long status = words.number();
    const char *message = words.text();
    gFlag.Remote = words.more() ? 1 : 0;
    FINISH((int)status, message);
}

// PATH TEXT [remote]
void run_figures(Words &words) {
    text_copy(gszId, "7");
    strLog = log;
    const char *path = words.text(), *text = words.text();
    gFlag.Remote = words.more() ? 1 : 0;
    std::printf("returns %d\n", iWRITE_PERF_FILE(path, text));
}

void run_allow_list(Words & /*words*/) {
    std::printf("%s\n", gcpAllowList);
}

// USER COMMAND [ARGUMENT...]: the allow list is the file "allow" of the current directory.
void run_user_command(Words &words) {
    gcpAllowList = "allow";
    const char *user = words.text(), *command = words.text();
    std::vector<char *> arguments(words.left.begin(), words.left.end());
    arguments.push_back(nullptr);
    char **list = words.more() ? arguments.data() : nullptr;
    Buffer message = buffer(256);
    const int result = i_EXECUTE_USER_COMMAND(user, command, list, message.data(), log);
    std::printf("%d %s\n", result, message.data());
}

// DEVICE LABEL: a disk of this platform has none.
void run_volume_label(Words &words) {
    Buffer message = buffer(8, "before");
    const char *device = words.text(), *label = words.text();
    const int result = i_SET_VOLUME_LABEL(device, label, 'w', message.data(), 8);
    std::printf("%d [%s]\n", result, message.data());
}

#ifdef __NR_rename
constexpr unsigned kRename = __NR_rename, kUnlink = __NR_unlink;
#else
constexpr unsigned kRename = __NR_renameat, kUnlink = __NR_unlinkat;
#endif

// fsync|unlink|write_at|rename PROGRAM ARGUMENT...: becomes the program; for it the system call
// fails with EIO.
void run_broken(Words &words) {
    const std::string_view name = words.text();
    const unsigned call = name == "fsync"      ? __NR_fsync
                          : name == "unlink"   ? kUnlink
                          : name == "write_at" ? __NR_pwrite64
                                               : kRename;
    sock_filter filter[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1),
                            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EIO),
                            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
    const sock_fprog program = {4, filter};
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program);
    execv(words.left[0], words.left.data()); // ends with argv's null pointer
    std::perror("probe");
}

const Function kFunctions[] = {{"finish", run_finish},
                               {"figures", run_figures},
                               {"allow_list", run_allow_list},
                               {"user_command", run_user_command},
                               {"volume_label", run_volume_label},
                               {"broken", run_broken}};

} // namespace

const std::span<const Function> kRequest = kFunctions;

} // namespace vn_probe
