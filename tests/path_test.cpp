// References in file names, the environment of child programs and the parent process.
#include "common/unix/cm_hal_unix.h"
#include "common/unix/cm_kernel.h"

#include "common/common/text.h"
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <unistd.h>

using namespace vn_test;

namespace {

TEST(References, AreExpandedInPlace) {
    Installation in;
    in.set_glbv("gv_rw_tmp", "/glbv/");
    in.set_ini(in.path("rw/ini/vn.ini"), "Pathes", "gv_rw_tmp", "/ini/");
    in.set_ini(in.path("rw/ini/vn.ini"), "Pathes", "only_ini", "/only/");
    const auto expanded = [](int (*resolve)(char *, int), const std::string &text,
                             int size = 1024) {
        char name[1024];
        text_copy(name, text);
        const int result = resolve(name, size);
        return std::pair(result, std::string(name));
    };
    const std::string longest(511, 'r');
    EXPECT_EQ(expanded(resolve_glbv, "gv_rw_tmp:a:b"), std::pair(1, std::string("/glbv/a:b")));
    EXPECT_EQ(expanded(resolve_glbv, "gv_rw_tmp"), std::pair(1, std::string("/glbv/")));
    EXPECT_EQ(expanded(resolve_glbv, "gv_rw_tmp:abcdef", 10).second, "/glbv/abc");
    EXPECT_EQ(expanded(resolve_glbv, "gv_none:r"), std::pair(0, std::string("gv_none:r")));
    EXPECT_EQ(expanded(resolve_path, "gv_rw_tmp:").second, "/ini/");
    EXPECT_EQ(expanded(resolve_path, "gv_rw_tmp:abc", 7).second, "/ini/a");
    EXPECT_EQ(expanded(resolve_path, "gv_rw_tmp:" + longest + "x").second, "/ini/" + longest);
    EXPECT_EQ(expanded(resolve_path, "nokey:abc"), std::pair(1, std::string("nokey:abc")));
    EXPECT_EQ(expanded(resolve_reference, "gv_rw_tmp:f").second, "/glbv/f");
    EXPECT_EQ(expanded(resolve_reference, "only_ini:f").second, "/only/f");
    EXPECT_EQ(expanded(resolve_reference, "/none:%s%n").second, "/none:%s%n");
    const std::string name(251, 'v');
    in.set_glbv(name, "/v/");
    EXPECT_EQ(expanded(resolve_glbv, name + ":f").second, "/v/f");
    EXPECT_EQ(expanded(resolve_glbv, name + "v:f"), std::pair(0, name + "v:f"));
}

TEST(References, PathIsNoReference) {
    Installation in;
    const std::string path = in.path("none"), file = in.path("x");
    std::string variable = path; // as it would be named
    std::replace(variable.begin(), variable.end(), '/', '_');
    in.set_ini(in.path("rw/ini/vn.ini"), "Pathes", path, "/elsewhere");
    write_file(file, "");
    in.set_glbv(variable, file);
    for (int (*resolve)(char *, int) : {resolve_glbv, resolve_path, resolve_reference}) {
        char name[256];
        text_copy(name, path);
        resolve(name, sizeof name);
        EXPECT_EQ(name, path);
    }
    EXPECT_EQ(in.agent({"-f", "u", "-m", "d", "-i", "7", "-n", path}).status, 2);
    EXPECT_EQ(read_file(file), "");
}

TEST(References, ExpansionThatDoesNotFitIsTold) {
    Installation in;
    in.set_ini(in.path("rw/ini/vn.ini"), "Pathes", "short", "/0123/");
    in.set_ini(in.path("rw/ini/vn.ini"), "Pathes", "var", "/unseen/");
    in.set_glbv("var", "/v/");
    in.set_glbv("full", std::string(511, 'f'));
    in.set_glbv("cut", std::string(512, 'c'));
    const std::string rest(600, 'r');
    const struct {
        std::string name;
        int size;
        e_REFERENCE_STORE store;
        bool fits;
        std::string text;
    } cases[] = {{"short:abc", 10, REFERENCE_PATHES, true, "/0123/abc"},
                 {"short:abcd", 10, REFERENCE_PATHES, false, "/0123/abc"},
                 {"short:" + rest, 1024, REFERENCE_PATHES, true, "/0123/" + rest},
                 {"var:x", 64, REFERENCE_PATHES, true, "/unseen/x"},
                 {"var:x", 64, REFERENCE_ANY, true, "/v/x"},
                 {"short:x", 64, REFERENCE_VARIABLE, true, "short:x"},
                 {"full:", 512, REFERENCE_ANY, true, std::string(511, 'f')},
                 {"cut:", 1024, REFERENCE_ANY, false, std::string(510, 'c') + '>'},
                 {"none:1", 7, REFERENCE_ANY, true, "none:1"},
                 {"none:1", 6, REFERENCE_ANY, false, "none:"}};
    for (const auto &c : cases) {
        char name[1024];
        EXPECT_EQ(resolve_whole(c.name.c_str(), name, c.size, c.store), c.fits) << c.name;
        EXPECT_EQ(name, c.text);
        text_copy(name, c.name);
        EXPECT_EQ(resolve_whole(name, name, c.size, c.store), c.fits) << "in place";
    }
}

// The result, what is printed and the variables after a call with this PATH.
std::string prepared(const Installation &in, const char *command, const std::string &path,
                     const char *libraries = "/lib") {
    const std::string before = std::getenv("PATH");
    setenv("PATH", path.c_str(), 1);
    setenv("PGPORT", "1", 1);
    setenv("LD_LIBRARY_PATH", libraries, 1);
    testing::internal::CaptureStdout();
    const std::string result = std::to_string(i_setenv_vorna(command)) + ' ';
    const std::string found = result + testing::internal::GetCapturedStdout() +
                              std::getenv("PATH") + ' ' + std::getenv("PGPORT") + ' ' +
                              std::getenv("LD_LIBRARY_PATH");
    setenv("PATH", before.c_str(), 1);
    unsetenv("PGPORT");
    unsetenv("LD_LIBRARY_PATH");
    return in.normalised(found);
}

TEST(ChildEnvironment, ProgramsGetTheirDirectories) {
    Installation in;
    const std::string bin = "1 /bin:<dir>/ro/bin/";
    const std::string all = bin + ":<dir>/ro/db/:<dir>/ro/pgsql/";
    const std::pair<const char *, std::string> cases[] = {
        {"cat /x/psql", bin}, // not its first word
        {"  /opt/bin/PSQL -c x", all},
        {"damisql", all},
        {"vn_db x", all},
        {"vn_db", bin},
        {"/o/vn_vns_interface x", bin + ":<dir>/ro/vns/"},
        {"x vn_vns_interface y", bin},
    };
    for (const auto &[command, path] : cases) {
        EXPECT_EQ(prepared(in, command, "/bin"), path + " 5432 /lib") << command;
    }
    EXPECT_EQ(prepared(in, "/o/NetWare_x", in.dir + "/ro/bin/sub"), // in PATH as part of another
              "1 check LD_LIBRARY_PATH=/lib\nset LD_LIBRARY_PATH=/lib:/opt/novell/lib\n"
              "<dir>/ro/bin/sub 5432 /lib:/opt/novell/lib");
    // Without an old value there is no ":", which would mean the current directory.
    EXPECT_EQ(prepared(in, "psql", ""), all.substr(0, 2) + all.substr(7) + " 5432 /lib");
    EXPECT_EQ(prepared(in, "netware", in.path("ro/bin/"), ""),
              "1 check LD_LIBRARY_PATH=\nset LD_LIBRARY_PATH=/opt/novell/lib\n"
              "<dir>/ro/bin/ 5432 /opt/novell/lib");
}

TEST(ChildEnvironment, MissingSettings) {
    Installation in;
    const std::string ini = in.path("rw/ini/vn.ini");
    const auto without = [&](const char *key, const char *command, const char *section = "Pathes") {
        in.remove_ini(ini, section, key); // the next case misses it, too
        return prepared(in, command, "/bin");
    };
    const std::string no_key = "i_GetPrivateProfileString: KEY NOT FOUND [pathes]";
    EXPECT_EQ(without("gv_ro_pgsql", "psql"),
              "1 /bin:<dir>/ro/bin/:<dir>/ro/db/:/usr/local/pgsql/bin/ 5432 /lib");
    EXPECT_EQ(without("gv_ro_db", "/opt/bin/psql -c x"),
              "0 error in i_READ_INI gv_ro_db " + no_key + "gv_ro_db\n/bin 5432 /lib");
    EXPECT_EQ(without("gv_ro_vns", "vn_vns_interface x"),
              "0 error in i_READ_INI gv_ro_vns " + no_key + "gv_ro_vns\n/bin 5432 /lib");
    EXPECT_EQ(without("gv_port_db", "psql", "SERVER"),
              "0 key gv_port_db not found in vn.ini/bin 1 /lib");
    EXPECT_EQ(prepared(in, "cat", "/bin"), "1 /bin:<dir>/ro/bin/ 1 /lib");
    EXPECT_EQ(without("gv_ro_bin", "cat"), "0 /bin 1 /lib");
}

TEST(ChildEnvironment, PathIsNotCut) {
    Installation in;
    const std::string ini = in.path("rw/ini/vn.ini");
    const std::string pgsql(400, 'p'), fits(2040, 'x'); // the length of gv_ro_pgsql does not count
    in.set_ini(ini, "Pathes", "gv_ro_bin", "/b/");
    in.set_ini(ini, "Pathes", "gv_ro_db", "/db/");
    in.set_ini(ini, "Pathes", "gv_ro_pgsql", pgsql);
    EXPECT_EQ(prepared(in, "psql", fits), "1 " + fits + ":/b/:/db/:" + pgsql + " 5432 /lib");
    const std::string refused = prepared(in, "psql", fits + 'x');
    const std::string end = "length of string is not sufficient\n" + fits + "x 5432 /lib";
    EXPECT_TRUE(refused.starts_with("0 iStrLenRoBin = 3 (0 means") && refused.ends_with(end));
}

} // namespace
