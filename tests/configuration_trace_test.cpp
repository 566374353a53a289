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

void variable(int letter, const std::string &name, const std::string &input = "") {
    char szName[64], value[512];
    text_copy(szName, name);
    text_copy(value, input);
    std::printf("%c %s: %s\n", letter, szName, glbv(letter, szName, value));
}

template <typename Function>
void resolve(const char *name, Function function, const char *text) {
    char path[64];
    text_copy(path, text);
    const int done = function(path, static_cast<int>(sizeof path));
    std::printf("%s %d %s\n", name, done, path);
}

void resolve_all(const char *text) {
    resolve("variable", resolve_glbv, text);
    resolve("path", resolve_path, text);
    resolve("reference", resolve_reference, text);
    resolve(
        "name", [](char *path, int size) { return resolve_name(path, path, size) ? 1 : 0; }, text);
}

TEST(ServiceTrace, VariablesAndReferences) {
    Installation in;
    std::filesystem::create_directory(in.path("rw/glbv/dir.sgv"));
    in.set_glbv("empty", "");
    in.set_glbv("v", "/v/");
    std::string text = service(in, "variables", 3, [&](const str_log &) {
        variable('w', "a/b", "value");
        variable('r', "a\\b");
        variable('R', "a_b");
        for (const int letter : {'r', 'R', 'w', 'd', 'x'}) {
            variable(letter, "dir", "kept");
        }
        variable('R', "empty");
        variable('r', "empty");
        variable('d', "gv_rw_l*", "kept");
    });
    text += service(in, "references", 3, [](const str_log &) {
        resolve_all("v:f");
        resolve_all("gv_rw_lgc:f"); // no longer a variable
        resolve_all("none:f");
        resolve_all("/none:f");
    });
    in.remove_ini(in.path("rw/ini/vn.ini"), "Pathes", "gv_rw_glbv");
    for (const LANGUAGES language : {LANG_EN, LANG_DE, LANG_BY}) {
        const std::string title = "no store, language " + std::to_string(language);
        text += service(in, title, 3, [&](const str_log &) {
            eLang = language;
            variable('r', "v", "kept");
            variable('d', "v", "kept");
        });
    }
    expect_file("service_variables.txt", text);
}

// What is set for a program, and what the trace says of the keys that are missing.
TEST(ServiceTrace, EnvironmentOfPrograms) {
    Installation in;
    std::string text;
    for (const char *key : {"", "gv_ro_pgsql", "gv_ro_db", "gv_ro_vns", "gv_ro_bin"}) {
        if (*key != '\0') {
            in.remove_ini(in.path("rw/ini/vn.ini"), "Pathes", key);
        }
        text += service(in, "without " + std::string(key), 3, [](const str_log &) {
            for (const char *command : {"psql x", "vn_vns_interface x", "netware x"}) {
                setenv("PATH", "/bin", 1);
                unsetenv("PGPORT");
                unsetenv("LD_LIBRARY_PATH");
                const int done = i_setenv_vorna(command);
                std::printf("%s: %d %s %s\n", command, done, getenv("PATH"), getenv("PGPORT"));
            }
        });
    }
    expect_file("service_environment.txt", text);
}

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
