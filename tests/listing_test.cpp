// The listing: its list against a plain model, directories, and what programs list.
#include "common/common/text.h"
#include "common/unix/cm_hal_file_util.h"
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <set>
#include <sys/resource.h>
#include <sys/stat.h>
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

TEST(Listing, EntriesMountsAndApplications) {
    Installation in;
    const std::string r = in.path("m/"), table = in.path("mounts");
    for (const char *name : {"m/data/deep", "m/z", "m/smb", "m/part", "etc/init.d"}) {
        fs::create_directories(in.path(name));
    }
    for (const char *name : {"etc/oratab", "etc/init.d/mysqld"}) {
        write_file(in.path(name), "");
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
    write_file(table, "dev " + r + "z ext4 rw 0 0\nnfs\ns:/t proc nfs rw\n" +
                          std::string(2047, 'x') + "s:/x " + r + "part nfs\ns:/x " + r +
                          "data nfs rw,hard 0 0\n//s/z " + r + "smb smbfs ro 0 0\ns:/y " + r +
                          "gone nfs rw 0 0\ns:/y " + r + "data/deep nfs rw 0 0\ns:/t /tmp nfs rw");
    const s_LISTING_PLACES machine = gListingPlaces;
    EXPECT_EQ(machine.cpMarkers + std::string("|") + machine.cpMounts, "|/proc/mounts");
    gListingPlaces = {in.dir.c_str(), table.c_str()};
    std::string entries = line(r + "data", "dm", "s:/x,nfs,rw,hard") + line(r + "l", "dl") +
                          line(r + "part", "d_") + line(r + "smb", "dm", "//s/z,smbfs,ro") +
                          line(r + "z", "d_");
    for (const std::string &name : names) {
        entries += line(r + name, "f_");
    }
    entries += line(r + "o", "fl") + line(r + "p", "fp");
    EXPECT_EQ(list(in.path("m")), entries);
    EXPECT_EQ(list(r), "\"ORACLE\" fb 0 0 0 - ,\n\"MySQL\" db 0 0 0 - ,\n" + entries);
    fs::current_path("/");
    const std::string all = list("/");
    EXPECT_NE(all.find("\"/tmp\" dm "), std::string::npos);
    EXPECT_EQ(all.find("\"proc\" dm "), std::string::npos); // has no "/", lies in no directory
    gListingPlaces = machine;
}

TEST(Listing, ProgramsListPseudoRoots) {
    Installation in;
    const std::string file = in.path("ro/bin/vbc_mysql"),
                      odd = "/MySQL a  b;'$(echo x)`echo y`\"\n\\";
    write_file(file, "#!/bin/sh\nprintf '[%s]' \"$@\"\n");
    chmod(file.c_str(), 0755);
    EXPECT_EQ(list(odd), "[-D][" + odd + "]");
    const std::string over = odd + std::string(2048, 'x'); // not cut
    EXPECT_EQ(list(over, incomplete(over, "File name too long")), "");
    write_file(file, "#!/bin/sh\nsleep 9 2>/dev/null &\nyes abcdefg | head -n 99999\n");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(list("/MySQL").size(), 8 * 99999); // what is left behind is not waited for
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
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
    const std::string root = in.path("rw/work");
    write_file(root + "/f", "");
    rlimit before = {};
    getrlimit(RLIMIT_AS, &before);
    const unsigned long pages = std::stoul(*read_file("/proc/self/statm"));
    const rlimit little = {pages * static_cast<unsigned long>(sysconf(_SC_PAGESIZE)) + (1 << 19),
                           before.rlim_max};
    setrlimit(RLIMIT_AS, &little);
    const std::string text = list(root, incomplete(root, "Cannot allocate memory"));
    setrlimit(RLIMIT_AS, &before);
    EXPECT_EQ(text, "");
}

} // namespace
