// A media server's performance figures (performance_file.h). The media server rewrites the file
// while it is read: a file that is not whole is read again.
#include "common/unix/host/performance_file.h"

#include "common/common/cm_message.h"
#include "common/common/owner.h"
#include "common/common/text.h"
#include "common/unix/configuration/glbv.h"
#include "common/unix/configuration/reference.h"
#include "common/unix/files/regular_file.h"
#include "common/unix/processes/process.h"
#include "common/unix/trace/trace.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace {

constexpr int kRetries = 40;
constexpr int kRetryMsec = 10;

struct s_FIGURES {
    char szStatus[256];
    char szThroughput[256];
    int iBackups;
    int iRestores;
    char szAmount[256];
    char szStreams[256];
};

bool read_figures(const char *cpFile, s_FIGURES *f) {
    const unique_file file = open_regular_stream(cpFile);
    // NOLINTNEXTLINE(cert-err34-c): the widths bound the numbers, and their count is checked
    return file && std::fscanf(file.get(),
                               "STATUS: %255s\nTHROUGHPUT: %255s GB/h\n"
                               "NUMBER OF ACTIVE BACKUPS: %9d\nNUMBER OF ACTIVE RESTORES: %9d\n"
                               "AMOUNT: %255s\nSTREAM INFO: %255s ",
                               f->szStatus, f->szThroughput, &f->iBackups, &f->iRestores,
                               f->szAmount, f->szStreams) == 6;
}

bool read_whole_file(const char *cpFile, s_FIGURES *f, str_log *strLog) {
    for (int i = 1; !read_figures(cpFile, f); ++i) {
        if (i > kRetries) {
            return false;
        }
        trace_log(strLog, TRACE_EVENTS, "Retry %d / %d", i, kRetries);
        wait_msec(kRetryMsec);
    }
    return true;
}

// What the drive does at the end of its medium; the variable only counts while the server waits.
std::string end_of_media(const char *cpDevice, const s_FIGURES &f, str_log *strLog) {
    std::string name = std::string("gv_vns_eom_") + cpDevice;
    char szState[GLBV_VALUE_SIZE];
    glbv('r', name.data(), szState);
    if (szState[0] == '?') {
        trace_log(strLog, TRACE_DETAILS, "gv_vns_eom_ %s is not available so set EOM state to %s ",
                  cpDevice, "READY");
        return "READY";
    }
    if (std::strstr(szState, "NEXT") == nullptr && std::strcmp(f.szStatus, "CHANGING_MEDIA") != 0 &&
        std::strcmp(f.szStatus, "VNS_WRT") != 0) {
        trace_log(strLog, TRACE_DETAILS,
                  "VNS state <> CHANGING_MEDIA/VNS_WRT:  Ignoring gv_vns_eom_ %s : %s ", cpDevice,
                  szState);
        return "READY";
    }
    return szState;
}

} // namespace

int READ_PERFORMANCE_FILE(const char *cpDevice, const char *cpVnsNr, char *cpReturn,
                          str_log strLog) {
    constexpr int kReturnSize = 10240;
    char szFile[1024];
    const std::string file = "gv_rw_info:perf_" + text_file_part(cpVnsNr) + ".log";
    const bool bFits = resolve_name(file.c_str(), szFile, sizeof szFile);
    trace_log(&strLog, TRACE_DETAILS, "+++ READ_PERFORMANCE_FILE  %s  %s  %s", cpDevice, cpVnsNr,
              szFile);
    s_FIGURES f = {};
    if (!bFits || !read_whole_file(szFile, &f, &strLog)) {
        trace_log(&strLog, TRACE_EVENTS, "--- READ_PERFORMANCE_FILE: could not open %s ", szFile);
        return 0;
    }
    const std::string state = end_of_media(cpDevice, f, &strLog);
    text_print(cpReturn, kReturnSize, "%d %d STATUS: %s THROUGHPUT: %s GB/h INFO: %s %s",
               f.iBackups, f.iRestores, f.szStatus, f.szThroughput, f.szStreams, state.c_str());
    trace_log(&strLog, TRACE_DETAILS, "--- READ_PERFORMANCE_FILE: %s ", cpReturn);
    return 1;
}
