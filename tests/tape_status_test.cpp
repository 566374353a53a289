// The state of tape drives, the mount check of disks and the check of the media server. Where a
// drive is played, the file drive.states tells mt's answers; all else is the machine's.
#include "common/unix/cm_hal_unix.h"
#include "kernel/unix_hal/vn_hal_unix.h"
#include "kernel/vn_get_volume_lib.h"
#include "tests/support/installation.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/mtio.h>
#include <sys/stat.h>
#include <tuple>

using namespace vn_test;
namespace fs = std::filesystem;

namespace {

struct Devices : testing::Test {
    Installation in;
    const std::string path = std::getenv("PATH"), states = in.path("rw/work/drive.states");

    void prefer(const std::string &directory) const {
        setenv("PATH", (in.path(directory) + ":" + path).c_str(), 1);
    }
    // Asks for the drive's state: "<result> <state>|<message>". No file is left.
    std::string status(const std::string &node, const std::string &ident = "7") const {
        char szSts[256] = "", szMsg[256] = "";
        testing::internal::CaptureStderr();
        const int result = i_TAPE_STATUS_LOCAL(node.c_str(), szSts, szMsg, ident.c_str(), {});
        testing::internal::GetCapturedStderr();
        for (const auto &entry : fs::recursive_directory_iterator(in.dir)) {
            EXPECT_EQ(entry.path().string().find("mt_status"), std::string::npos) << entry;
        }
        return std::to_string(result) + " " + szSts + "|" + szMsg;
    }
    std::string check_mount(const std::string &mount, const std::string &node) const {
        char szReal[512] = "", szMount[512] = "/before";
        const int result =
            i_CHECK_MOUNT("LOCAL", "UNIX", mount.c_str(), node.c_str(), szReal, szMount, {});
        return std::to_string(result) + " " + szReal + " " + szMount;
    }
};

TEST_F(Devices, TapeDrive) {
    EXPECT_TRUE(status("/nosuch").starts_with("0 No such device or address|/nosuch: "));
    EXPECT_TRUE(status("/dev/null").starts_with("0 Not defined|/dev/null: "));
    prefer("ro/drive");
    for (const auto &[text, expected] : std::initializer_list<std::pair<std::string, std::string>>{
             {"Device not configured; Medium not present", "0 Not defined"},
             {"No such device or address: drive offline", "0 No such device or address"},
             {"mt: Datei oder Verzeichnis nicht gefunden", "0 No such device or address"},
             {"Device not ready, Medium not present", "1 No tape in drive"},
             {"Device not ready, drive offline", "1 No tape in drive"},
             {"DEV_OFFLINE Device not ready", "1 Device or resource busy"},
             {"Device busy DEV_OFFLINE", "1 No tape in drive"},
             {"DEVICE BUSY %s%n", "0 Not defined"}}) {
        write_file(states, "1 " + text + "\n");
        EXPECT_EQ(status("/dev/null"), expected + "|" + text + " ");
        write_file(states, "0 " + text + "\n");
        EXPECT_EQ(status("/dev/null"), expected + "|");
    }
    const std::string device = "/d e'v$(id)\"", call = "mt [-f] [" + device + "] [";
    fs::remove(in.path("rw/work/drive.calls"));
    write_file(states, "2 Device busy\n0 at rest.\n"); // the answer behind the rewind counts
    EXPECT_EQ(status(device, "../../a/b"), "0 Not defined|");
    EXPECT_EQ(read_file(in.path("rw/work/drive.calls")),
              call + "status]\n" + call + "rewind]\n" + call + "status]\n");
    const std::string text = "Device busy" + std::string(300, 'x');
    write_file(states, "2 drive offline\n1 " + text + "\n");
    EXPECT_EQ(status("/dev/null"), "1 Device or resource busy|" + text.substr(0, 255));
}

// Where mt does not say that the tape is at rest, the driver's general status tells.
TEST_F(Devices, DriverStatus) {
    prefer("ro/drive");
    static long bits;
    gTapeDriver.status = [](int, mtget *state) {
        state->mt_gstat = bits;
        return bits < 0 ? -1 : 0;
    };
    constexpr long kOpen = 0x40000, kOnline = 0x1000000;
    for (const auto &[text, state, expected] :
         std::initializer_list<std::tuple<std::string, long, std::string>>{
             {"General status bits on (1010000):", kOnline | 0x10000, "1 Drive tape online|"},
             {"", kOpen, "1 No tape in drive|"},
             {"", kOpen | kOnline, "1 No tape in drive|"},
             {"", 0x10000, "1 Drive tape not online|"},
             {"The tape is at rest.", kOpen, "1 Drive tape online|"},
             {"at rest.", -1, "0 Not defined|"},
             {"drive offline", kOnline, "1 No tape in drive|"}}) {
        write_file(states, "0 " + text + "\n");
        bits = state;
        EXPECT_EQ(status("/dev/null"), expected) << text << state;
    }
    // An mt that was killed has answered nothing.
    write_file(in.path("ro/drive/mt"), "#!/bin/sh\necho >>" + states + "\nkill -9 $PPID $$\n");
    bits = 0;
    EXPECT_EQ(status("/dev/null"), "1 Drive tape not online|mt: exit state 137");
    EXPECT_EQ(read_file(states), "0 drive offline\n\n\n\n"); // asked, rewound, asked again
}

// Node and mount point are found as whole words only, and not in an empty list.
TEST_F(Devices, MountOfItsOwnName) {
    const std::string client = in.path("ro/bin/vn_client"), list = in.path("mounts"),
                      d1 = in.path("rw/work") + "/diskmnt/d1";
    for (const auto &[file, script] : std::initializer_list<std::pair<std::string, std::string>>{
             {client, "cat " + list}, {in.path("ro/bin/udevadm"), "echo \"N: ${4#/dev/}\""}}) {
        fs::remove(file);
        write_file(file, "#!/bin/sh\n" + script + "\n");
        chmod(file.c_str(), 0755);
    }
    prefer("ro/bin");
    write_file(list, "/dev/vda on " + d1 +
                         "0 type ext4 (rw)\n/dev/sda10 on /x type ext4 (rw)\n"
                         "mapped /dev/vdb on /a.b\n");
    for (const auto &[mount, node, found] :
         std::initializer_list<std::tuple<std::string, std::string, std::string>>{
             {"d1", "/dev/vda", "0"},
             {"d10", "/dev/vda", "1"},
             {"/x", "/dev/sda1", "0"},
             {"/x", "/dev/sda10", "1"},
             {"/x/", "/dev/sda10", "1"},
             {"/a.b", "/dev/vdb", "1"},
             {"/a", "/dev/vdb", "0"},
             {"/axb", "/dev/vdb", "0"},
             {"/x", "/dev/da10", "0"}}) {
        EXPECT_EQ(check_mount(mount, node).substr(0, 2), found + " ") << mount << " " << node;
    }
    write_file(list, "");
    EXPECT_EQ(check_mount("/x", "/dev/sda10"), "0 /dev/sda10 /x");
}

TEST_F(Devices, Mount) {
    prefer("ro/bin");
    EXPECT_EQ(check_mount("b 1//$x", "/dev/null;echo N: x"),
              "-1  " + in.path("rw/work/diskmnt/b 1/$x"));
    EXPECT_TRUE(fs::is_directory(in.path("rw/work/diskmnt/b 1/$x")));
    EXPECT_EQ(check_mount("c:\\b", "/nosuch"), "-1  c:/b");
    if (check_mount("", "/dev/null") == "-1  /before") {
        GTEST_SKIP() << "no udevadm that knows this machine's devices";
    }
    EXPECT_EQ(check_mount("/no.mount*(", "/dev/null"), "0 /dev/null /no.mount*(");
    EXPECT_EQ(check_mount("NULL", "/dev/null"), "0 /dev/null /before");
    std::ifstream mounts("/proc/mounts");
    for (std::string node, mount, rest; mounts >> node >> mount; std::getline(mounts, rest)) {
        if (fs::is_block_file(node)) {
            EXPECT_EQ(check_mount(mount, node), "1 " + node + " " + mount);
        }
    }
}

// What each flag gives; ps shows only what runs in this installation.
TEST_F(Devices, MediaServer) {
    const std::string main = in.path("ro/bin/vn_main"), pid = in.path("rw/work/vn_data_server.pid"),
                      log = in.path("rw/work/called.log"), ps = in.path("ro/drive/ps");
    write_file(ps, "#!/bin/sh\n/bin/ps \"$@\" | grep '" + in.dir + "'\n");
    chmod(ps.c_str(), 0755);
    prefer("ro/drive");
    gVnsPolicy.iReloadMsec = 300;
    fs::rename(main, main + "2");
    EXPECT_EQ(i_CHECK_VNS(0, {}), 0);
    for (const int flag : {1, 2}) {
        EXPECT_EQ(i_CHECK_VNS(flag, {}), 0);
        for (int i = 0; i < 1000 && !read_file(log).value_or("").ends_with("\n"); ++i) {
            wait_msec(10); // the alarm is raised in the background
        }
        EXPECT_EQ(read_file(log), "vn_alarm [CHECK_VNS] [restart of data-server failed - VNS not "
                                  "available]\n");
        fs::remove(log);
    }
    fs::rename(main + "2", main);
    EXPECT_EQ(i_CHECK_VNS(1, {}), 1);
    const auto first = read_file(pid);
    EXPECT_EQ(i_CHECK_VNS(1, {}) + i_CHECK_VNS(0, {}), 2);
    EXPECT_EQ(read_file(pid), first);
    EXPECT_EQ(i_CHECK_VNS(2, {}), 1);
    EXPECT_NE(read_file(pid), first);
    EXPECT_FALSE(fs::exists(log));
    write_file(main, "#!/bin/sh\nkill -9 $$\n"); // a reload that was killed has failed, also when
    EXPECT_EQ(i_CHECK_VNS(0, {}), 1);            // the old data server still runs
    EXPECT_EQ(i_CHECK_VNS(2, {}), 0);
}

} // namespace
