// What a request costs beside process start: CPU time of reading a variable with vn_client, against
// `/bin/sh -c 'cat FILE'` on the variable's file and against a program that is linked like the
// agent and prints a line, in turn, in one run.
#include "bench/measure.h"

namespace {

constexpr int kRounds = 300;

void print(const char *name, const measure::Pairs &pairs) {
    std::printf("  %-20s %7.0f us   ours/this %5.2f\n", name, 1e6 * measure::median(pairs.theirs),
                measure::median(pairs.ratios));
    measure::row(std::string("CPU of `vn_client G -r -n x` and of ") + name, pairs, 1e6, "us");
}

void compare() {
    const measure::Workplace workplace;
    const std::string file = workplace.path("rw/glbv/x.sgv");
    measure::run({"/bin/sh", "-c", "printf value >" + file});
    sleep(4); // configuration that was changed a moment ago is read more often
    measure::Pairs shell;
    measure::Pairs hello;
    for (int i = 0; i < kRounds; ++i) {
        const double ours = measure::run({VN_CLIENT_PROGRAM, "G", "-r", "-n", "x"}).cpu;
        shell.add(ours, measure::run({"/bin/sh", "-c", "cat " + file}).cpu);
        hello.add(ours, measure::run({VN_HELLO}).cpu);
    }
    std::printf("request_cost: CPU per process, medians of %d rounds\n"
                "  vn_client G -r -n x  %7.0f us\n",
                kRounds, 1e6 * measure::median(shell.ours));
    print("`sh -c 'cat FILE'`", shell);
    print("a line printed", hello);
}

} // namespace

int main() {
    return measure::exit_status(compare);
}
