// The listing of a large directory under the thread sanitizer: many threads list what one does,
// whatever the system answers them.
#include "common/unix/listing/crew.h"
#include "common/unix/listing/show_tree.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <fstream>
#include <mutex>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::mutex theMutex; // for what follows
std::condition_variable theArrival;
std::set<pthread_t> theThreads;
size_t theWanted = 1; // threads that must have come before the system answers
size_t theFree = 0;   // so many questions are answered before
std::string theLast;  // the entry for which there is no memory

} // namespace

// The system's, but some entries vanish before they are asked for, and others are damaged.
extern "C" int fstatat(int directory, const char *name, struct stat *status, int flags) {
    static const auto real = reinterpret_cast<decltype(&fstatat)>(dlsym(RTLD_NEXT, "fstatat"));
    {
        std::unique_lock lock(theMutex);
        theThreads.insert(pthread_self());
        theArrival.notify_all();
        if (theFree > 0) {
            theFree--;
        } else {
            theArrival.wait_for(lock, std::chrono::seconds(20),
                                [] { return theThreads.size() >= theWanted; });
        }
    }
    if (name == theLast) {
        errno = ENOMEM;
        return -1;
    }
    const char last = name[std::strlen(name) - 1];
    if (last == '7' || (last == '9' && flags == 0)) {
        errno = last == '7' ? ENOENT : EIO;
        return -1;
    }
    return real(directory, name, status, flags);
}

namespace {

constexpr int kNever = 1000000000; // no part takes so long

struct ListingThreads : testing::Test {
    char directory[32] = "/tmp/vn_threads.XXXXXX";
    sFormat info = {};
    std::string mounts;

    ListingThreads() {
        EXPECT_NE(mkdtemp(directory), nullptr);
        const std::string root = std::string(directory) + '/';
        for (int i = 0; i < 1100; i++) {
            const std::string name =
                root + (i % 3 ? "f" : "\xff\\") + std::to_string(i * 7919 % 1100);
            const std::string target = i % 8 < 3 ? "." : i % 8 < 5 ? "nowhere" : root + "f10";
            const bool made = i % 5 == 0   ? mkdir(name.c_str(), 0700) == 0
                              : i % 5 == 1 ? symlink(target.c_str(), name.c_str()) == 0
                              : i % 5 == 2 ? mkfifo(name.c_str(), 0600) == 0
                                           : bool(std::ofstream(name) << name);
            EXPECT_TRUE(made) << name;
        }
        mounts = std::string(directory) + ".mounts";
        std::ofstream(mounts) << "dev " << root << "f10 nfs rw 0 0\n";
        gListingPlaces.cpMounts = mounts.c_str();
    }
    ~ListingThreads() override {
        EXPECT_EQ(std::system((std::string("rm -r ") + directory + "*").c_str()), 0);
    }

    // What is printed and counted, and how many threads asked for it.
    std::pair<std::string, size_t> list() {
        std::strcpy(info.szCurRoot, directory);
        info.lErrorCount = 0;
        theThreads.clear();
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        vShowTree(&info);
        const std::string out = testing::internal::GetCapturedStdout();
        return {out + testing::internal::GetCapturedStderr() + std::to_string(info.lErrorCount),
                theThreads.size()};
    }
    // Compares what many threads list with what one does. Returns that.
    std::string compare() {
        gCrewPolicy = {64, 1, 100, 131072, kNever};
        const auto [expected, one] = list();
        EXPECT_EQ(one, 1U);
        for (const unsigned members : {2U, 3U, 16U, 100U}) {
            gCrewPolicy.iMembers = members;
            theWanted = std::min(members, 16U);
            const auto [text, threads] = list();
            EXPECT_TRUE(text == expected) << members;
            EXPECT_EQ(threads, theWanted);
        }
        theWanted = 1;
        return expected;
    }
};

TEST_F(ListingThreads, ListWhatOneDoes) {
    const std::string expected = compare();
    EXPECT_GT(expected.size(), 40000U);
    EXPECT_NE(expected.find("/f10\" dm "), std::string::npos);
    EXPECT_TRUE(expected.ends_with(" is incomplete: Input/output error\n110"));
    gCrewPolicy.iStack = ~size_t{0} / 4; // the system has no thread to give
    EXPECT_TRUE(list() == std::make_pair(expected, size_t{1}));
    gCrewPolicy = {4096, 16, 4, 131072, kNever};
    EXPECT_TRUE(list() == std::make_pair(expected, size_t{1}));
    gCrewPolicy = {64, 16, 1, 131072, -1}; // each part is slow: more threads than processors
    theWanted = 16;
    theFree = 128; // the first part's
    EXPECT_TRUE(list() == std::make_pair(expected, size_t{16}));
    theWanted = 1;
    theLast = "f100"; // the listing ends there
    EXPECT_LT(compare().size(), expected.size());
    theLast.clear();
}

// Threads that have found nothing to do all come back when there is more.
TEST(Crew, WakesAllForMore) {
    gCrewPolicy = {64, 16, 4, 131072, kNever};
    size_t begun = 0;
    const auto part = [](void *task, size_t number, unsigned) {
        auto *parts = static_cast<size_t *>(task);
        std::unique_lock lock(theMutex);
        ++*parts;
        theArrival.notify_all();
        theArrival.wait_for(lock, std::chrono::seconds(9),
                            [&] { return *parts >= number / 3 * 3 + 3; });
    };
    crew workers(part, &begun);
    workers.hire(4);
    for (const size_t end : {3U, 6U}) {
        workers.open(end);
        std::unique_lock lock(theMutex);
        EXPECT_TRUE(
            theArrival.wait_for(lock, std::chrono::seconds(3), [&] { return begun == end; }));
        lock.unlock();
        usleep(20000); // now they wait again
    }
}

// Standard output that takes nothing is told once.
TEST_F(ListingThreads, AreAllStoppedByAnError) {
    gCrewPolicy = {64, 16, 4, 131072, kNever};
    const int out = dup(STDOUT_FILENO), full = open("/dev/full", O_WRONLY);
    dup2(full, STDOUT_FILENO);
    testing::internal::CaptureStderr();
    std::strcpy(info.szCurRoot, directory);
    vShowTree(&info);
    dup2(out, STDOUT_FILENO);
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_EQ(info.lErrorCount, 111) << told;
    close(out);
    close(full);
}

} // namespace
