// The listing: its list against a plain model, directories, and what programs list.
#include "common/common/text.h"
#include "common/unix/cm_hal_file_util.h"
#include "common/unix/listing/entry_list.h"
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <ctime>
#include <cwchar>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace vn_test;
namespace fs = std::filesystem;

namespace {

TEST(EntryList, SortsAndAppends) {
    const auto entry = std::make_unique<sFormat>();
    vStart();
    for (const char *name :
         {"x-longer2", "x-longer1", "x\xff", "x", "xA", "a\\", "xA", "+z", "+b", "y", "zz", "b"}) {
        const bool add = *name == '+'; // the others are sorted in
        text_copy(entry->szCurFullFileName, name + add);
        add ? vAdd(entry.get()) : vSort(entry.get());
        entry->dSize++;
    }
    testing::internal::CaptureStdout();
    vOutput();
    vDelete();
    std::string numbers;
    for (const std::string &text : lines_of(testing::internal::GetCapturedStdout())) {
        numbers += text.substr(text.find("   ") + 2, 3);
    }
    EXPECT_EQ(numbers, " 5  11 3  1  0  4  2  9  7  8  10");
}

TEST(EntryList, PrintsLinesAndCounters) {
    const auto entry = std::make_unique<sFormat>();
    const auto other = std::make_unique<sFormat>();
    for (const auto &[type, name, order] :
         {std::tuple('f', "a", 0), {'f', "b", -1}, {'f', "B", 1}, {'d', "a", 1}, {'g', "A", -1}}) {
        entry->cBaseType = 'f';
        other->cBaseType = static_cast<unsigned char>(type);
        text_copy(entry->szCurFullFileName, "a");
        text_copy(other->szCurFullFileName, name);
        const int result = iCompare(entry.get(), other.get());
        EXPECT_EQ((result > 0) - (result < 0), order) << type << name;
    }
    entry->cType = 'k';
    text_copy(entry->szCurFullFileName, "\\a\\b");
    text_copy(entry->szCreatTime, "then");
    text_copy(entry->szModTime, "now");
    text_copy(entry->szInfo, "dev,type");
    const double sizes[] = {0, 9007199254740991, 9007199254740992.0 + 2, 1e19, 2.5, 3.5, -1};
    testing::internal::CaptureStdout();
    for (const double size : sizes) {
        entry->dSize = size;
        vShow(entry.get());
    }
    entry->bWchar = 1;
    entry->cType = 'w';
    std::wcscpy(entry->szwCurFullFileName, L"wide");
    text_copy(entry->szInfo, "i");
    vShow(entry.get());
    vStart();
    vAdd(other.get());
    vStart(); // forgets it
    vOutput();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\"/a/b\" fk then now 0 - ,dev,type\n\"/a/b\" __ then now 9007199254740991 - ,\n"
              "\"/a/b\" __ then now 9007199254740994 - ,\n"
              "\"/a/b\" __ then now 10000000000000000000 - ,\n\"/a/b\" __ then now 2 - ,\n"
              "\"/a/b\" __ then now 4 - ,\n\"/a/b\" __ then now -1 - ,\n"
              "\"wide\" _w then now -1 - ,i\n");

    const auto counters = [&entry] {
        testing::internal::CaptureStderr();
        vShowSummary(entry.get());
        return testing::internal::GetCapturedStderr();
    };
    text_copy(entry->szMaxFileName, "ab");
    EXPECT_EQ(counters(),
              "\n           0 Directories                 0 Bytes\n           0 Files\n");
    entry->lErrorCount = 1;
    entry->iDevCount = 2;
    entry->lHardlinkCount = 3;
    entry->lDirCount = 4;
    entry->lFileCount = 5;
    entry->dSumSize = 6;
    text_copy(entry->szMaxFileName, "abc");
    EXPECT_EQ(counters(), "\n           1 Errors\n           2 Devices\n           3 Hardlinks\n"
                          "           4 Directories                 6 Bytes\n           5 Files\n"
                          "\nLargest file name: \nabc\n with 3 characters\n");
}

