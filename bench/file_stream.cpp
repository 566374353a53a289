// What passing a large file through the agent costs: wall time and peak memory of `vn_client -f u`
// on a file of 1 GiB, against cat. Read: -m r into a pipe that `cat` (of both) drains to /dev/null.
// Write: -m c -s - from the file as standard input to a second file.
#include "bench/measure.h"

namespace {

constexpr int kPairs = 7;

// The two commands are run in turn, each as often; remove is the file that each makes anew.
void compare(const char *name, const std::vector<std::string> &ours,
             const std::vector<std::string> &theirs, const measure::Files &our_files,
             const measure::Files &their_files, const std::string &remove) {
    measure::Pairs pairs;
    double wall[2] = {};
    long peak[2] = {};
    const auto once = [&](int who) {
        unlink(remove.c_str());
        const measure::Cost cost =
            who == 0 ? measure::run(ours, our_files) : measure::run(theirs, their_files);
        wall[who] = cost.wall;
        peak[who] = std::max(peak[who], cost.peak);
    };
    for (int i = 0; i < kPairs; ++i) {
        once(i % 2); // who comes first changes
        once(1 - i % 2);
        pairs.add(wall[0], wall[1]);
    }
    std::printf("  %-6s vn_client %7.0f ms %6ld KiB   cat %7.0f ms %6ld KiB   ratio %5.2f\n", name,
                1e3 * measure::median(pairs.ours), peak[0], 1e3 * measure::median(pairs.theirs),
                peak[1], measure::median(pairs.ratios));
    measure::row(std::string("1 GiB, ") + name + ": time of `vn_client -f u` and of `cat`", pairs,
                 1e3, "ms");
}

void compare_all() {
    const measure::Workplace workplace;
    const std::string file = workplace.path("large");
    const std::string copy = workplace.path("copy");
    measure::run({"/bin/sh", "-c", "head -c 1073741824 /dev/zero >" + file});
    std::printf("file_stream: 1 GiB, medians of %d pairs\n", kPairs);
    compare("read", {"/bin/sh", "-c", VN_CLIENT_PROGRAM " -r -f u -m r -n " + file + " | cat"},
            {"/bin/sh", "-c", "cat " + file + " | cat"}, {}, {}, copy);
    compare("write", {VN_CLIENT_PROGRAM, "-r", "-f", "u", "-m", "c", "-s", "-", "-n", copy},
            {"/bin/cat"}, {file}, {file, copy}, copy);
}

} // namespace

int main() {
    return measure::exit_status(compare_all);
}
