// What an operator sees of a traced call, whole: one request or more for each function letter, with
// exit status, record and trace at level 2, against the files tests/expected/trace_<letter>.txt.
// After a wanted change of a trace write them anew and look at what has changed:
//     VN_RENEW=1 scripts/test -R AgentTrace; git diff tests/expected
#include "tests/support/expected.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace vn_test;
namespace fs = std::filesystem;

namespace {

using Words = std::vector<std::string>;

struct AgentTrace : testing::Test {
    AgentTrace() { fs::create_directory(work + "dir"); }

    Installation in;
    const std::string work = in.path("rw/work") + "/", ini = in.path("rw/ini/");

    // A program that the agent finds before the machine's one of the same name.
    void play(const std::string &name, const std::string &script) const {
        write_file(in.path("ro/drive/") + name, "#!/bin/sh\n" + script + "\n");
        fs::permissions(in.path("ro/drive/") + name, fs::perms(0755));
    }
    // The calls one after the other, each traced.
    void expect(const std::string &letter, const std::vector<Words> &calls,
                const Words &first = {"-v", "-i", "7"}) const {
        CallOptions options;
        options.environment = {"PATH=" + in.path("ro/drive:/usr/bin:/bin"), "HOME=/", "TZ=UTC0"};
        std::string text;
        for (const Words &call : calls) {
            Words arguments = first;
            arguments.insert(arguments.end(), call.begin(), call.end());
            text += (text.empty() ? "" : "\n") + transcript(in, arguments, options);
        }
        for (size_t at = 0; (at = text.find("\\.", at)) != text.npos;) { // in a search
            text.erase(at, 1);
        }
        expect_file("trace_" + letter + ".txt", in.comparable(text));
    }
};

TEST_F(AgentTrace, c_Configure) {
    in.set_glbv("gv_client_c_0", "0 /dev/nst4 LTO TAPE FILE 4");
    in.set_glbv("gv_client_c_1", "1 d1 DISK DISK_CHNG NONE 2");
    expect("c", {{"-f", "c", "-d", "3"}, {"-f", "c", "-d", "-1"}});
    in.set_glbv("gv_client_c_0", "0 /dev/nst4 LTO TAPE FILE 4");
    in.set_glbv("gv_client_c_1", "1 d1 DISK DISK_CHNG NONE 2");
    in.set_glbv("gv_client_c_2", "2 /d2 DISK DISK_CHNG NONE 1");
    in.set_glbv("gv_client_c_3", "3 /d3 DISK DISK_HARD NONE 1");
    in.set_glbv("gv_client_c_4", "3 /d4 DISK DISK_HARD NONE 1");
    expect("c_all", {{"-f", "c", "-d", "5"}, {"-f", "c", "-d", "x"}});
    // A media server that does not come up, a disk file that cannot be made.
    in.set_glbv("gv_client_c_0", "0 /dev/nst4 LTO TAPE FILE 4");
    write_file(in.path("ro/bin/vn_main"), "#!/bin/sh\nkill -9 $$\n");
    expect("c_down", {{"-f", "c", "-d", "1"}});
    in.set_glbv("gv_client_c_0", "4 /d4 DISK DISK_CHNG FILE 4");
    fs::create_directories(ini + "disk4/x");
    expect("c_disk", {{"-f", "c", "-d", "1"}});
}

TEST_F(AgentTrace, d_Dir) {
    write_file(work + "dir/file", "12345");
    fs::create_symlink("file", work + "dir/link");
    expect("d", {{"-f", "dir", work + "dir"}, {"-f", "d", work + "nosuch"}});
}

TEST_F(AgentTrace, D_Dircreate) {
    expect("D_create", {{"-f", "D", "-n", "new/sub"}, {"-f", "D", "-n", "new/sub"}, {"-f", "D"}});
}

TEST_F(AgentTrace, e_Existfile) {
    expect("e", {{"-f", "e", "-n", "dir"}, {"-f", "e", "-n", "nosuch"}});
}

TEST_F(AgentTrace, f_Filecopy) {
    write_file(work + "dir/file", "text");
    expect("f", {{"-f", "f", "-m", "pd", "-s", "dir", "-n", "file"},
                 {"-f", "f", "-m", "g", "-t", "dir", "-n", "file"},
                 {"-f", "f", "-m", "g", "-t", "dir", "-n", "nosuch"},
                 {"-f", "f", "-m", "x", "-t", "dir", "-n", "nosuch"}});
}

TEST_F(AgentTrace, G_R_W_Variables) {
    expect("W", {{"-f", "W", "-n", "gv_x", "-s", "two words"}, {"-f", "W", "-n", "gv_x"}});
    expect("G", {{"-f", "G", "-n", "gv_x"}, {"-f", "G", "-n", "gv_nosuch"}});
    expect("R", {{"-f", "R", "-n", "gv_x"}, {"-f", "R", "-n", "gv_x"}});
}

// The processes are those that the stand-in for ps lists: first one of ours, then none.
TEST_F(AgentTrace, k_Kill) {
    const pid_t pid = fork();
    if (pid == 0) {
        execl("/bin/sleep", "sleep", "60", nullptr);
        _exit(127);
    }
    play("ps", "cd '" + in.dir + "'; echo PID PPID USER COMMAND; [ -e listed ] || echo " +
                   std::to_string(pid) + " 1 root vbc s SS1; : >listed");
    expect("k", {{"-f", "k", "-s", "SS1"}, {"-f", "k", "-s", "SS1"}});
    int status = 0;
    kill(pid, SIGKILL);
    waitpid(pid, &status, 0);
    EXPECT_EQ(WTERMSIG(status), SIGINT);
}

TEST_F(AgentTrace, m_Move) {
    write_file(ini + "mtf_extended_header.dat", "header");
    expect("m", {{"-f", "m", "-s", "SS1"}});
    write_file(ini + "mtf_trailer.dat", "trailer");
    expect("m_both", {{"-f", "m", "-s", "SS1"}});
}

TEST_F(AgentTrace, p_Performance) {
    write_file(in.path("rw/info/perf_3.log"), "");
    run_program({in.path("ro/bin/vn_perf"), "3", "VNS_WRT", "12.5", "2", "1", "99", "1:2"},
                {"PATH=/usr/bin:/bin"}, {});
    expect("p", {{"-f", "p", "-d", "d:3"},
                 {"-r", "-f", "p", "-d", "d", "-s", "3"},
                 {"-f", "p", "-d", "d:4"},
                 {"-f", "p", "-d", "d"},
                 {"-f", "p", "-d", "d", "-s", "3", "-t", "0:1"}});
    in.set_glbv("gv_vns_eom_d", "NEXT");
    expect("p_eom", {{"-f", "p", "-d", "d", "-s", "3", "-t", "9:0"}});
}

TEST_F(AgentTrace, r_EventLog) {
    expect("r", {{"-f", "r"}});
}

TEST_F(AgentTrace, t_State) {
    write_file(ini + "disk1", "empty\n0\n");
    write_file(work + "drive.states", "1 Medium not present\n");
    expect("t", {{"-f", "t", "-d", "disk1", "-t", "DISK_HARD"},
                 {"-f", "t", "-d", "x", "-t", work + "dir"},
                 {"-f", "t", "-d", "/dev/nosuch", "-t", "TAPE_DRIVE"},
                 {"-f", "t", "-d", "/dev/null", "-t", "TAPE_DRIVE"},
                 {"-f", "t", "-t", "x"},
                 {"-f", "t", "-d", "x"},
                 {"-f", "t", "-d", "x", "-t", work + "nosuch"}});
    // A disk with a load command: no device, loaded, not loaded, mounted already. At level 1, as
    // what reads the programs' output traces each turn that it takes.
    in.set_glbv("gv_client_trace", "t");
    fs::create_directory(work + "diskmnt/d1");
    play("udevadm", "[ $4 = no ] || echo N: null");
    play("load", "echo \"[$*]\"; exit $1");
    play("vn_client",
         "[ $(wc -l <load.log) -lt 3 ] || echo \"/dev/null on $PWD/diskmnt/d1 type x\"");
    const auto load = [](const std::string &device, const std::string &status) {
        return Words{"-f", "t", "-d", device, "-t", "d1", "-n", "echo >>load.log; load " + status};
    };
    write_file(work + "load.log", "\n");
    expect("t_load", {load("no", "0"), load("null", "0"), load("null", "3"), load("null", "0")},
           {"-i", "7"});
}

TEST_F(AgentTrace, u_Usefile) {
    const auto u = [](const std::string &mode, Words more) {
        more.insert(more.begin(), {"-f", "u", "-m", mode});
        return more;
    };
    expect("u",
           {u("c", {"-n", "f", "-s", "a line"}), u("w", {"-n", "f", "-s", "another"}),
            u("r", {"-n", "f"}), u("f", {"-n", "f", "-s", "oth^"}), u("e", {"-n", "f"}),
            u("x", {"-n", "f"}), u("m", {"-n", "f", "-s", "600"}), u("d", {"-n", "*f", "-t", "1"}),
            u("d", {"-n", "f"}), u("r", {"-n", "f"}),
            u("i", {"-n", "gv_rw_ini:vtpd.ini", "-s", "[VTPD_Server]", "-t", "VTPD_PORT"}),
            u("C", {"-n", ini + "vtpd.ini", "-s", "VTPD_Server", "-t", "VTPD_PORT", "-d", "1"}),
            u("q", {"-n", "f"})});
}

TEST_F(AgentTrace, x_Execute) {
    expect("x", {{"-f", "x", "-u", "root", "-s", "vn_perf 2 IDLE"},
                 {"-f", "x", "-u", "root", "--", "vn_perf"},
                 {"-f", "x", "-u", "-v", "-s", "vn_perf"},
                 {"-f", "x", "-u", "vbccopy", "-s", "exit 1"}});
}

// From the first line on: the levels of debug.ini, which also name the parent.
TEST_F(AgentTrace, FromTheStart) {
    in.set_ini(ini + "debug.ini", "", "VN_CLIENT", "2");
    in.set_ini(ini + "debug.ini", "", "STDERR", "1");
    expect("start", {{"-f", "G", "-n", "gv_rw_work"}, {"-f"}, {"-x"}, {"nonsense"}});
}

} // namespace
