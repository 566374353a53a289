// The functions on devices end to end: the state t, the figures p, the media server's devices c.
#include "tests/support/installation.h"

#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <tuple>

using namespace vn_test;
namespace fs = std::filesystem;

namespace {

struct AgentDevices : testing::Test {
    Installation in;
    const std::string ini = in.path("rw/ini/vns.ini");
    // For a stand-in: ends the agent that has called it.
    const std::string kill = "p=$PPID; until [ $(ps -o comm= -p $p) = vn_client ]; do "
                             "p=$(ps -o ppid= -p $p); done; kill -9 $p";
    // Puts a program in front of the one of the same name.
    void play(const std::string &name, const std::string &script) const {
        write_file(in.path("ro/drive/" + name), "#!/bin/sh\n" + script + "\n");
        chmod(in.path("ro/drive/" + name).c_str(), 0755);
        in.set_ini(in.path("rw/ini/vn.ini"), "Pathes", "gv_ro_bin", in.path("ro/drive/"));
    }
    void describe() const {
        in.set_glbv("gv_client_c_0", "A /dev/nst4 L6 TAPE FILE 3");
        in.set_glbv("gv_client_c_1", "7 d1 CD DISK_CHNG N 2");
        in.set_glbv("gv_client_c_2", "8 /d8 HD DISK_HARD N -1 7th");
    }
    // Runs a shell command, in which "$0" is the agent, in the work directory.
    CallResult shell(const std::string &command) const {
        const std::string path = "PATH=" + in.path("ro/drive:") + in.path("ro/bin:/usr/bin:/bin");
        return run_program({"/bin/sh", "-c", command, VN_CLIENT_PROGRAM},
                           {path, "LC_ALL=C", "VORNA_INI=" + in.path("vorna.ini")},
                           {"", {}, in.path("rw/work")});
    }
    // The record's status and message, and all of the output where it matters.
    void expect(const std::string &arguments, int status, const std::string &message,
                const std::string &out = "*") const {
        const std::string words[] = {"SUCCESS", "WARNING", "ERROR"};
        const CallResult result = shell("\"$0\" -r -i 7 -f " + arguments);
        EXPECT_EQ(result, (CallResult{status, out == "*" ? result.out : out,
                                      "ID=7\nSTATUS=" + words[status] + " MSG=" + message + "\n"}))
            << arguments;
    }
    // A vns.ini, before and after the three drives are configured.
    std::string vns(const std::string &p, bool after) const {
        const std::string s = "Maximal_Number_Of_Parallel_Streams_",
                          my = "# my %s%n\n Size = 1 \r\n" + s,
                          end = "[" + p + "N]\nk=" + std::string(70000, 'l') + "\n\nno end";
        if (!after) {
            return "# [Tape] or [VNS_Tape]\n[" + p + "Device]\nDevice_Name_0=x\n[Other]\nk=v\n[" +
                   p + "Tape]\n" + "Tapemark_Type_0=OLD\n" + my + "0=9\n#\n" + s +
                   "1=9\n;Tapemark_Type\n" + end;
        }
        return "[" + p + "Device]\nMaximal_Number_Of_Devices=3\nDevice_Name_0=/dev/nst4\n" +
               "Device_Name_1=disk7\nDevice_Name_2=disk8\nDevice_Type_0=L6\nDevice_Type_1=CD\n" +
               "Device_Type_2=HD\n\n[" + p + "Disk]\nDirectory=" + in.path("rw/ini/\n\n[") + p +
               "Tape]\nTapemark_Type_0=FILE\nTapemark_Type_1=N\nTapemark_Type_2=N\n" + my +
               "0=3\n" + s + "1=2\n" + s + "2=-1\n#\n" + end + "\n";
    }
};

TEST_F(AgentDevices, State) {
    shell("cd ../ini; echo empty >disk1; echo /mnt >disk2");
    expect("t -t TAPE_DRIVE", 1, "missing device via -d");
    expect("t -d x", 1, "missing device via -t");
    expect("t -d disk1 -t DISK_HARD", 0, "No tape in drive");
    expect("t -d disk2 -t DISK_HARD", 0, "Drive tape online");
    // Nothing says that the third one is empty.
    expect("t -d disk3 -t DISK_HARD 2>&1 | tail -n2 >&2", 0, "Drive tape online");
    expect("t -d x -t / -n NULL", 0, "Drive tape online");
    expect("tapestatus -d x -t \"$0\"", 0, "No tape in drive");
    expect("t -d /nosuch -n 'echo >x;' -t d 2>&1 | tail -n2 >&2; exit 2", 2, "No tape in drive");
    EXPECT_FALSE(fs::exists(in.path("rw/work/x")));
    write_file(in.path("rw/work/drive.states"), "2 Medium not present\n");
    expect("t -d /dev/null -t TAPE_DRIVE 2>&1 | tail -n2 | sed 's/^ //' >&2", 0,
           "No tape in drive: Medium not present ");
    in.remove_glbv("gv_rw_work"); // its directory is configured, too
    expect("t -d /dev/null -t TAPE_DRIVE 2>&1 | tail -n2 | sed 's/^ //' >&2", 0,
           "No tape in drive: Medium not present ");
    expect("t -d /nosuch -n load -t d", 2, "No tape in drive");
    play("udevadm", "echo 'N: null'");
    play("load", "printf '[%s]' \"$@\" >../args; head -c 1000000 /dev/zero | tr '\\0' y; exit $1");
    expect("t -d /dev/null -n 'load 0' -t 'd \"1$x' >o", 0, "Drive tape online");
    expect("t -d /dev/null -n 'load 1' -t 'd \"1$x' >o", 2, "No tape in drive");
    EXPECT_EQ(read_file(in.path("rw/args")),
              "[1][/dev/null][" + in.path("rw/work/diskmnt/d \"1$x]"));
    // What the command leaves running holds nothing of ours; one that was killed has failed.
    play("load", "echo MSG=$1; sleep 9 & echo e >&2; [ $1 = ok ] || kill -9 $$");
    const auto before = std::chrono::steady_clock::now();
    for (const auto &[word, status, message] :
         std::initializer_list<std::tuple<std::string, int, std::string>>{
             {"ok", 0, "Drive tape online"}, {"killed", 2, "No tape in drive"}}) {
        const CallResult result =
            shell("\"$0\" -r -i 7 -f t -d /dev/null -t d1 -n 'load " + word + "'");
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(result.out, "MSG=" + word + "\n");
        EXPECT_NE(("\n" + result.err).find("\ne\n"), std::string::npos) << result.err;
        EXPECT_TRUE(result.err.ends_with(" MSG=" + message + "\n")) << result.err;
    }
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(8));
    play("load", "echo loaded");
    EXPECT_EQ(shell("\"$0\" -r -i \"1 '/\" -f t -d /dev/null -t d1 -n load").out, "loaded\n");
    EXPECT_EQ(shell("ls | grep load_").out, "");
}

