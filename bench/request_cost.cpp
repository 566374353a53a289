// What a request costs beside process start: CPU time of reading a variable with vn_client, against
// `/bin/sh -c 'cat FILE'` on the variable's file, in turn, in one run.
#include "bench/measure.h"

namespace {

constexpr int kPairs = 300;

void compare() {
    const measure::Workplace workplace;
    const std::string file = workplace.path("rw/glbv/x.sgv");
    measure::run({"/bin/sh", "-c", "printf value >" + file});
    std::vector<double> ours;
    std::vector<double> theirs;
    std::vector<double> ratios;
    for (int i = 0; i < kPairs; ++i) {
        ours.push_back(measure::run({VN_CLIENT_PROGRAM, "G", "-r", "-n", "x"}).cpu);
        theirs.push_back(measure::run({"/bin/sh", "-c", "cat " + file}).cpu);
        ratios.push_back(ours.back() / theirs.back());
    }
    std::printf("request_cost: CPU per process, medians of %d pairs\n"
                "  vn_client G -r -n x   %7.0f us\n"
                "  sh -c 'cat FILE'      %7.0f us\n"
                "  ratio                 %7.2f\n",
                kPairs, 1e6 * measure::median(ours), 1e6 * measure::median(theirs),
                measure::median(ratios));
}

} // namespace

int main() {
    return measure::exit_status(compare);
}
