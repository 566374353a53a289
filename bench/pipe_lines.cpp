// What reading a child's output line by line costs: wall time of iPIPE_OPEN and iPIPE_READ on 100
// MB of lines of 80 characters, against `cat >/dev/null` behind the same producer, in turn, in one
// run.
#include "bench/measure.h"
#include "common/unix/cm_hal_pipe.h"

#include <cstring>
#include <fstream>

namespace {

constexpr int kPairs = 11;
constexpr int kLineLength = 80; // and a line feed
constexpr long kLines = 100'000'000 / (kLineLength + 1);

// Reads the producer's lines. Returns seconds; throws when one is missing or cut.
double read_lines(const std::string &producer) {
    char szMsg[256];
    char szLine[1024];
    DB_PROC_PIP pipe;
    const auto begin = std::chrono::steady_clock::now();
    if (iPIPE_OPEN(producer.c_str(), "r", szMsg, sizeof szMsg, &pipe) != 0) {
        throw std::runtime_error(szMsg);
    }
    long lLines = 0;
    while (iPIPE_READ(&pipe, szLine, sizeof szLine - 1) == 1) {
        lLines += std::strlen(szLine) == kLineLength ? 1 : 0;
    }
    const int iExit = iPIPE_CLOSE(&pipe);
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - begin;
    if (lLines != kLines || iExit != 0) {
        throw std::runtime_error("lines were lost");
    }
    return wall.count();
}

void compare() {
    const measure::Workplace workplace;
    const std::string producer = "cat " + workplace.path("lines");
    measure::make_lines(workplace.path("lines"), kLines, kLineLength);
    read_lines(producer); // warms the caches
    constexpr double megabytes = 1e-6 * kLines * (kLineLength + 1);
    measure::Pairs speed; // MB/s
    for (int i = 0; i < kPairs; ++i) {
        const double ours = read_lines(producer);
        speed.add(megabytes / ours,
                  megabytes / measure::run({"/bin/sh", "-c", producer + " | cat >/dev/null"}).wall);
    }
    const double ours = measure::median(speed.ours);
    const double theirs = measure::median(speed.theirs);
    std::printf("pipe_lines: %ld lines of %d characters, medians of %d pairs\n"
                "  iPIPE_READ       %7.0f ms  %7.0f MB/s\n"
                "  cat >/dev/null   %7.0f ms  %7.0f MB/s\n"
                "  throughput       %7.2f of cat's\n",
                kLines, kLineLength, kPairs, 1e3 * megabytes / ours, ours, 1e3 * megabytes / theirs,
                theirs, measure::median(speed.ratios));
    measure::row("throughput of `iPIPE_READ` and of `cat >/dev/null`", speed, 1, "MB/s");
}

} // namespace

int main() {
    return measure::exit_status(compare);
}