TEST_F(AgentDevices, Figures) {
    const std::string a = "2 1 STATUS: VNS_WRT THROUGHPUT: 12.5 GB/h INFO: 1:2 READY",
                      b = "0 0 STATUS: IDLE THROUGHPUT: 0.0 GB/h INFO: - READY";
    shell("vn_perf 3 VNS_WRT 12.5 2 1 99 1:2");
    for (const std::string arguments : {"d:3", "d -s 3 -t 30", "d -s 3 -t abc", "d -s 3 -t 2:0"}) {
        expect("p -d " + arguments, 0, a, "ID=7\n" + a + "\n");
    }
    for (const std::string timer : {"-1:5", "0:3", "-4294967295:1"}) {
        expect("p -d d:3 -t " + timer, 1, "invalid number of samples: " + timer);
    }
    const auto before = std::chrono::steady_clock::now();
    expect("p -d d:3 -t 1:9", 0, a); // the pause is one between samples
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(8));
    expect("p -d d:4 -t 4294967297:9", 1, "");
    expect("p -d d:3 -t 3:1 >o & until [ -s o ]; do sleep 0.02; done; vn_perf 3; wait $!; cat o", 0,
           b, "ID=7\n" + a + "\nID=7\n" + b + "\n");
    expect("p -d d:3 >/dev/full", 2, "write to standard output: No space left on device");
    // What the drive does at the end of its medium counts while the server waits for it.
    const auto figures = [](const std::string &status, const std::string &state) {
        return "0 0 STATUS: " + status + " THROUGHPUT: 0.0 GB/h INFO: - " + state;
    };
    for (const auto &[status, state, told] :
         std::initializer_list<std::tuple<std::string, std::string, std::string>>{
             {"CHANGING_MEDIA", "LOAD", "LOAD"},
             {"VNS_WRT", "LOAD", "LOAD"},
             {"IDLE", "LOAD", "READY"},
             {"IDLE", "a NEXT one", "a NEXT one"}}) {
        shell("vn_perf 3 " + status);
        in.set_glbv("gv_vns_eom_dev", state);
        expect("p -d dev:3", 0, figures(status, told), "ID=7\n" + figures(status, told) + "\n");
    }
    shell("vn_perf 3");
    // A pipe where a file should be holds nobody up.
    shell("mkfifo rsh_7.tmp ../info/perf_5.log");
    expect("p -d d:5", 1, "");
    EXPECT_EQ(shell("\"$0\" -i 7 -f p -d d:3").status, 0);
    EXPECT_EQ(shell("\"$0\" -i a/../../7 -f p -d d:3").status, 0);
    EXPECT_EQ(read_file(in.path("rw/work/rsh_a_.._.._7.tmp")), "ID=a/../../7\n" + b + "\n");
    in.remove_glbv("gv_rw_work"); // its directory is configured, too
    EXPECT_EQ(shell("\"$0\" -i 8 -f p -d d:3").status, 0);
    EXPECT_EQ(read_file(in.path("rw/work") + "/rsh_8.tmp"), "ID=8\n" + b + "\n");
}

