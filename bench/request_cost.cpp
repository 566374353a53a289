// What a request costs beside process start: CPU time of reading a variable with vn_client, against
// `/bin/sh -c 'cat FILE'` on the variable's file, in turn, in one run.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kPairs = 300;

// Runs a program with its output thrown away. Returns the CPU microseconds that it and its children
// took, or -1 when it failed.
double cpu_of(const std::vector<const char *> &arguments) {
    const pid_t child = fork();
    if (child == 0) {
        const int null = open("/dev/null", O_RDWR);
        for (int fd = 0; fd < 3; ++fd) {
            dup2(null, fd);
        }
        execv(arguments[0], const_cast<char *const *>(arguments.data()));
        _exit(127);
    }
    int status = 0;
    rusage usage = {};
    if (child < 0 || wait4(child, &status, 0, &usage) != child || status != 0) {
        return -1;
    }
    const auto usec = [](const timeval &t) {
        return 1e6 * static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec);
    };
    return usec(usage.ru_utime) + usec(usage.ru_stime);
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main() {
    char directory[] = "/tmp/vn_bench.XXXXXX";
    if (mkdtemp(directory) == nullptr) {
        std::perror("mkdtemp");
        return 1;
    }
    const std::string make = std::string("'" VN_SANDBOX_DIR "/make_installation' ") + directory +
                             " >/dev/null && printf value >" + directory + "/rw/glbv/x.sgv";
    const std::string central = std::string(directory) + "/vorna.ini";
    if (std::system(make.c_str()) != 0 || setenv("VORNA_INI", central.c_str(), 1) != 0) {
        return 1;
    }
    const std::string cat = std::string("cat ") + directory + "/rw/glbv/x.sgv";
    const std::vector<const char *> ours = {VN_CLIENT_PROGRAM, "G", "-r", "-n", "x", nullptr};
    const std::vector<const char *> theirs = {"/bin/sh", "-c", cat.c_str(), nullptr};
    std::vector<double> our_cpu;
    std::vector<double> their_cpu;
    std::vector<double> ratios;
    for (int i = 0; i < kPairs; ++i) {
        const double a = cpu_of(ours);
        const double b = cpu_of(theirs);
        if (a < 0 || b < 0) {
            std::fprintf(stderr, "a command failed\n");
            return 1;
        }
        our_cpu.push_back(a);
        their_cpu.push_back(b);
        ratios.push_back(a / b);
    }
    std::printf("request_cost: CPU per process, medians of %d pairs\n"
                "  vn_client G -r -n x   %7.0f us\n"
                "  sh -c 'cat FILE'      %7.0f us\n"
                "  ratio                 %7.2f\n",
                kPairs, median(our_cpu), median(their_cpu), median(ratios));
    return std::system((std::string("rm -rf ") + directory).c_str()) == 0 ? 0 : 1;
}
