// The state of tape drives, the mount check of disks and the check of the media server. Where a
// drive is played, the file drive.states tells mt's answers; all else is the machine's.
#include "common/unix/cm_hal_unix.h"
#include "common/unix/configuration/directories.h"
#include "kernel/unix_hal/vn_hal_unix.h"
#include "kernel/vn_get_volume_lib.h"
#include "tests/support/service.h"

#include <cerrno>
#include <fcntl.h>
#include <fstream>
#include <sys/mtio.h>
#include <sys/stat.h>
#include <tuple>

using namespace vn_test;
namespace fs = std::filesystem;

namespace {

struct Devices : testing::Test {
    Installation in;
    const std::string path = std::getenv("PATH"), work = in.path("rw/work") + "/",
                      states = work + "drive.states";

    void prefer(const std::string &directory) const {
        setenv("PATH", (in.path(directory) + ":" + path).c_str(), 1);
    }
    void play(const std::string &file, const std::string &script) const {
        fs::remove(in.path(file));
        write_file(in.path(file), "#!/bin/sh\n" + script + "\n");
        chmod(in.path(file).c_str(), 0755);
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

// Each wording of mt's, behind the next one in the same answer, and each end of an inquiry: result,
// message, standard error and trace. The drive's node is one that answers.
TEST_F(Devices, TapeDrive) {
    prefer("ro/drive");
    static long bits; // of the general status; below 0: the request fails
    gTapeDriver.status = [](int, mtget *state) {
        state->mt_gstat = bits;
        errno = EIO;
        return bits < 0 ? -1 : 0;
    };
    std::string all;
    const auto ask = [&](const std::string &title, const std::string &node = "/dev/null") {
        all += service(in, title, 1, [&](const str_log &log) {
            char szSts[256] = "", szMsg[256] = "old";
            const int result = i_TAPE_STATUS_LOCAL(node.c_str(), szSts, szMsg, "7", log);
            std::printf("%d %s|%s\n", result, szSts, szMsg);
        });
        EXPECT_FALSE(fs::exists(work + "mt_status_result7.sgv"));
    };
    const auto played = [&](const std::string &answers, long lBits) {
        write_file(states, answers + "\n");
        bits = lBits;
        ask(answers);
    };
    const std::vector<std::string> wordings = {"Device not configured",
                                               "No such device or address",
                                               "No such file or directory",
                                               "Datei oder Verzeichnis nicht gefunden",
                                               "Medium not present",
                                               "drive offline",
                                               "Device not ready",
                                               "DEV_OFFLINE",
                                               "Device busy",
                                               "Device or resource busy"};
    constexpr long kOpen = 0x40000, kOnline = 0x1000000;
    for (size_t i = 0; i < wordings.size(); i++) {
        const std::string next = i + 1 < wordings.size() ? wordings[i + 1] : "at rest.";
        played("0 " + next + ", " + wordings[i], kOnline);
    }
    played("0 The tape is at rest.", kOpen);
    played("0 General status bits on (1010000):", kOnline | 0x10000);
    played("0 DEVICE BUSY At rest.", kOpen | kOnline);
    played("0 ", 0x10000);
    played("0 at rest.", -1);
    played("2 Device busy\n0 at rest.", 0); // the answer behind the rewind counts
    played("2 drive offline\n1 %s%n", kOnline);
    ask("a node that is not there", "/nosuch");
    ask("a name that is too long", std::string(256, 'x'));
    play("ro/drive/mt", "rm " + work + "mt_status_result7.sgv; exit 3");
    ask("an mt that leaves no answer");
    expect_file("service_tape.txt", all);
}

// Names reach mt as they are, its answer comes whole or cut, nothing stays behind.
TEST_F(Devices, TapeDriveNames) {
    EXPECT_TRUE(status("/nosuch").starts_with("0 No such device or address|/nosuch: "));
    EXPECT_TRUE(status("/dev/null").starts_with("0 Not defined|/dev/null: "));
    prefer("ro/drive");
    const std::string device = "/d e'v$(id)\"", call = "mt [-f] [" + device + "] [";
    write_file(states, "2 Device busy\n0 at rest.\n");
    EXPECT_EQ(status(device, "../../a b'/c"), "0 Not defined|");
    EXPECT_EQ(read_file(work + "drive.calls"),
              call + "status]\n" + call + "rewind]\n" + call + "status]\n");
    for (const size_t size : {255, 256}) {
        const std::string text = "Device busy" + std::string(size - 12, 'x');
        write_file(states, "2 drive offline\n1 " + text + "\n");
        EXPECT_EQ(status("/dev/null"),
                  "1 Device or resource busy|" + text + (size == 255 ? " " : ""));
    }
    in.remove_glbv("gv_rw_work"); // its directory is configured, too
    const std::string file = work + "mt_status_result7.sgv",
                      command = "mt -f  rewind >> " + file + " 2>&1";
    const std::string longest(255 - command.size(), 'x');
    EXPECT_EQ(status(longest),
              "1 Device or resource busy|" + read_file(states).value_or("").substr(2, 255));
    EXPECT_EQ(status(longest + "x"), "0 Not defined|File name too long");
    play("ro/drive/mt", "echo \"$3\" >>" + in.path("calls") + "; kill -9 $$");
    EXPECT_EQ(status("/dev/null").substr(0, 14), "0 Not defined|");
    EXPECT_EQ(read_file(in.path("calls")), "status\nrewind\nstatus\n");
    write_file(file, "");
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    v_TAPE_STATUS_RELEASE(nullptr, -1, {});
    EXPECT_TRUE(fs::exists(file) && fcntl(fd, F_GETFD) != -1);
    v_TAPE_STATUS_RELEASE(file.c_str(), fd, {});
    EXPECT_TRUE(!fs::exists(file) && fcntl(fd, F_GETFD) == -1);
}

// Node and mount point are found as whole words only, and not in an empty list.
TEST_F(Devices, MountOfItsOwnName) {
    const std::string list = in.path("mounts"), d1 = in.path("rw/work") + "/diskmnt/d1";
    play("ro/bin/vn_client", "cat " + list);
    play("ro/bin/udevadm", "echo \"N: ${4#/dev/}\"");
    prefer("ro/bin");
    write_file(list,
               "/dev/vda on " + d1 +
                   "0 type ext4 (rw)\n/dev/sda10 on /x type ext4 (rw)\n"
                   "mapped /dev/vdb on /a.b\n/dev/vdc on /a^b^ type x\n/dev/vdd on / type x\n");
    for (const auto &[mount, node, found] :
         std::initializer_list<std::tuple<std::string, std::string, std::string>>{
             {"d1", "/dev/vda", "0"},
             {"d10", "/dev/vda", "1"},
             {"/x", "/dev/sda1", "0"},
             {"/x", "/dev/sda10", "1"},
             {"/x/", "/dev/sda10", "1"},
             {"/a.b", "/dev/vdb", "1"},
             {"/a", "/dev/vdb", "0"},
             {"/a^b^", "/dev/vdc", "1"},
             {"/", "/dev/vdd", "1"},
             {"/", "/dev/vdc", "0"},
             {"/axb", "/dev/vdb", "0"},
             {"/x", "/dev/da10", "0"}}) {
        EXPECT_EQ(check_mount(mount, node).substr(0, 2), found + " ") << mount << " " << node;
    }
    write_file(list, "");
    EXPECT_EQ(check_mount("/x", "/dev/sda10"), "0 /dev/sda10 /x");
    const std::string longest = "/" + std::string(478, 'm');
    EXPECT_EQ(check_mount(longest, "/dev/sda10"), "0 /dev/sda10 " + longest);
    EXPECT_EQ(check_mount(longest + "m", "/dev/sda10"), "-1 /dev/sda10 " + longest + "m");
}

// The whole check: the device's description, the mount point, the search, each way it can end.
TEST_F(Devices, MountIsTracedWhole) {
    const std::string longest(255 - work.size() - 9, 'd');
    play("ro/bin/udevadm", "[ \"$4\" != /dev/nosuch ] || exit 3\n"
                           "printf '%s\\n' 'P: /N: x' 'N: one' 'E: ID_FS_UUID_SUB=2' "
                           "'E: ID_FS_UUID=U=1' 'N: two' '' ");
    play("ro/bin/vn_client", "echo \"[$*]\"; cat " + in.path("mounts"));
    write_file(in.path("mounts"), "/dev/two on " + work + "diskmnt/d1 type x (rw)\n" +
                                      R"(\\?\Volume{1} D:\mnt\x)" + "\n");
    fs::create_directory(work + "diskmnt/d1");
    prefer("ro/bin");
    std::string all;
    const auto check = [&](const std::string &client, const std::string &platform,
                           const std::string &mount, const std::string &node) {
        all += service(
            in, client + " " + platform + " " + mount + " " + node, 1, [&](const str_log &log) {
                char szReal[512] = "", szMount[512] = "/given\\";
                const int result = i_CHECK_MOUNT(client.c_str(), platform.c_str(), mount.c_str(),
                                                 node.c_str(), szReal, szMount, log);
                std::printf("%d %s %s\n", result, szReal, szMount);
            });
    };
    check("LOCAL", "UNIX", "d1", "/dev/a b");
    check("LOCAL", "UNIX", "", "/dev/x");
    check("LOCAL", "UNIX", "d1", "/dev/nosuch");
    check("LOCAL", "WINDOWS", "d:/mnt\\x", "x");
    check("LOCAL", "unix", "NULL", "x");
    check("nosuch", "UNIX", "/d", "x");
    check("LOCAL", "UNIX", std::string(256, 'd'), "x");
    check("LOCAL", "UNIX", "/" + std::string(500, 'd'), "x");
    // What the device's description says is told at level 2 only.
    const auto lines = lines_of(service(in, "", 2, [](const str_log &log) {
        char szReal[512] = "", szUuid[256] = "";
        i_get_deviceinfo("LOCAL", "x", szReal, szUuid, log);
    }));
    for (const std::string &line : lines) {
        if (line.find("# read line") != line.npos || line.find("# Real") != line.npos) {
            all += line + "\n";
        }
    }
    for (size_t at = 0; (at = all.find("\\.", at)) != all.npos;) { // of the directory, in a search
        all.erase(at, 1);
    }
    expect_file("service_mount.txt", shown(in, all));
    EXPECT_EQ(disk_mount_point(longest), work + "diskmnt/" + longest);
    EXPECT_EQ(check_mount(longest + "d", "x"), "-1  " + longest + "d");
    in.set_glbv("gv_rw_work", "//w//");
    EXPECT_EQ(disk_mount_point("a//b"), "//w/diskmnt/a/b");
    in.remove_glbv("gv_rw_work");
    EXPECT_EQ(disk_mount_point("d"), work + "diskmnt/d");
    in.remove_ini(in.path("rw/ini/vn.ini"), "Pathes", "gv_rw_work");
    EXPECT_EQ(disk_mount_point("d"), "");
    for (const char *relative : {"d", "", "d/", ".", "ab:c", "ab\\"}) {
        EXPECT_TRUE(is_relative_path(relative)) << relative;
    }
    for (const char *absolute : {"/", "/d", "d:", "\\\\h", "d\\"}) {
        EXPECT_FALSE(is_relative_path(absolute)) << absolute;
    }
}

TEST_F(Devices, Mount) {
    prefer("ro/bin");
    EXPECT_EQ(check_mount("b 1//$x", "/dev/null;echo N: x"), "-1  " + work + "diskmnt/b 1/$x");
    EXPECT_TRUE(fs::is_directory(work + "diskmnt/b 1/$x"));
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

// What each flag gives with its trace, and the alarm; ps shows only what runs in this installation.
TEST_F(Devices, MediaServer) {
    const std::string main = in.path("ro/bin/vn_main"), log = work + "called.log";
    play("ro/drive/ps", "echo \"$*\" >" + in.path("ps_words") + "; /bin/ps \"$@\" | grep '" +
                            in.dir + "'; echo grep vn_data_server");
    prefer("ro/drive");
    EXPECT_EQ(gVnsPolicy.iReloadMsec, 5000);
    gVnsPolicy.iReloadMsec = 300;
    std::string all;
    const auto check = [&](const std::string &title, int flag) {
        const bool alarm = title.ends_with("down");
        all += service(in, title + ", flag " + std::to_string(flag), 1, [&](const str_log &level) {
            std::printf("%d\n", i_CHECK_VNS(flag, level));
        });
        for (int i = 0; i < 1000 && alarm && !read_file(log).value_or("").ends_with("\n"); ++i) {
            wait_msec(10); // the alarm is raised in the background
        }
        all += read_file(log).value_or("");
        fs::remove(log);
    };
    fs::rename(main, main + "2");
    check("no data server", 0);
    check("it stays down", 1);
    check("it stays down", 2);
    fs::rename(main + "2", main);
    check("it comes up", 1);
    const auto pid = [&] { return read_file(work + "vn_data_server.pid"); };
    const auto first = pid();
    check("it runs", 1);
    check("it runs", 0);
    EXPECT_EQ(pid(), first);
    check("it runs", 2);
    EXPECT_NE(pid(), first);
    // A reload that was killed has failed, also when the old data server still runs.
    write_file(main, "#!/bin/sh\nkill -9 $$\n");
    check("the old one runs, a new one is down", 2);
    EXPECT_EQ(read_file(in.path("ps_words")), "axwwo user,pid,ppid,command\n");
    in.set_ini(in.path("rw/ini/vn.ini"), "Pathes", "gv_ro_bin", std::string(511, '\''));
    check("a command that does not fit", 2);
    expect_file("service_media_server.txt", all);
    in.set_ini(in.path("rw/ini/vn.ini"), "Pathes", "gv_ro_bin", in.path("ro/bin/"));
    for (const auto &[end, expected] : {std::pair("exit 128", 1), std::pair("kill -1 $$", 0)}) {
        play("ro/bin/vn_main", end); // an exit status does not count
        const auto before = std::chrono::steady_clock::now();
        EXPECT_EQ(i_CHECK_VNS(2, {}), expected) << end;
        const auto passed = std::chrono::steady_clock::now() - before;
        EXPECT_TRUE(expected == 0 || passed >= std::chrono::milliseconds(300));
    }
    char szMsg[] = "old";
    EXPECT_EQ(i_SET_VOLUME_LABEL("/v", "label", 's', szMsg, sizeof szMsg), 1);
    EXPECT_STREQ(szMsg, "");
}

} // namespace
