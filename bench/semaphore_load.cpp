// What a crowd of processes counts under one semaphore while its holders are killed:
// semaphore_load [ROUNDS], each of 50 processes with 200 increments and 200 kills. None may be
// lost.
#include "bench/measure.h"
#include "tests/support/increments.h"

namespace {

void count(int rounds) {
    const measure::Workplace workplace;
    vn_test::Counted all;
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < rounds; ++i) {
        const vn_test::Counted one = vn_test::count_under_semaphore({50, 200, 200});
        all.lost += one.lost;
        all.extra += one.extra;
        all.failed += one.failed;
        all.killed += one.killed;
        all.inside += one.inside;
    }
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - begin;
    std::printf("semaphore_load: %d rounds of 50 processes with 200 increments\n"
                "  lost %d, too many %d, failed processes %d\n"
                "  killed %d, of these at an increment %d\n"
                "  %.1f s, %.0f increments per second\n",
                rounds, all.lost, all.extra, all.failed, all.killed, all.inside, wall.count(),
                rounds * 10000.0 / wall.count());
    if (all.lost + all.extra + all.failed > 0) {
        throw std::runtime_error("semaphore_load: not right");
    }
}

} // namespace

int main(int argc, char **argv) {
    const int rounds = argc > 1 ? static_cast<int>(std::strtol(argv[1], nullptr, 10)) : 3;
    return measure::exit_status([&] { count(rounds); });
}