TEST_F(AgentDevices, ConfigureInFull) {
    write_file(ini, vns("VNS_", false));
    write_file(in.path("rw/ini/disk3"), "gone\n0\n");
    describe();
    struct stat before = {}, after = {};
    chmod(ini.c_str(), 0640);
    const bool changed = chown(ini.c_str(), 12, 34) == 0;
    stat(ini.c_str(), &before);
    expect("c -d 3", 0, "Configured 3 VNS-drives");
    EXPECT_EQ(read_file(ini), vns("VNS_", true));
    stat(ini.c_str(), &after);
    EXPECT_EQ(std::tuple(after.st_mode, after.st_uid, after.st_gid),
              std::tuple(before.st_mode, before.st_uid, before.st_gid));
    EXPECT_EQ(before.st_uid, changed ? 12 : getuid());
    EXPECT_EQ(shell("cd ../ini; ls vns* disk*; cat disk*").out,
              "disk7\ndisk8\nvns.ini\n" + in.path("rw/work/diskmnt/d1\n0\n") + "empty\n0\n");
    EXPECT_EQ(in.get_glbv("gv_client_c_2"), std::nullopt);
}

TEST_F(AgentDevices, ConfigureRefuses) {
    const std::string good = "0 /x T TAPE FILE 1", old = read_file(ini).value_or("");
    play("vn_main", "echo >../reloaded");
    write_file(in.path("rw/ini/disk3"), "stays");
    in.set_glbv("gv_client_c_0", good);
    for (const std::string count : {"0", "x2"}) {
        expect("c -d " + count, 0, "there no drives to configure");
    }
    for (const std::string count : {"-1", "201", "99999999999999999999"}) {
        expect("c -d " + count, 1, "invalid number of drives: " + count);
    }
    EXPECT_EQ(in.get_glbv("gv_client_c_0"), good);
    const std::string w = "1234567890123456"; // one letter more than the media server reads
    for (const std::string &drive : std::initializer_list<std::string>{
             " ", "0 /x T TAPE FILE", "0 /x T TAPE FILE one", "0 /x " + w + " TAPE FILE 1",
             "0 /x T " + w + " FILE 1", "0 /x T TAPE " + w + " 1", "a/b x T DISK_H N 1",
             "0 " + std::string(246 - in.path("rw/work").size(), 'x') + " T DISK_C N 1",
             "0 /x T TAPE FILE 2147483648", "0 /x T TAPE FILE 1 cut>"}) {
        in.set_glbv("gv_client_c_0", drive);
        expect("c -d 1", 1, ("GLBV gv_client_c_0 invalid: " + drive).substr(0, 255));
    }
    write_file(in.path("rw/ini/vns.tmp"), "of another call");
    in.set_glbv("gv_client_c_0", good);
    expect("c -d 2", 1,
           "GLBV gv_client_c_1 had not been written by caller, so cannot configure the drive");
    EXPECT_EQ(in.get_glbv("gv_client_c_0"), std::nullopt);
    EXPECT_EQ(read_file(ini), old);
    EXPECT_EQ(read_file(in.path("rw/ini/vns.tmp")), "");
    write_file(ini, "[Device]\n");
    expect("c -d 1", 1, "no tape section in " + ini);
    fs::remove(ini);
    expect("c -d 1", 1, "Cannot open file " + ini + " to read");
    for (const std::string file : {"vns.ini", "vns.tmp"}) { // nobody waits for a FIFO's other end
        write_file(ini, old);
        fs::remove(in.path("rw/ini/" + file));
        mkfifo(in.path("rw/ini/" + file).c_str(), 0600);
        expect("c -d 1", 1,
               "Cannot open file " + in.path("rw/ini/" + file) +
                   (file == "vns.ini" ? " to read" : " to write"));
        fs::remove(in.path("rw/ini/" + file));
    }
    fs::remove(in.path("rw/work") + "/sem/ctrl_conf_vns.sem");
    fs::create_directory(in.path("rw/work") + "/sem/ctrl_conf_vns.sem");
    in.set_glbv("gv_client_c_0", good);
    expect("c -d 1", 1, "failed to open lock file: (21) Is a directory",
           "STATUS=FATAL MSG=Operation '+' for semaphore [ctrl_conf_vns] with caller "
           "[CONFIGURE_VNS_INI] failed with: failed to open lock file: (21) Is a directory\n");
    EXPECT_EQ(in.get_glbv("gv_client_c_0"), good);
    EXPECT_EQ(read_file(in.path("rw/ini/disk3")), "stays");
    EXPECT_FALSE(fs::exists(in.path("rw/reloaded")));
}

