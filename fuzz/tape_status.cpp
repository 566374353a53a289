// What mt, udevadm and the mount table say of drives and disks: the first byte chooses, the rest
// is the other program's text.
// Covers: kernel/unix_hal/tape.cpp kernel/remote/mount_check.cpp kernel/remote/search.cpp
// Covers: common/unix/listing/mounts.cpp common/unix/files/file_search.cpp
#include "fuzz/fuzz.h"

#include "common/unix/listing/mounts.h"
#include "kernel/remote/mount_check.h"
#include "kernel/unix_hal/tape.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sys/stat.h>

namespace {

void require(bool bHolds) {
    if (!bHolds) {
        std::abort();
    }
}

// Programs that print a file each are found in front of all others.
struct s_PROGRAMS {
    s_PROGRAMS() {
        require(mkdtemp(directory) != nullptr);
        for (const char *name : {"mt", "udevadm", "vn_client"}) {
            const std::string path = std::string(directory) + '/' + name;
            std::ofstream(path) << "#!/bin/sh\nexec cat '" << path << ".out'\n";
            chmod(path.c_str(), 0700);
        }
        setenv("PATH", (std::string(directory) + ':' + std::getenv("PATH")).c_str(), 1);
    }
    ~s_PROGRAMS() { require(std::system((std::string("rm -r ") + directory).c_str()) == 0); }
    s_PROGRAMS(const s_PROGRAMS &) = delete;
    s_PROGRAMS &operator=(const s_PROGRAMS &) = delete;

    void prints(const char *name, std::string_view text) const {
        std::ofstream(std::string(directory) + '/' + name + ".out") << text;
    }

    char directory[32] = "/tmp/vn_fuzz.XXXXXX";
};

// The state of a drive is one of the known words, which fits what its driver said.
void ask_for_tape(const s_PROGRAMS &programs, std::string_view text, bool bOnline) {
    static long bits;
    bits = bOnline ? 0x1000000 : 0;
    gTapeDriver.status = [](int, s_TAPE_STATE *state) {
        *state = tape_state(static_cast<unsigned long>(bits), SYSTEM_LINUX);
        return 0;
    };
    programs.prints("mt", text);
    char szSts[256] = "";
    char szMsg[256] = "";
    const int iResult = i_TAPE_STATUS_LOCAL("/dev/null", szSts, szMsg, "fuzz", {});
    const std::string state = szSts;
    const char *known[] = {"Drive tape online", "Drive tape not online", "No tape in drive",
                           "Device or resource busy"};
    const bool bKnown = std::find(std::begin(known), std::end(known), state) != std::end(known);
    require(bKnown == (iResult == 1));
    require(bKnown || state == "No such device or address" || state == "Not defined");
    require(state != "Drive tape not online" || !bOnline);
    require(szMsg[0] == '\0');
}

// A mount is only found where device and mount point stand in the list.
void ask_for_mount(const s_PROGRAMS &programs, std::string_view text) {
    const std::string mount = '/' + take_text(&text);
    const std::string device = take_text(&text);
    programs.prints("udevadm", device);
    programs.prints("vn_client", text);
    char szReal[512] = "";
    char szMount[512] = "";
    const int iResult =
        i_CHECK_MOUNT("LOCAL", "UNIX", mount.c_str(), "/dev/x", szReal, szMount, {});
    require(std::strlen(szMount) < sizeof szMount && std::strlen(szReal) < sizeof szReal);
    require(iResult != 1 || (device.find(szReal + std::strlen("/dev/")) != std::string::npos &&
                             text.find(szReal) != std::string_view::npos));
}

void list_mounts(std::string_view text) {
    const std::string root = take_text(&text);
    entry_list list(root);
    require(insert_mounts(&list, root, input_file(text)) == 0);
    require(list.print() == 0);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const s_PROGRAMS programs;
    if (size == 0) {
        return 0;
    }
    const std::string_view text(reinterpret_cast<const char *>(data) + 1,
                                std::min<std::size_t>(size - 1, 60000));
    switch (data[0]) {
    case 't':
    case 'o':
        ask_for_tape(programs, text, data[0] == 'o');
        break;
    case 'c':
        ask_for_mount(programs, text);
        break;
    default:
        list_mounts(text);
        break;
    }
    return 0;
}
