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
    // A leading ":" ends no name; the text behind the first ":" is the rest.
    EXPECT_EQ(expanded(resolve_glbv, ":gv_rw_tmp:f").second, "/glbv/gv_rw_tmp:f");
    EXPECT_EQ(expanded(resolve_glbv, "gv_rw_tmp:", 7).second, "/glbv/");
    EXPECT_EQ(expanded(resolve_glbv, "gv_rw_tmp:", 6).second, "/glbv");
    EXPECT_EQ(expanded(resolve_glbv, "gv_rw_tmp:", 1).second, "");
    EXPECT_EQ(expanded(resolve_path, "gv_rw_tmp:f", 7).second, "/ini/f");
    EXPECT_EQ(expanded(resolve_path, "gv_rw_tmp:" + longest, 516).second,
              "/ini/" + longest.substr(1));
    EXPECT_EQ(expanded(resolve_reference, "nokey:abc"), std::pair(1, std::string("nokey:abc")));
    // A value of 1,023 characters is the longest of a line and of a path.
    in.set_ini(in.path("rw/ini/vn.ini"), "Pathes", "k", std::string(1021, 'p'));
    EXPECT_EQ(expanded(resolve_path, "k:").second, std::string(1021, 'p'));
    in.set_ini(in.path("rw/ini/vn.ini"), "Pathes", "j", "q%(k)");
    in.set_ini(in.path("rw/ini/vn.ini"), "Pathes", "i", "123%(k)");
    EXPECT_EQ(expanded(resolve_path, "j:").second, "q" + std::string(1021, 'p'));
    EXPECT_EQ(expanded(resolve_path, "i:rest").second, "123" + std::string(1020, 'p'));
}

TEST(References, PathIsNoReference) {
    Installation in;
    const std::string path = in.path("none"), file = in.path("x");
    std::string variable = path; // as it would be named
    std::replace(variable.begin(), variable.end(), '/', '_');
    in.set_ini(in.path("rw/ini/vn.ini"), "Pathes", path, "/elsewhere");
    write_file(file, "");
    in.set_glbv(variable, file);
    using t_RESOLVER = int (*)(char *, int);
    for (const t_RESOLVER resolve : {resolve_glbv, resolve_path, resolve_reference}) {
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
    for (const std::string link : {"12", "23", "34", "4"}) { // values of 3,990 and of 4,990
        in.set_ini(in.path("rw/ini/vn.ini"), "Pathes", "k" + link.substr(0, 1),
                   std::string(link == "4" ? 990 : 1000, 'k') +
                       (link == "4" ? "" : "%(k" + link.substr(1) + ")"));
    }
    in.set_ini(in.path("rw/ini/vn.ini"), "Pathes", "k0", std::string(1000, 'k') + "%(k1)");
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
                 {"k1", 5000, REFERENCE_PATHES, true, std::string(3990, 'k')},
                 {"k0", 5000, REFERENCE_PATHES, false, std::string(4095, 'k')},
                 {"none:1", 7, REFERENCE_ANY, true, "none:1"},
                 {"none:1", 6, REFERENCE_ANY, false, "none:"}};
    for (const auto &c : cases) {
        char name[5000];
        EXPECT_EQ(resolve_whole(c.name.c_str(), name, c.size, c.store), c.fits) << c.name;
        EXPECT_EQ(name, c.text);
        text_copy(name, c.name);
        EXPECT_EQ(resolve_whole(name, name, c.size, c.store), c.fits) << "in place";
    }
}

// Null removes the variable.
void set_variable(const char *name, const char *value) {
    value != nullptr ? setenv(name, value, 1) : unsetenv(name);
}

std::string variable(const char *name) {
    const char *value = std::getenv(name);
    return value != nullptr ? value : "(none)";
}

// The result, what is printed and the variables after a call with this PATH.
std::string prepared(const Installation &in, const char *command, const char *path,
                     const char *libraries = "/lib", const char *port = "1") {
    const std::string before = std::getenv("PATH");
    set_variable("PATH", path);
    set_variable("PGPORT", port);
    set_variable("LD_LIBRARY_PATH", libraries);
    testing::internal::CaptureStdout();
    const std::string result = std::to_string(i_setenv_vorna(command)) + ' ';
    const std::string found = result + testing::internal::GetCapturedStdout() + variable("PATH") +
                              ' ' + variable("PGPORT") + ' ' + variable("LD_LIBRARY_PATH");
    setenv("PATH", before.c_str(), 1);
    unsetenv("PGPORT");
    unsetenv("LD_LIBRARY_PATH");
    return in.normalised(found);
}

