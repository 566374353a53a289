// The file helpers: what each returns and leaves, with names that a shell would take apart.
#include "common/common/text.h"
#include "common/unix/cm_file_util.h"
#include "common/unix/cm_hal_file_util.h"
#include "tests/support/expected.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sched.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>

using namespace vn_test;
namespace fs = std::filesystem;

namespace {

TEST(FileUtil, CopyAndChangeModeTakeEveryNameAsItIs) {
    Installation in;
    fs::current_path(in.dir);
    const mode_t mask = umask(077);
    for (const std::string name : {"-rf", "a  $(id)`id`", "';exit 9;'\"\\", "n\nl\xff %s%n"}) {
        const std::string copy = name + "2";
        write_file(name, name);
        chmod(name.c_str(), 0666);
        EXPECT_EQ(file_copy(name.c_str(), copy.c_str()), 0) << name;
        EXPECT_EQ(read_file(copy), name);
        EXPECT_EQ(fs::status(copy).permissions(), fs::perms(0666));
        EXPECT_EQ(cm_chmod("0750", copy.c_str()), 0) << name;
        EXPECT_EQ(fs::status(copy).permissions(), fs::perms(0750));
    }
    write_file("f", "text");
    const std::string longest = "." + std::string(253, '/') + "g"; // what fits
    EXPECT_EQ(file_copy("f", longest.c_str()), 0);
    EXPECT_EQ(file_copy(longest.c_str(), "f"), 0);
    EXPECT_NE(file_copy("f", ("/" + longest).c_str()), 0);
    EXPECT_NE(file_copy(("/" + longest).c_str(), "f"), 0);
    EXPECT_EQ(fs::remove("g"), true);
    EXPECT_EQ(cm_chmod("700", std::string(4096, 'x').c_str()), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
    testing::internal::CaptureStderr(); // the commands' own words
    EXPECT_NE(cm_chmod("700 f;echo >g", "f"), 0);
    EXPECT_NE(file_copy("no", "f"), 0);
    testing::internal::GetCapturedStderr();
    EXPECT_FALSE(fs::exists("g"));
    const std::string error = "<time> E009-BASICS [<pid>]: Error copying file ";
    EXPECT_EQ(in.protocol(),
              (std::vector<std::string>{error + "f /" + longest + ": File name too long",
                                        error + "/" + longest + " f: File name too long",
                                        error + "no f: umask 000; cp 'no' 'f'"}));
    umask(0);
    EXPECT_EQ(i_MKDIR("h"), 1);
    EXPECT_EQ(i_MKDIR("h"), 0);
    EXPECT_EQ(fs::status("h").permissions(), fs::perms(0770));
    umask(mask);
    EXPECT_EQ(i_FILE_DELETE(("." + std::string(1021, '/') + "f").c_str(), {}), 1);
    EXPECT_FALSE(fs::exists("f"));
    fs::current_path("/");
}

TEST(FileUtil, CreateAndDelete) {
    Installation in;
    fs::current_path(in.dir);
    fs::create_directories("w/full/x");
    for (const char *name : {"f", "w/1.tmp", "w/.tmp"}) {
        write_file(name, "");
    }
    const std::string over = "." + std::string(1021, '/') + "ff"; // cut, it is "f"
    const std::tuple<std::string, int, std::string, int> cases[] = {
        {"a/b/c/", 1, "a/b/c newly created", 1},     {"a\\b", 1, "a/b already existing", 1},
        {"%s$(x)", 1, "%s$(x) newly created", 1},    {"f/x", 0, "Not a directory", 0},
        {"/proc/no", 0, "error from MKDIR", 0},      {over, 0, "File name too long", 0},
        {"w/full", 1, "w/full already existing", 0}, {"f", 1, "f already existing", 1}};
    for (const auto &[path, created, expected, deleted] : cases) {
        char message[256];
        EXPECT_EQ(i_CREATE_DIR_LOCAL(path.c_str(), message, {}), created) << path;
        EXPECT_EQ(message, expected);
        EXPECT_EQ(i_FILE_DELETE(path.c_str(), {}), deleted) << path;
    }
    for (const std::string path : {"n/1//", "n/2/.", "n/3/..", "/"}) { // there after all
        char message[256];
        EXPECT_EQ(i_CREATE_DIR_LOCAL(path.c_str(), message, {}), 1) << path;
        EXPECT_EQ(message, (path == "n/1//" ? "n/1/" : path) + " already existing");
    }
    EXPECT_EQ(i_FILE_DELETE("w/*.tmp", {}), 1);
    EXPECT_EQ(i_FILE_DELETE("w/*.tmp", {}), 0);
    fs::current_path("/");
}

TEST(FileUtil, CallsThatCreateOneDirectoryAtOnceAllSucceed) {
    Installation in;
    fs::current_path(in.dir);
    constexpr int flags = MAP_SHARED | MAP_ANONYMOUS;
    // cppcheck-suppress invalidFunctionArg ; without a file the descriptor is -1
    void *shared = mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, flags, -1, 0);
    auto *calls = static_cast<std::atomic<int> *>(shared);
    const pid_t child = fork();
    int failures = 0;
    for (int i = 0; i < 300; ++i) {
        char message[256];
        for (++*calls; *calls < 2 * (i + 1);) { // both begin each at once
            sched_yield();
        }
        failures += i_CREATE_DIR_LOCAL(std::to_string(i).c_str(), message, {}) == 0;
    }
    if (child == 0) {
        _exit(failures > 0 ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(failures + status, 0);
    munmap(calls, sizeof *calls);
    fs::current_path("/");
}

// Calls of services, each a line with what it returned and its trace at level 3.
struct FileServices : testing::Test {
    FileServices() {
        fs::current_path(in.dir);
        log.iFlg = 3;
        text_copy(log.szFile, in.path("rw/lgc/x.lgc"));
        v_SET_LOCAL_LOG(log);
        write_file("acted", "");
    }
    ~FileServices() override { fs::current_path("/"); }

    void called(const std::string &call, int result, const char *message = "") {
        const std::vector<std::string> trace = lines_of(read_file(log.szFile).value_or(""));
        text += call + ": " + std::to_string(result) + " " + message + "\n";
        for (size_t i = 0; i < trace.size(); i++) { // what does not match comes in any order
            const bool passed = trace[i].find(" check: ") != std::string::npos &&
                                trace[i + 1].find("found valid") == std::string::npos;
            text += passed ? "" : trace[i] + "\n";
        }
        const std::string many(100, '/');
        for (size_t at = text.find(many); at != std::string::npos; at = text.find(many, at)) {
            text.replace(at, text.find_first_not_of('/', at) - at, "<slashes>");
        }
        fs::remove(log.szFile);
    }
    void erase(const char *name) { called(name, i_FILE_DELETE(name, log)); }
    void create(const char *name) {
        char message[256] = "";
        const int created = i_CREATE_DIR_LOCAL(name, message, log);
        called(name, created, message);
    }
    void find(const char *pattern, const char *date, int days) {
        write_file("acted", "");
        const auto action = [](const char *file, str_log) {
            write_file("acted", *read_file("acted") + file + ";");
            return 0;
        };
        const int found = i_FILE_FIND_EXEC_BEFORE(pattern, date, days, action, log);
        called(pattern + std::string(" ") + date, found, read_file("acted")->c_str());
    }
    void next(const char *pattern) {
        vn_dirent entry = {"?"};
        const int found = i_GET_DIR(pattern, &entry, log);
        called(pattern, found, entry.d_name);
    }
    static void touch(const char *name, time_t when) {
        const timespec times[] = {{when, 0}, {when, 0}};
        utimensat(AT_FDCWD, name, times, 0);
    }
    void expect(const std::string &name) const { expect_file(name, in.comparable(text)); }

    Installation in;
    str_log log = {};
    std::string text;
};

TEST_F(FileServices, DeleteCreateAndIterate) {
    for (const char *name : {"d/f", "d/full/f", "d/a.x", "d/.hidden", "rw/tmp/w.y"}) {
        fs::create_directories(fs::path(name).parent_path());
        write_file(name, "");
    }
    fs::create_directory("d/empty");
    for (const char *name : {"d\\f", "d/f", "d/empty", "d/full", "d/f*ll", "d/*.x", "d/*.x",
                             "none/*", "gv_rw_tmp:*.y"}) {
        erase(name);
    }
    erase((std::string(1020, '/') + "x*.y").c_str()); // cut, it is a name with a "*"
    for (const char *name : {"n/o\\p/", "n/o/p", "d/.hidden/x", "/proc/no/no"}) {
        create(name);
    }
    for (const char *pattern : {"", "d/[!.]*", "", "", "d/*hidden", "d/?", "none/x", ""}) {
        next(pattern);
    }
    next((std::string(511, '/') + "x").c_str());
    char message[256];
    EXPECT_EQ(i_CREATE_DIR_LOCAL("gv_rw_tmp:q", message, {}), 1);
    fs::current_path("rw/tmp/q");
    write_file("one", "");
    next("o?e");
    const pid_t child = fork();
    if (child == 0) {
        _exit(0);
    }
    siginfo_t info;
    waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT);
    fs::current_path("/proc/" + std::to_string(child));
    next("net/*"); // cannot be read
    fs::current_path(in.dir);
    waitpid(child, nullptr, 0);
    expect("files_delete_create.txt");
}

// The zone has summer time, on which the first date lies.
TEST_F(FileServices, OldFiles) {
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    tzset();
    constexpr time_t summer = 1593651845, day = 86400;
    fs::create_directory("o");
    write_file("o/f", "");
    touch("o/f", summer);
    find("o/*", "2020-07-02 03:04:05", 0);
    find("o\\*", "2020-07-02 03:04:06", 0);
    find("o/*", "2020-07-02 03:04:06", -1);
    find("o/*", "2020-07-02 03:04", 0);
    find("o/*.x", "", 1);
    find("gv_rw_info:*", "", 1);
    find(("o" + std::string(509, '/') + "*").c_str(), "2020-07-02 03:04:06", 0);
    find(("o" + std::string(510, '/') + "*").c_str(), "", 1);
    fs::create_symlink("nowhere", "o/gone");
    find("o/g*", "", 1);
    expect("files_old.txt");

    setenv("TZ", "UTC0", 1);
    tzset();
    for (const int days : {1, 40}) {
        touch("o/f", time(nullptr) - days * day + 20);
        find("o/f", "2999-01-01 00:00:00", days);
        EXPECT_EQ(*read_file("acted"), "");
        touch("o/f", time(nullptr) - days * day - 20);
        find("o/f", "", days);
        EXPECT_EQ(*read_file("acted"), "o/f;");
    }
}

TEST_F(FileServices, Search) {
    const std::string line(254, 'x');
    write_file("f", "none\nabc def\nghi\n" + line + "yz\nabc|AND|\nlast");
    const std::tuple<std::string, int, int, std::string> cases[] = {
        {"abc", 512, 1, "abc"},
        {"c d^", 512, 1, "abc def"},
        {"c d^", 5, 1, "abc "},
        {"abc|AND|ghi^", 512, 0, "abc|AND|ghi^"},
        {"abc|OR|nosuch^", 512, 1, "abc def"},
        {"nosuch|OR|gh^", 512, 1, "ghi"},
        {"b|AND|f^", 512, 1, "abc def"},
        {"nosuch|AND|f", 512, 0, "nosuch|AND|f"},
        {"yz|OR|x|AND|y", 512, 0, "yz|OR|x|AND|y"},
        {"last^", 512, 1, "last"},
        {"yz", 257, 1, "yz"}, // the line is read in pieces of 256 and of 255 bytes
        {"yz", 256, 0, "yz"},
        {"yz", 8, 0, "yz"},
        {"^", 512, 1, "none"}};
    for (const auto &[search, size, found, after] : cases) {
        char string[512];
        text_copy(string, search);
        EXPECT_EQ(file_search("f", string, size), found) << search;
        EXPECT_EQ(string, after);
    }
    fs::remove(log.szFile);
    char string[512] = "x";
    called("none", file_search("none", string, 512));
    called("long", file_search(std::string(1024, '/').c_str(), string, 512));
    expect("files_search.txt");
}

TEST_F(FileServices, Performance) {
    const std::string file = in.path("rw/info/perf_3.log"),
                      rest = "\nTHROUGHPUT: 1.5 GB/h\nNUMBER OF ACTIVE BACKUPS: 12\n"
                             "NUMBER OF ACTIVE RESTORES: 345\nAMOUNT: 6\n";
    for (const auto &[status, variable] : {std::pair<const char *, const char *>{"IDLE", nullptr},
                                           {"IDLE", "INSERT x"},
                                           {"IDLE", "INSERT NEXT x"},
                                           {"CHANGING_MEDIA", "INSERT x"},
                                           {"VNS_WRT", "INSERT x"},
                                           {"VNS_WRT", "?"}}) {
        char figures[10240] = "";
        write_file(file, "STATUS: " + std::string(status) + rest + "STREAM INFO: 7:8 ");
        if (variable != nullptr) {
            in.set_glbv("gv_vns_eom_d", variable);
        }
        const int read = READ_PERFORMANCE_FILE("d", "3", figures, log);
        called(status, read, figures);
    }
    char figures[10240] = "as it was";
    write_file(file, "STATUS: IDLE" + rest); // without its last line
    const int read = READ_PERFORMANCE_FILE("d", "3", figures, log);
    called("five lines", read, figures);
    expect("files_performance.txt");
}

TEST(FileUtil, AFailedCloseOfAFullDiskStopsTheServices) {
    Installation in;
    for (const std::string tool : {"vn_alarm", "vn_os_startup"}) {
        write_file(in.path("ro/bin/" + tool), "#!/bin/sh\nprintf '[%s]' \"${0##*/}\" \"$@\" >&2\n");
        fs::permissions(in.path("ro/bin/" + tool), fs::perms(0755));
    }
    for (const int current : {EDEADLK, ENFILE, ENOSPC, EMFILE, EIO, 0}) {
        testing::internal::CaptureStderr();
        errno = current;
        EXPECT_EQ(i_FILE_CLOSE(EDQUOT), 0);
        const bool stops = current == EDEADLK || current == ENFILE || current == ENOSPC;
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  std::string("\nFILE_CLOSE error: Disk quota exceeded\n") +
                      (stops ? "[vn_alarm][FILE_SYSTEM][Disk quota exceeded][vn_os_startup][STOP]\n"
                               "\nSHUTDOWN vorna2000 - problems with file system "
                               "(Disk quota exceeded) \n\n"
                             : ""))
            << current;
    }
}

TEST(FileUtil, Host) {
    Installation in;
    char name[160], platform[16];
    in.set_ini(in.path("rw/ini/vn.ini"), "SERVER", "name", std::string(200, 'h'));
    get_my_hostname(160, name);
    EXPECT_EQ(name, std::string(159, 'h'));
    in.remove_ini(in.path("rw/ini/vn.ini"), "SERVER", "name");
    get_my_hostname(160, name);
    EXPECT_STREQ(name, "??2");
    EXPECT_EQ(get_my_platform(platform), platform);
    EXPECT_STREQ(platform, "UNIX");
    char file[] = "\\a\\b\\";
    EXPECT_STREQ(GIVE_ME_FILE_NAME(file), "\\a/b/");
    for (const auto &[path, there] :
         {std::pair<std::string, int>{"", 0}, {in.dir, 1}, {in.path("no"), 0}}) {
        EXPECT_EQ(file_exist(path.c_str()), there) << path;
    }
}

} // namespace