TEST(EntryList, MemoryIsMissing) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer needs the memory";
#endif
    const auto entry = std::make_unique<sFormat>();
    text_copy(entry->szCurFullFileName, std::string(4000, 'x'));
    testing::internal::CaptureStderr();
    rlimit before = {};
    getrlimit(RLIMIT_AS, &before);
    const rlimit none = {0, before.rlim_max};
    setrlimit(RLIMIT_AS, &none);
    void **blocks = nullptr; // all that is left
    for (const size_t size : {65536, 4096, 512, 64, 16}) {
        while (auto **block = static_cast<void **>(std::malloc(size))) {
            *block = blocks;
            blocks = block;
        }
    }
    vAdd(entry.get());
    vSort(entry.get());
    while (blocks != nullptr) {
        void *next = *blocks;
        std::free(blocks);
        blocks = static_cast<void **>(next);
    }
    for (int i = 0; i < 2000; i++) {
        vAdd(entry.get());
    }
    setrlimit(RLIMIT_AS, &before);
    vDelete();
    const std::string first = "vAdd: Kein Speicherplatz vorhanden fuer strpAnfang",
                      further = "vAdd: Kein Speicherplatz fuer letztes Element",
                      text = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(text.starts_with(first + first + further)) << text.substr(0, 300);
    EXPECT_TRUE(text.ends_with(further));
}

// More entries than one block of memory or of output holds, against a plain model.
TEST(EntryList, ManyEntriesInTheirOrder) {
    setenv("TZ", "UTC0", 1);
    tzset();
    entry_list list;
    std::map<std::string, std::string> model;
    std::mt19937 random(7); // NOLINT(cert-msc51-cpp): the same numbers in every run
    const std::string common = "/common\xff/", letters = "aAz\xff";
    for (unsigned i = 0; i < 6000; i++) {
        std::string name = common;
        for (unsigned long part = random() % 200; part > 2; part /= 3) {
            name += std::string(part, letters[random() % 4]) + (i % 9 < 7 ? "" : "-long ");
        }
        const long long changed = static_cast<long long>(random() % 16) * 512,
                        modified = random() % 2000000000;
        const char type = "df"[random() % 2];
        const std::string info = random() % 4 == 0 ? "dev,type" : "";
        EXPECT_TRUE(list.insert({type, '_', name, info, changed, modified, 1.0 * i}));
        std::string text = "\"" + name + "\" " + type + "_";
        for (const time_t when : {changed, modified}) {
            char time[32];
            std::strftime(time, sizeof time, " %Y.%m.%d %H:%M:%S", std::gmtime(&when));
            text += time;
        }
        model.emplace(type + name, text + " " + std::to_string(i) + " - ," + info + "\n");
    }
    std::string expected;
    for (const auto &[key, text] : model) {
        expected += text;
    }
    testing::internal::CaptureStdout();
    EXPECT_EQ(list.print(), 0);
    EXPECT_TRUE(testing::internal::GetCapturedStdout() == expected);
    EXPECT_LT(model.size(), 5900U); // some came twice
}

// Lists a directory, with the errors on standard error.
std::string list(const std::string &root, const std::string &errors = "") {
    const auto info = std::make_unique<sFormat>();
    text_copy(info->szCurRoot, root);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    vShowTree(info.get());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), errors);
    EXPECT_EQ(info->lErrorCount == 0, errors.empty());
    return testing::internal::GetCapturedStdout();
}

std::string incomplete(const std::string &root, const std::string &reason) {
    return "ERROR: listing of " + root + " is incomplete: " + reason + "\n";
}

// A name with backslashes as it is printed.
std::string shown(std::string text) {
    szPath2Unix(text.data());
    return text;
}

// The line of an entry that is there.
std::string line(const std::string &path, const std::string &kind, const std::string &info = "") {
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    std::string text = "\"" + path + "\" " + kind;
    for (const time_t when : {status.st_ctime, status.st_mtime}) {
        char time[32];
        std::strftime(time, sizeof time, " %Y.%m.%d %H:%M:%S", std::localtime(&when));
        text += time;
    }
    return text + " " + std::to_string(status.st_size) + " - ," + info + "\n";
}