// What just fits: the number of drives, the words of a description, the path of a disk.
TEST_F(AgentDevices, ConfigureAtTheEdge) {
    play("vn_main", "kill -9 $$");
    const std::string longest(245 - in.path("rw/work").size(), 'x'), w = "123456789012345";
    const std::pair<std::string, std::string> disks[] = {
        {"/m" + w + "//d DISK_C", "/m" + w + "//d"},
        {"c:d DISK_C", "c:d"},
        {"c\\d A_DICDISK_", "empty"},
        {"e:\\d DISK_", "empty"},
        {longest + " DISK_C", in.path("rw/work") + "/diskmnt/" + longest}};
    std::string names, types, marks, streams, kinds;
    for (int i = 0; i < 200; i++) {
        const std::string n = std::to_string(i), key = "_" + n + "=";
        const bool disk = i < 5;
        const auto &[device, content] = disks[disk ? i : 0];
        in.set_glbv("gv_client_c_" + n,
                    n + (disk ? " " + device.substr(0, device.find(' ')) : "\t/dev/d" + n) + " " +
                        w + (disk ? device.substr(device.find(' ')) : " " + w) + " " + w + " +" +
                        n);
        names += "Device_Name" + key + (disk ? "disk" : "/dev/d") + n + "\n";
        types += "Device_Type" + key + w + "\n";
        marks += "Tapemark_Type" + key + w + "\n";
        streams += "Maximal_Number_Of_Parallel_Streams" + key + n + "\n";
        kinds += disk ? content + "\n0\n" : "";
    }
    write_file(ini, "[Tape]\nMaximal_Number_Of_Parallel_Streams=1\n" + std::string(254, 'l') +
                        "\n" + std::string(255, 'm'));
    expect("c -d 200 2>&1 | tail -n2 >&2", 0,
           "Configured 200 VNS-drives, restart of data-server failed - VNS not available");
    EXPECT_EQ(read_file(ini), "[Device]\nMaximal_Number_Of_Devices=200\n" + names + types +
                                  "\n[Disk]\nDirectory=" + in.path("rw/ini/\n\n[Tape]\n") + marks +
                                  streams + std::string(254, 'l') + "\n" + std::string(255, 'm') +
                                  "\n");
    EXPECT_EQ(shell("cd ../ini; cat disk?").out, kinds);
}