TEST(ChildEnvironment, ProgramsGetTheirDirectories) {
    Installation in;
    const std::string bin = "1 /bin:<dir>/ro/bin/";
    const std::string all = bin + ":<dir>/ro/db/:<dir>/ro/pgsql/";
    // The first 511 characters behind the blanks are looked at.
    const std::string reach = "  " + std::string(507, 'x') + "psqlx",
                      beyond = " " + std::string(508, 'x') + "psql";
    const std::pair<const char *, std::string> cases[] = {
        {"cat /x/psql", bin}, // not its first word
        {"  /opt/bin/PSQL -c x", all},
        {"damisql", all},
        {"vn_db x", all},
        {"vn_db", bin},
        {"/o/vn_vns_interface x", bin + ":<dir>/ro/vns/"},
        {"x vn_vns_interface y", bin},
        {"vn_vns_interface", bin},
        {"", bin},
        {nullptr, bin},
        {reach.c_str(), all},
        {beyond.c_str(), bin},
    };
    for (const auto &[command, path] : cases) {
        EXPECT_EQ(prepared(in, command, "/bin"), path + " 5432 /lib") << command;
    }
    EXPECT_EQ(
        prepared(in, "/o/NetWare_x", in.path("ro/bin/sub").c_str()), // in PATH as part of another
        "1 check LD_LIBRARY_PATH=/lib\nset LD_LIBRARY_PATH=/lib:/opt/novell/lib\n"
        "<dir>/ro/bin/sub 5432 /lib:/opt/novell/lib");
    // Without an old value there is no ":", which would mean the current directory.
    EXPECT_EQ(prepared(in, "psql", ""), all.substr(0, 2) + all.substr(7) + " 5432 /lib");
    EXPECT_EQ(prepared(in, "netware", in.path("ro/bin/").c_str(), ""),
              "1 check LD_LIBRARY_PATH=\nset LD_LIBRARY_PATH=/opt/novell/lib\n"
              "<dir>/ro/bin/ 5432 /opt/novell/lib");
    EXPECT_EQ(prepared(in, "netware", "/bin", nullptr, nullptr),
              "1 check LD_LIBRARY_PATH=\ndidn't get LD_LIBRARY_PATH\n"
              "set LD_LIBRARY_PATH=/opt/novell/lib\n/bin:<dir>/ro/bin/ 5432 /opt/novell/lib");
    EXPECT_EQ(prepared(in, "netware", "/bin", "/x:/opt/novell/lib64", "5432"),
              "1 check LD_LIBRARY_PATH=/x:/opt/novell/lib64\n"
              "/bin:<dir>/ro/bin/ 5432 /x:/opt/novell/lib64");
    EXPECT_EQ(prepared(in, "cat", nullptr), "0 error in getenv PATH\n(none) 5432 /lib");
    const std::string fits(4095 - std::string("LD_LIBRARY_PATH=:/opt/novell/lib").size(), 'l');
    EXPECT_TRUE(prepared(in, "netware", "/bin", fits.c_str()).ends_with(fits + ":/opt/novell/lib"));
    const std::string refused = prepared(in, "netware", "/bin", (fits + 'l').c_str());
    EXPECT_TRUE(refused.starts_with("0 check LD_LIBRARY_PATH=l") &&
                refused.find("\nerror in putenv LD_LIBRARY_PATH=l") != refused.npos &&
                refused.ends_with("\n/bin:<dir>/ro/bin/ 5432 " + fits + 'l'))
        << refused;
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
    EXPECT_EQ(prepared(in, "psql", fits.c_str()),
              "1 " + fits + ":/b/:/db/:" + pgsql + " 5432 /lib");
    const auto told = [](int bin, int db, int pg, int vns, size_t path) {
        const auto line = [](const char *name, int length) {
            return std::string("iStrLen") + name + " = " + std::to_string(length) +
                   " (0 means that string already in PATH)\n";
        };
        return "0 " + line("RoBin", bin) + line("RoDb ", db) + line("RoPgsql", pg) +
               line("RoVns", vns) + "iStrLenPath  = " + std::to_string(path) +
               "\niSizeOfPath  = 2048\nlength of string is not sufficient\n";
    };
    EXPECT_EQ(prepared(in, "psql", (fits + 'x').c_str()),
              told(3, 4, 400, 0, 2041) + fits + "x 5432 /lib");
    in.set_ini(ini, "Pathes", "gv_ro_vns", "/vn/");
    const std::string has_bin = "/b/" + std::string(2044 - 3, 'x');
    EXPECT_EQ(prepared(in, "vn_vns_interface x", has_bin.c_str()),
              told(0, 0, 0, 4, 2044) + has_bin + " 5432 /lib");
    EXPECT_EQ(prepared(in, "cat", (has_bin + "xxxx").c_str()), "1 " + has_bin + "xxxx 5432 /lib");
}

} // namespace