TEST(Listing, EntriesAndMounts) {
    Installation in;
    const std::string r = in.path("m/"), table = in.path("mounts");
    for (const char *name : {"m/data/deep", "m/z", "m/smb", "m/part", "m/s p ", "m/t\\09x"}) {
        fs::create_directories(in.path(name));
    }
    std::set<std::string> names = {"-rf",       "A",    "a\n\"b\" 'c' $(d)",
                                   "b\xff\xfe", "%s%n", std::string(255, 'n')};
    for (const std::string &name : names) {
        write_file(r + name, name);
    }
    fs::create_symlink("A", r + "o");
    fs::create_symlink("z", r + "l");
    fs::create_symlink("nowhere", r + "dangling"); // is no entry
    ASSERT_EQ(mkfifo((r + "p").c_str(), 0600), 0);
    sockaddr_un address = {AF_UNIX, {}};
    text_copy(address.sun_path, r + "q");
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    close(fd);
    // Device files, where they can be made.
    const bool devices =
        mknod((r + "x").c_str(), S_IFBLK, 0) == 0 && mknod((r + "y").c_str(), S_IFCHR, 0) == 0;
    write_file(table, "dev " + r + "z ext4 rw 0 0\nnfs\ns:/t proc nfs rw\n" +
                          std::string(2047, 'x') + "s:/x " + r + "part nfs\ns:/x " + r +
                          "data nfs rw,hard 0 0\n//s/z " + r + "smb smbfs ro 0 0\ns:/y " + r +
                          "gone nfs rw 0 0\ns:/y " + r + "s\\040p\\040 nfs rw\ns:/y " + r +
                          "t\\09x nfs rw\ns:/y " + r + "data/deep nfs rw 0 0\ns:/t /tmp nfs rw");
    const s_LISTING_PLACES machine = gListingPlaces;
    EXPECT_EQ(machine.cpMarkers + std::string("|") + machine.cpMounts, "|/proc/mounts");
    gListingPlaces = {in.dir.c_str(), table.c_str()};
    std::string entries = line(r + "data", "dm", "s:/x,nfs,rw,hard") + line(r + "l", "dl") +
                          line(r + "part", "d_") + line(r + "s p ", "dm", "s:/y,nfs,rw") +
                          line(r + "smb", "dm", "//s/z,smbfs,ro") +
                          shown(line(r + "t\\09x", "dm", "s:/y,nfs,rw")) + line(r + "z", "d_");
    for (const std::string &name : names) {
        entries += line(r + name, "f_");
    }
    entries += line(r + "o", "fl") + line(r + "p", "fp") + line(r + "q", "fs");
    entries += devices ? line(r + "x", "fk") + line(r + "y", "fc") : "";
    EXPECT_EQ(list(in.path("m")), entries);
    EXPECT_EQ(list(r), entries);
    fs::current_path("/");
    const std::string all = list("/");
    EXPECT_NE(all.find("\"/tmp\" dm "), std::string::npos);
    EXPECT_EQ(all.find("\"proc\" dm "), std::string::npos); // has no "/", lies in no directory
    gListingPlaces = machine;
}

TEST(Listing, ApplicationsByTheirMarkers) {
    Installation in;
    const std::string root = in.path("rw/tmp");
    const s_LISTING_PLACES machine = gListingPlaces;
    gListingPlaces.cpMarkers = in.dir.c_str();
    std::string all;
    for (const auto &[marker, shown] :
         {std::pair("etc/SLOX-release", "\"SuSE Linux Openexchange Server\" fb"),
          {"etc/init.d/openexchange", "\"Open-Xchange\" fb"},
          {"etc/opt/scalix/instance.cfg", "\"Scalix\" db"},
          {"opt/scalix/global/config", "\"Scalix\" db"},
          {"etc/zarafa/server.cfg", "\"Zarafa\" db"},
          {"opt/novell/sms/bin/smsconfig", "\"NetWare\" db"},
          {"etc/oratab", "\"ORACLE\" fb"},
          {"etc/init.d/mysqld", "\"MySQL\" db"},
          {"etc/init.d/mysql", ""},
          {"etc/init.d/postgresql", "\"PostgreSQL\" db"},
          {"etc/vmware-release", "\"ESX Server\" db"},
          {"etc/xensource-inventory", "\"XEN Server\" db"}}) {
        fs::create_directories(fs::path(in.path(marker)).parent_path());
        write_file(in.path(marker), "");
        all += *shown == '\0' ? "" : std::string(shown) + " 0 0 0 - ,\n";
        EXPECT_EQ(list(root + "/"), all) << marker;
    }
    fs::remove(in.path("etc/init.d/mysqld"));
    EXPECT_EQ(list(root + "/"), all);
    EXPECT_EQ(list(root), "");
    gListingPlaces = machine;
}

