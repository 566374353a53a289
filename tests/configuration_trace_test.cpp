// What the services of the configuration leave in trace, protocol and on the standard streams,
// whole, against the files tests/expected/service_*.txt. To renew them:
//     VN_RENEW=1 scripts/test -R ServiceTrace; git diff tests/expected
#include "common/unix/cm_hal_unix.h"
#include "common/unix/cm_kernel.h"
#include "tests/support/service.h"

#include "common/common/strlib.h"
#include "common/common/text.h"

#include <sys/resource.h>

using namespace vn_test;

namespace {

// A text larger than the memory that is left.
TEST(ServiceTrace, WithoutMemory) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer ends a program that asks for too much";
#endif
    Installation in;
    in.set_glbv("v", "/v/");
    std::string large(4 << 20, 'x');
    const std::string text = service(in, "no memory", 3, [&](const str_log &) {
        { const std::vector<std::string> small(100, std::string(1000, 'x')); } // is left
        char name[8] = "v:f";
        const rlimit none = {0, 0};
        setrlimit(RLIMIT_AS, &none);
        std::printf("%d %s\n", resolve_glbv(name, 4 << 20), name);
        std::printf("%d\n", szChar2EscapeChar(large.data(), 'y', 4 << 20) == nullptr);
    });
    EXPECT_EQ(text, "== no memory\n--- standard output\n0 v:f\n1\n--- rw/lgc/service.lgc\n"
                    "<time># resolve_glbv: malloc(4194304) failed with: (12) "
                    "Cannot allocate memory\n<time># szChar2EscapeChar: malloc failed\n");
}

} // namespace
