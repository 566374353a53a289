// What listing a directory costs beside asking the system for its entries: wall time and peak
// memory of `vn_client dir DIR` on directories of empty files, against ls, find and the floor,
// which is this program reading the directory with one fstatat per entry. In turn, in one run, all
// to /dev/null. With the argument "million", of a million files, too; with "slow", of 10,000 files
// whose status takes a millisecond each, as on a file server; "floor DIR" is the floor.
#include "bench/measure.h"

#include <cstring>
#include <dirent.h>
#include <sys/stat.h>

namespace {

struct Contestant {
    const char *name;
    std::vector<std::string> command;
    measure::Pairs wall = {}; // our time and this one's in the same round
    long peak = 0;
};

int read_floor(const char *path) {
    DIR *directory = opendir(path);
    unsigned long long sum = 0;
    while (const dirent *entry = directory != nullptr ? readdir(directory) : nullptr) {
        struct stat status = {};
        if (fstatat(dirfd(directory), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
            return 1;
        }
        sum += static_cast<unsigned long long>(status.st_mtime);
    }
    std::printf("%llu\n", sum); // else the compiler might do without
    return directory != nullptr ? closedir(directory) : 1;
}

// Names as programs make them: a stem, a number, an ending; made in an order that is not theirs.
void make_files(const std::string &directory, unsigned count) {
    if (mkdir(directory.c_str(), 0700) != 0) {
        throw std::runtime_error(directory + ": cannot be made");
    }
    constexpr unsigned step = 7919; // prime, so that each number comes once
    for (unsigned i = 0; i < count; ++i) {
        const unsigned long number = 1UL * i * step % count;
        const std::string file = directory + "/file_" + std::to_string(number) + ".dat";
        const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        if (fd < 0 || close(fd) != 0) {
            throw std::runtime_error(file + ": cannot be made");
        }
    }
}

void round(std::vector<Contestant> *contestants) {
    double ours = 0;
    for (Contestant &c : *contestants) {
        const measure::Cost cost = measure::run(c.command);
        ours = &c == &contestants->front() ? cost.wall : ours;
        c.wall.add(ours, cost.wall);
        c.peak = std::max(c.peak, cost.peak);
    }
}

void compare(const char *self, const std::string &directory, unsigned count) {
    make_files(directory, count);
    std::vector<Contestant> contestants = {
        {"vn_client dir", {VN_CLIENT_PROGRAM, "dir", directory}},
        {"floor", {self, "floor", directory}},
        {"ls -l", {"/bin/ls", "-l", "--time-style=full-iso", directory}},
        {"find -printf",
         {"/usr/bin/find", directory, "-maxdepth", "1", "-printf", "%p %y %C@ %T@ %s\n"}},
    };
    for (const Contestant &c : contestants) { // warms the caches
        measure::run(c.command);
    }
    const int rounds = count >= 1000000 ? 5 : count >= 100000 ? 11 : 31;
    for (int i = 0; i < rounds; ++i) {
        round(&contestants);
    }
    std::printf("listing: %u files, medians of %d rounds\n", count, rounds);
    for (const Contestant &c : contestants) {
        const double wall = measure::median(c.wall.theirs);
        std::printf("  %-14s %9.2f ms  %6.2f us per entry  %7ld KiB   ours/this: time %5.2f, "
                    "memory %5.2f\n",
                    c.name, 1e3 * wall, 1e6 * wall / count, c.peak, measure::median(c.wall.ratios),
                    1.0 * static_cast<double>(contestants.front().peak) /
                        static_cast<double>(c.peak));
        if (&c != &contestants.front()) {
            const std::string what =
                std::to_string(count) + " files: `vn_client dir` and " + c.name;
            measure::row(what + ", time", c.wall, 1e3, "ms");
            if (std::strcmp(c.name, "ls -l") != 0) {
                continue;
            }
            measure::Pairs memory;
            memory.add(static_cast<double>(contestants.front().peak), static_cast<double>(c.peak));
            measure::row(what + ", memory", memory, 1.0 / 1024, "MiB");
        }
    }
}

// One round of each: the floor's takes more than ten seconds.
void compare_slow(const char *self, const std::string &directory) {
    constexpr unsigned kFiles = 10000;
    make_files(directory, kFiles);
    setenv("LD_PRELOAD", VN_SLOW_STATUS, 1);
    const double ours = measure::run({VN_CLIENT_PROGRAM, "dir", directory}).wall;
    const double floor = measure::run({self, "floor", directory}).wall;
    unsetenv("LD_PRELOAD");
    std::printf("listing: %u files, 1 ms for each status\n"
                "  vn_client dir  %9.2f s\n"
                "  floor          %9.2f s   ours/this: %.2f\n",
                kFiles, ours, floor, ours / floor);
    measure::Pairs pairs;
    pairs.add(ours, floor);
    measure::row("10000 files of 1 ms each: `vn_client dir` and the floor, time", pairs, 1, "s");
}

} // namespace

int main(int argc, char **argv) {
    if (argc == 3 && std::strcmp(argv[1], "floor") == 0) {
        return read_floor(argv[2]);
    }
    return measure::exit_status([&] {
        const measure::Workplace workplace;
        if (argc > 1 && std::strcmp(argv[1], "slow") == 0) {
            compare_slow(argv[0], workplace.path("slow"));
            return;
        }
        for (const unsigned count : {1000U, 10000U, 100000U, 1000000U}) {
            if (count < 1000000 || argc > 1) {
                compare(argv[0], workplace.path(std::to_string(count)), count);
            }
        }
    });
}
