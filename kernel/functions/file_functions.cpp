// The functions on files and directories, see file_functions.h.
#include "kernel/functions/file_functions.h"

#include "common/common/shell_quote.h"
#include "common/common/text.h"
#include "common/unix/configuration/reference.h"
#include "common/unix/files/directory.h"
#include "common/unix/files/file.h"
#include "common/unix/listing/entry.h"
#include "common/unix/listing/programs/pseudo_root.h"
#include "common/unix/listing/show_tree.h"
#include "common/unix/processes/child.h"
#include "common/unix/processes/run.h"
#include "common/unix/trace/trace.h"
#include "kernel/request/call.h"
#include "kernel/request/finish.h"
#include "kernel/request/options.h"
#include "kernel/request/requirements.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <unistd.h>

namespace {

constexpr char kNetware[] = "/NetWare";

// The two directions of a copy.
struct s_DIRECTION {
    char cLetter; // of -m
    const char *cpName;
    const char *cpDirectory; // option, relative to gszRw
};

constexpr s_DIRECTION kDirections[] = {
    {'p', "put", gszOpt_s},
    {'g', "get", gszOpt_t},
};

const s_DIRECTION &direction_of(char cMode) {
    for (const s_DIRECTION &direction : kDirections) {
        if (direction.cLetter == std::tolower(static_cast<unsigned char>(cMode))) {
            return direction;
        }
    }
    char szMsg[256];
    text_print(szMsg, "Wrong option %c - only 'g,p' are allowed", cMode);
    FINISH(1, szMsg);
}

// Changes into the directory of the copy. Returns it.
std::string enter_directory(const s_DIRECTION &direction) {
    const bool bDefault = direction.cpDirectory[0] == '\0';
    std::string directory = std::string(gszRw) + (bDefault ? "work" : direction.cpDirectory);
    GIVE_ME_FILE_NAME(directory.data());
    REQUIRE_WORK_DIRECTORY(directory.c_str());
    const int iSts = ::chdir(directory.c_str());
    if (iSts != 0) {
        char szMsg[768];
        text_print(szMsg, "FILE_COPY \"%s\" cannot change dir to %s", direction.cpName,
                   directory.c_str());
        FINISH(1, szMsg);
    }
    trace_log(&strLog, TRACE_EVENTS, "chdir to %s Sts= %d", directory.c_str(), iSts);
    return directory;
}

// Has the backup client copy the file. Returns its exit status; for one that was killed 128 and the
// signal, whichever process of the shell's it was.
int run_copy(const s_DIRECTION &direction) {
    const std::string file = shell_file(gszOpt_n, QUOTES_DOUBLE);
    const std::string host = gszCtrlHost[0] == '\0' ? "localhost" : gszCtrlHost;
    const std::string server = shell_quoted(host + ':' + gszPort, QUOTES_NONE);
    char szCommand[4096];
    if (!text_print(szCommand, "%svbc -%c -S %s \"%s\" \"%s\"",
                    shell_quoted(gszRo, QUOTES_NONE).c_str(), direction.cLetter, server.c_str(),
                    file.c_str(), file.c_str())) {
        FINISH(2, error_text(ENAMETOOLONG).c_str());
    }
    trace_log(&strLog, TRACE_EVENTS, "Cmd= %s", szCommand);
    int iStatus = 0;
    const int iSts = i_cm_system_status(szCommand, &iStatus);
    return iStatus != 0 ? exit_state(iStatus) : iSts;
}

// Deletes the file that was copied; the process is in its directory.
void delete_copied() {
    if (std::remove(gszOpt_n) != 0) {
        const std::string reason = error_text(errno);
        FINISH(
            2,
            (std::string(gszOpt_n) + " is on the server, but not deleted here: " + reason).c_str());
    }
}

} // namespace

void v_LIST_DIRECTORY(s_CALL *call) {
    trace_log(&strLog, TRACE_EVENTS, "get dir %s", gszOpt_end);
    if (gszOpt_end[0] == '\0') {
        FINISH(1, "missing <directory>");
    }
    if (call->argc > 3 && std::strncmp(call->argv[3], kNetware, std::strlen(kNetware)) == 0) {
        i_cm_execvp("vn_sho", call->argv);
        std::exit(0);
    }
    if (!is_pseudo_root(gszOpt_end)) {
        REQUIRE_WORK_DIRECTORY(gszOpt_end);
    }
    const auto info = std::make_unique<sFormat>();
    info->cType = '_';
    text_copy(info->szRoot, gszOpt_end);
    text_copy(info->szCurRoot, gszOpt_end);
    if (gFlag.Remote) {
        gFlag.Remote = 0;
        vShowTreeAll(info.get());
    } else {
        vShowTree(info.get());
    }
    std::exit(info->lErrorCount == 0 ? 0 : 2);
}

void v_EXIST_FILE(s_CALL *) {
    char szMsg[256];
    trace_log(&strLog, TRACE_EVENTS, "check existence of file %s ", gszOpt_n);
    REQUIRE_WORK_DIRECTORY(gszOpt_n);
    const bool bExists = file_exist(gszOpt_n) == 1;
    text_print(szMsg, "%s %s", gszOpt_n, bExists ? "exists" : "doesn't exist");
    FINISH(bExists ? 0 : 1, szMsg);
}

void CREATE_DIR_CLIENT(s_CALL *) {
    char szMsg[256];
    if (gszOpt_n[0] == '\0') {
        FINISH(1, "missing directory via -n");
    }
    REQUIRE_WORK_DIRECTORY(gszOpt_n);
    if (::chdir(gszOpt_n) == 0) {
        trace_log(&strLog, TRACE_EVENTS, "CREATE_DIR_CLIENT: directory [%s] exists", gszOpt_n);
        FINISH(0, gszOpt_n);
    }
    char szPath[1024]; // what i_CREATE_DIR_LOCAL takes
    if (!resolve_name(gszOpt_n, szPath, sizeof szPath)) {
        FINISH(2, error_text(ENAMETOOLONG).c_str());
    }
    const bool bCreated = i_CREATE_DIR_LOCAL(gszOpt_n, szMsg, strLog) == 1;
    FINISH(bCreated ? 0 : 1, szMsg);
}

void FILE_COPY(s_CALL *) {
    trace_log(&strLog, TRACE_EVENTS, "+++ FILE_COPY  %s  %s", gszOpt_m, gszOpt_n);
    if (gszOpt_m[0] == '\0') {
        FINISH(1, "missing mode argument in -m : may be g | p[d]");
    }
    if (gszOpt_n[0] == '\0') {
        FINISH(1, "missing file name in -n");
    }
    const s_DIRECTION &direction = direction_of(gszOpt_m[0]);
    const std::string directory = enter_directory(direction);
    const int iSts = run_copy(direction);
    if (iSts == 0 && direction.cLetter == 'p' && gszOpt_m[1] == 'd') {
        delete_copied();
        trace_log(&strLog, TRACE_EVENTS, "deleted %s/%s", directory.c_str(), gszOpt_n);
    }
    trace_log(&strLog, TRACE_EVENTS, "--- FILE_COPY ");
    FINISH(iSts, gszOpt_n);
}
