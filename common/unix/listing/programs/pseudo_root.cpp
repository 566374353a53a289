// Names that are listed by a program, see pseudo_root.h.
#include "common/unix/listing/programs/pseudo_root.h"

#include "common/common/shell_quote.h"
#include "common/common/text.h"
#include "common/unix/files/regular_file.h"
#include "common/unix/listing/programs/output_relay.h"
#include "common/unix/processes/child.h"
#include "common/unix/processes/run.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iterator>
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

constexpr std::string_view kZarafa = "/Zarafa";

// Null when no command lists the name.
const s_PSEUDO_ROOT *find_root(std::string_view name) {
    const auto *found =
        std::find_if(std::begin(kPseudoRoots), std::end(kPseudoRoots),
                     [name](const s_PSEUDO_ROOT &root) { return name.starts_with(root.prefix); });
    return found == std::end(kPseudoRoots) ? nullptr : found;
}

void run_lister(const s_PSEUDO_ROOT &root, sFormat *cpInfo) {
    char szCommand[kCommandSize];
    const std::string name = root.bNamed ? shell_quoted(cpInfo->szCurRoot, root.eQuotes) : "";
    if (!text_print(szCommand, "%s%s%s", root.cpBefore, name.c_str(), root.cpAfter)) {
        count_error(cpInfo, error_text(ENAMETOOLONG));
        return;
    }
    output_relay relay;
    int iErrno = relay.start();
    if (iErrno != 0) {
        count_error(cpInfo, error_text(iErrno));
        return;
    }
    int iStatus = 0;
    const int iSts = i_cm_system_status(szCommand, &iStatus);
    const std::string failure = iSts < 0 ? error_text(errno) : exit_text(iStatus);
    iErrno = relay.finish();
    if (iErrno != 0) {
        count_error(cpInfo, error_text(iErrno));
    } else if (iSts != 0 || !ended_well(iStatus)) {
        count_error(cpInfo, failure);
    }
}

// One store of the Zarafa server, as its administration program tells it: name and full name
// between tab characters.
void print_zarafa(std::string_view line) {
    std::vector<std::string_view> fields = text_fields(line, '\t');
    if (fields.empty()) {
        return;
    }
    fields.resize(2);
    std::fprintf(stderr,
                 "\"/Zarafa/%.*s\" fb 2000.01.01 00:00:00 2000.01.01 00:00:00 4096 -, %.*s\n",
                 static_cast<int>(fields[0].size()), fields[0].data(),
                 static_cast<int>(fields[1].size()), fields[1].data());
}

void list_zarafa(sFormat *cpInfo) {
    constexpr char kCommand[] = "zarafa-admin -l";
    std::FILE *pipe = ::popen(kCommand, "re");
    if (pipe == nullptr) {
        std::fprintf(stderr, "Could not find %s.\n", kCommand);
        ++cpInfo->lErrorCount;
        return;
    }
    print_zarafa("PUBLIC_FOLDER\tPublic Folders");
    char szLine[256];
    for (int i = 0; read_stream_line(pipe, szLine, sizeof szLine); ++i) {
        if (i >= 3) { // a title, the columns' names, a rule
            print_zarafa(szLine);
        }
    }
    const int iStatus = ::pclose(pipe);
    if (!ended_well(iStatus)) {
        count_error(cpInfo, exit_text(iStatus));
    }
}

} // namespace

bool is_pseudo_root(std::string_view name) {
    return name.starts_with(kZarafa) || find_root(name) != nullptr;
}

bool list_pseudo_root(sFormat *cpInfo) {
    const std::string_view name = cpInfo->szCurRoot;
    if (name.starts_with(kZarafa)) {
        list_zarafa(cpInfo);
        return true;
    }
    const s_PSEUDO_ROOT *root = find_root(name);
    if (root != nullptr) {
        run_lister(*root, cpInfo);
    }
    return root != nullptr;
}
