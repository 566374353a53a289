// The process listing of an operating system, see process_listing.h.
#include "kernel/unix_hal/process_listing.h"

#include "common/common/cm_message.h"
#include "common/common/text.h"
#include "common/unix/database/access.h"
#include "common/unix/database/record_list.h"
#include "common/unix/database/statement.h"
#include "common/unix/host/host.h"
#include "common/unix/system/process_list.h"
#include "common/unix/trace/trace.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// A row of the process listing's syntax; "BLANK" stands for a blank. False with the message when
// the catalogue does not tell; *pbFits becomes false for one that does not fit.
template <std::size_t N>
bool read_syntax(DB_REC_LIS *list, int iRow, char (&szText)[N], bool *pbFits, char *cpMsg,
                 str_log *strLog) {
    char szValue[sizeof(col::szValue)] = "";
    if (iDB_SEL_GET(list, iRow, cpMsg, strLog, "syntax", szValue, static_cast<char *>(nullptr)) !=
        1) {
        return false;
    }
    *pbFits = text_copy(szText, std::strcmp(szValue, "BLANK") == 0 ? " " : szValue) && *pbFits;
    return true;
}

// Reads the three rows of the operating system. False with the reason in cpMsg (database size) and
// the trace.
bool read_listing(const char *cpDerivat, s_LISTING *listing, bool *pbFits, char *cpMsg,
                  str_log *strLog) {
    constexpr int kRows = 3;
    const std::string statement =
        "select syntax from syntaxes where os='" + db_quoted(cpDerivat) +
        "' and (command='PS_CMD' or command='PS_PID' or command='PS_PPID' ) order by command";
    DB_REC_LIS list = {};
    text_copy(list.szId, "GET_PS_POSITION");
    bool bRead = iDB_ACCESS(statement.c_str(), cpMsg, &list, *strLog) == 1;
    if (bRead && list.iRows != kRows) {
        text_print(cpMsg, DB_MESSAGE_SIZE, "error syntax for %s not found: %d != %ld", cpDerivat,
                   kRows, static_cast<long>(list.iRows));
        trace_log(strLog, TRACE_EVENTS, "%s", cpMsg);
        vDB_SEL_FREE(&list);
        return false;
    }
    bRead = bRead && read_syntax(&list, 1, listing->szCommand, pbFits, cpMsg, strLog) &&
            read_syntax(&list, 2, listing->szPid, pbFits, cpMsg, strLog) &&
            read_syntax(&list, 3, listing->szParent, pbFits, cpMsg, strLog);
    if (!bRead) {
        trace_log(strLog, TRACE_EVENTS, "data-base error: %s", cpMsg);
    }
    vDB_SEL_FREE(&list);
    return bRead;
}

// The agent's end when the catalogue does not know how this system lists its processes.
[[noreturn]] void end_without_listing(const char *cpReason) {
    std::fprintf(stderr, "vn_client: processes cannot be listed: %s\n", cpReason);
    PROT(by_language("E011-BASICS  Processes cannot be listed: %s",
                     "E011-BASICS  Prozesse koennen nicht aufgelistet werden: %s",
                     "E011-BASICS  Prozess kenna net aufglist wern: %s"),
         cpReason);
    std::exit(0);
}

} // namespace

bool host_listing(s_LISTING *listing, str_log *strLog) {
    const s_PROCESS_LIST &own = kProcessLists[kThisSystem];
    text_copy(listing->szCommand, own.cpAll);
    text_copy(listing->szPid, own.cpPid);
    text_copy(listing->szParent, own.cpParent);
    char szOs[32] = "";
    if (i_GET_MY_OS(szOs, *strLog) != 0) {
        v_GET_PS_POSITION(szOs, listing->szCommand, listing->szPid, listing->szParent, *strLog);
    }
    return listing->szCommand[0] != '\0';
}

void v_GET_PS_POSITION(const char *cpDerivat, char *cpPsCmd, char *cpPosPid, char *cpPosPPid,
                       str_log strLog) {
    char szMsg[DB_MESSAGE_SIZE] = "";
    s_LISTING listing;
    bool bFits = true;
    if (!read_listing(cpDerivat, &listing, &bFits, szMsg, &strLog)) {
        end_without_listing(szMsg);
    }
    if (!bFits) {
        listing.szCommand[0] = listing.szPid[0] = listing.szParent[0] = '\0';
    }
    text_copy(cpPsCmd, sizeof listing.szCommand, listing.szCommand);
    text_copy(cpPosPid, sizeof listing.szPid, listing.szPid);
    text_copy(cpPosPPid, sizeof listing.szParent, listing.szParent);
}