TEST(Listing, ProgramsListPseudoRoots) {
    Installation in;
    const std::string odd = "/MySQL a  b;'$(echo x)`echo y`\"\n\\",
                      file = in.path("ro/bin/vbc_mysql");
    setenv("PATH", (in.path("ro/bin:") + std::getenv("PATH")).c_str(), 1);
    for (const auto &[root, command] :
         {std::pair<std::string, std::string>("mountain", "[mount]"),
          {"/Scalix a", "[vbc_scx][-D][/Scalix a]"},
          {odd, "[vbc_mysql][-D][" + odd + "]"},
          {"/PostgreSQL/$x", "[vbc_pgsql][-D][/PostgreSQL/$x]"},
          {"/ESX Server/\"$x", "[vbc_esx][-D][/ESX Server/\"$x]"},
          {"/XEN Server", "[vbc_xensrv][-D][/XEN Server]"},
          {"/NetWare/x y", "[vbc_vndr][-D][-N][:::::0]"},
          {"/MySQL" + std::string(2028, 'x'),
           "[vbc_mysql][-D][/MySQL" + std::string(2028, 'x') + "]"}}) {
        const std::string program = in.path("ro/bin/") + command.substr(1, command.find(']') - 1);
        write_file(program, "#!/bin/sh\nprintf '[%s]' \"${0##*/}\" \"$@\"\n");
        chmod(program.c_str(), 0755);
        EXPECT_EQ(list(root), command);
    }
    const std::string over = "/MySQL" + std::string(2029, 'x'); // not cut
    EXPECT_EQ(list(over, incomplete(over, "File name too long")), "");
    write_file(file, "#!/bin/sh\nsleep 9 2>/dev/null &\necho $! >'" + in.path("left") +
                         "'\nyes abcdefg | head -n 99999\n");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(list("/MySQL").size(), 8 * 99999); // what is left behind is not waited for
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    kill(std::stoi(*read_file(in.path("left"))), SIGKILL); // ctest would wait for it
    write_file(file, "#!/bin/sh\necho one; exit 3\n");
    EXPECT_EQ(list("/MySQL", incomplete("/MySQL", "exit status 3")), "one\n");
}

TEST(Listing, WhatIsMissingIsTold) {
    Installation in;
    // A path of 4,000 bytes, an entry whose name is as long as a name can be, and one that is
    // longer.
    std::string deep = in.path("deep/");
    deep += std::string(220, 'd');
    while (deep.size() < 3790) {
        deep += "/" + std::string(199, 'd');
    }
    deep += "/" + std::string(4000 - deep.size() - 1, 'd');
    fs::create_directories(deep);
    fs::current_path(deep);
    const std::string longest(94, 'n'), longer(95, 'n');
    write_file(longest, "");
    write_file(longer, "");
    const std::string all = list(deep, incomplete(deep, "File name too long"));
    EXPECT_EQ(all, line(deep + "/" + longest, "f_"));
    fs::remove(longer); // no path leads there
    EXPECT_EQ(list(deep), all);
    fs::current_path("/");

    const pid_t child = fork();
    if (child == 0) {
        _exit(0);
    }
    siginfo_t info;
    waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT);
    const std::string gone = "/proc/" + std::to_string(child) + "/net"; // cannot be read
    EXPECT_EQ(list(gone, incomplete(gone, "Invalid argument")), "");
    waitpid(child, nullptr, 0);
}

TEST(Listing, MemoryIsMissing) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer needs the memory";
#endif
    Installation in;
    const std::string root = in.path("rw/work"), whole = list(root);
    rlimit before = {};
    getrlimit(RLIMIT_AS, &before);
    int incomplete_lists = 0;
    for (rlim_t spare = 1 << 18; spare < 1 << 22; spare += 1 << 16) {
        const auto info = std::make_unique<sFormat>();
        text_copy(info->szCurRoot, root);
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const unsigned long pages = std::stoul(*read_file("/proc/self/statm"));
        const rlimit little = {pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + spare,
                               before.rlim_max};
        setrlimit(RLIMIT_AS, &little);
        vShowTree(info.get());
        setrlimit(RLIMIT_AS, &before);
        const std::string error = testing::internal::GetCapturedStderr();
        EXPECT_EQ(testing::internal::GetCapturedStdout(), error.empty() ? whole : "") << spare;
        EXPECT_EQ(error, error.empty() ? "" : incomplete(root, "Cannot allocate memory")) << spare;
        incomplete_lists += error.empty() ? 0 : 1;
    }
    EXPECT_GT(incomplete_lists, 0);
}

} // namespace
