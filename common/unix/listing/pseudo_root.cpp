// Names that are listed by a program, see pseudo_root.h.
#include "common/unix/listing/pseudo_root.h"

#include "common/common/shell_quote.h"
#include "common/common/text.h"
#include "common/unix/processes/run.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr int kCommandSize = 2048;

// A name that a program lists: the command's text, and whether and how the name stands in it.
struct s_PSEUDO_ROOT {
    std::string_view prefix;
    const char *cpBefore;
    bool bNamed;
    e_QUOTES eQuotes;
    const char *cpAfter;
};

// In the order in which they are tried.
constexpr s_PSEUDO_ROOT kPseudoRoots[] = {
    {"mount", "mount", false, QUOTES_NONE, ""},
    {"/Scalix", "vbc_scx -D ", true, QUOTES_NONE, ""},
    {"/MySQL", "vbc_mysql -D ", true, QUOTES_NONE, ""},
    {"/PostgreSQL", "vbc_pgsql -D ", true, QUOTES_NONE, ""},
    {"/ESX Server", "vbc_esx -D \"", true, QUOTES_DOUBLE, "\""},
    {"/XEN Server", "vbc_xensrv -D \"", true, QUOTES_DOUBLE, "\""},
    {"/NetWare", "vbc_vndr -D -N :::::0", false, QUOTES_NONE, ""},
};

void run_lister(const s_PSEUDO_ROOT &root, const char *cpName) {
    char szCommand[kCommandSize];
    const std::string name = root.bNamed ? shell_quoted(cpName, root.eQuotes) : "";
    if (!text_print(szCommand, "%s%s%s", root.cpBefore, name.c_str(), root.cpAfter)) {
        std::fprintf(stderr, "%s: name too long\n", cpName);
        return;
    }
    i_cm_system(szCommand);
}

// One store of the Zarafa server, as its administration program tells it: name and full name
// between tab characters.
void print_zarafa(std::string_view line) {
    std::vector<std::string_view> fields = text_fields(line, '\t');
    fields.resize(2);
    std::fprintf(stderr,
                 "\"/Zarafa/%.*s\" fb 2000.01.01 00:00:00 2000.01.01 00:00:00 4096 -, %.*s\n",
                 static_cast<int>(fields[0].size()), fields[0].data(),
                 static_cast<int>(fields[1].size()), fields[1].data());
}

void list_zarafa() {
    constexpr char kCommand[] = "zarafa-admin -l";
    std::FILE *pipe = ::popen(kCommand, "re");
    if (pipe == nullptr) {
        std::fprintf(stderr, "Could not find %s.\n", kCommand);
        return;
    }
    print_zarafa("PUBLIC_FOLDER\tPublic Folders");
    char szLine[256];
    for (int i = 0; std::fgets(szLine, sizeof szLine, pipe) != nullptr; ++i) {
        if (i >= 3) { // a title, the columns' names, a rule
            print_zarafa(std::string_view(szLine).substr(0, std::strcspn(szLine, "\n")));
        }
    }
    ::pclose(pipe);
}

} // namespace

bool list_pseudo_root(const char *cpName) {
    if (std::string_view(cpName).starts_with("/Zarafa")) {
        list_zarafa();
        return true;
    }
    for (const s_PSEUDO_ROOT &root : kPseudoRoots) {
        if (std::string_view(cpName).starts_with(root.prefix)) {
            run_lister(root, cpName);
            return true;
        }
    }
    return false;
}