// From here on a system call fails in this process and in those that it starts.
void break_call(unsigned number) {
    sock_filter filter[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1),
                            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EIO),
                            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
    const sock_fprog program = {std::size(filter), filter};
    ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program), 0);
}

// A step that fails leaves the old vns.ini, and the disk files when it is one before theirs.
TEST_F(AgentDevices, ConfigureFailsHalfway) {
    write_file(ini, vns("", false));
    write_file(in.path("rw/ini/disk3"), "stays");
    const std::string tmp = in.path("rw/ini/vns.tmp"), eio = std::strerror(EIO);
#ifdef __NR_rename
    constexpr unsigned kRename = __NR_rename;
#else
    constexpr unsigned kRename = __NR_renameat;
#endif
    for (const auto &[number, message] : std::initializer_list<std::pair<unsigned, std::string>>{
             {__NR_fsync, "Cannot write file " + tmp + ": " + eio},
             {kRename, "Error during copy " + tmp + " to " + ini + " (5)"}}) {
        describe();
        const pid_t child = fork();
        if (child == 0) {
            break_call(number);
            expect("c -d 3 2>e; s=$?; tail -n2 e >&2; exit $s", 1, message);
            _exit(HasFailure() ? 1 : 0);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
        EXPECT_EQ(read_file(ini), vns("", false));
        EXPECT_EQ(fs::exists(in.path("rw/ini/disk3")), number == __NR_fsync);
        const std::string error = read_file(in.path("rw/work") + "/e").value_or("");
        EXPECT_EQ(error.find("FILE_CLOSE error: " + eio) != error.npos, number == __NR_fsync);
    }
    fs::remove(in.path("rw/ini/disk7"));
    fs::create_directories(in.path("rw/ini/disk7/x"));
    describe();
    expect("c -d 3", 1, "Cannot write file " + in.path("rw/ini/disk7: Is a directory"));
    EXPECT_EQ(read_file(ini), vns("", false));
}

// A reload that fails is told, and what it leaves running does not keep the caller waiting.
TEST_F(AgentDevices, ConfigureWithoutMediaServer) {
    play("vn_main", "sleep 25 & kill -9 $$");
    write_file(ini, vns("", false));
    describe();
    expect("c -d 3 2>&1 | tail -n2 >&2", 0,
           "Configured 3 VNS-drives, restart of data-server failed - VNS not available");
    EXPECT_EQ(read_file(ini), vns("", true));
}

TEST_F(AgentDevices, ConfigureByTwo) {
    play("vn_main", kill);
    // Of two at once one takes all descriptions, the other finds none.
    for (int round = 0; round < 5; ++round) {
        write_file(ini, vns("", false));
        describe();
        EXPECT_EQ(shell("for i in 1 2; do { \"$0\" -f c -d 3; echo $?; } & done | sort").out,
                  "1\n137\n");
        EXPECT_EQ(read_file(ini), vns("", true));
    }
}

} // namespace
