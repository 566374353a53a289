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

void read_value(const char *file, const char *section, const char *key) {
    char value[64] = "stale", msg[256] = "stale";
    const int done = i_READ_INI(file, section, key, value, sizeof value, msg, sizeof msg);
    std::printf("read %d \"%s\" %s\n", done, value, msg);
}

void read_list(const char *file, const char *section, const char *key) {
    s_LL list;
    InitLL(&list);
    char msg[256] = "stale";
    const int number = i_READ_INI_LIST(file, section, key, &list, msg, sizeof msg);
    std::printf("list %d", number);
    for (void *e = FirstElmLL(&list); IsElmLL(e) != 0; e = NextElmLL(e)) {
        std::printf(" \"%s\"", static_cast<const char *>(e));
    }
    std::printf(" %s\n", msg);
    EmptyLL(&list);
}

void change(const char *file, const char *section, const char *key, const char *value) {
    char msg[256] = "stale";
    const int done = i_CHANGE_INI_VALUE(file, section, key, value, msg, sizeof msg);
    std::printf("change %d %s\n", done, msg);
}

TEST(ServiceTrace, IniFiles) {
    Installation in;
    const s_INI_PLACES previous = gIniPlaces;
    gIniPlaces = {{"/nowhere/1", "/nowhere/2"}};
    const std::string file = in.path("x.ini");
    write_file(file, "[S]\nd1=a\nd2=%(none)\ndx3=no\nd3=%(ref)\nref=r\n");
    std::string text = service(in, "read", 3, [&](const str_log &) {
        read_value("VN_INI", "[setup]", "LANG");
        read_value("", "[SETUP]", "none");
        read_value("OTHER", "[SETUP]", "lang");
        read_value(file.c_str(), "[T]", "lang");
        read_value("/nowhere/3", "", "lang");
        read_value(nullptr, nullptr, "name");
    });
    text += service(in, "list", 3, [&](const str_log &) {
        read_list(file.c_str(), "[S]", "d");
        read_list(file.c_str(), "[S]", "e");
        read_list("OTHER", "[S]", "d");
        read_list(nullptr, "[S]", "d");
    });
    text += service(in, "change", 3, [&](const str_log &) {
        change(file.c_str(), "S", "d1", "b");
        change(file.c_str(), "S", "#d1", "b");
        change("OTHER", "S", "d1", "b");
        change("", "SETUP", "lang", "de");
        change("/nowhere/3", "S", "d1", "b");
    });
    gIniPlaces = previous;
    expect_file("service_ini.txt", text);
}

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
