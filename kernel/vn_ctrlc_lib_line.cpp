// Lines of a remote command's output, and the result in them (vn_ctrlc_lib.h).
#include "kernel/vn_ctrlc_lib_line.h"

#include "common/common/strlib.h"
#include "common/common/text.h"

#include <algorithm>
#include <cstring>

bool next_remote_line(std::string_view data, std::size_t iLimit, std::string_view *line,
                      std::size_t *piConsumed) {
    const std::string_view looked = data.substr(0, iLimit);
    const std::size_t feed = looked.find('\n');
    if (feed == std::string_view::npos) {
        *line = looked;
        *piConsumed = looked.size();
        return looked.size() == iLimit;
    }
    *piConsumed = feed + 1;
    *line = looked.substr(0, feed);
    if (!line->empty() && line->back() == '\r') {
        line->remove_suffix(1);
    }
    return true;
}

void take_remote_line(std::string_view line, std::size_t iConsumed, int iBuffered, short bTrim,
                      char *cpLine, int iSize, RCMD *pRCmd, str_log *strLog) {
    trace_log(strLog, 2, "szGetLine: buffer size %d, trim flag %s", iBuffered,
              bTrim != 0 ? "TRUE" : "FALSE");
    if (iConsumed == line.size()) {
        trace_log(strLog, 2, "szGetLine: !!! LF position %d == line size %d (buf size %d)\n",
                  static_cast<int>(iConsumed), iSize, iBuffered);
    } else {
        trace_log(strLog, 2, "szGetLine: got LF at position %d", static_cast<int>(iConsumed) - 1);
    }
    text_copy(cpLine, iSize, line);
    if (bTrim != 0) {
        str_trim(cpLine);
    }
    vSetMsgAndSts(cpLine, pRCmd);
    trace_log(strLog, 2, "szGetLine: return size %d", iBuffered - static_cast<int>(iConsumed));
}

char *szGetLine(char *pszBuffer, int *piBufferSize, RCMD *pRCmd, short bTrim, char *cpLine,
                int iSize, str_log strLog) {
    const auto iData = static_cast<std::size_t>(std::max(*piBufferSize, 0));
    std::string_view line;
    std::size_t iConsumed = 0;
    if (iSize < 2 || !next_remote_line({pszBuffer, iData}, static_cast<std::size_t>(iSize) - 1,
                                       &line, &iConsumed)) {
        return nullptr;
    }
    take_remote_line(line, iConsumed, *piBufferSize, bTrim, cpLine, iSize, pRCmd, &strLog);
    std::memmove(pszBuffer, pszBuffer + iConsumed, iData - iConsumed);
    *piBufferSize = static_cast<int>(iData - iConsumed);
    pszBuffer[*piBufferSize] = '\0';
    return cpLine;
}

void vSetMsgAndSts(const char *cpLine, RCMD *pRCmd) {
    constexpr std::string_view kStatus = "STATUS=";
    constexpr std::string_view kMessage = "MSG=";
    constexpr std::string_view kBehind = " MSG=";
    const std::string_view line = cpLine;
    if (line.substr(0, kStatus.size()) == kStatus) {
        const std::string_view status = line.substr(kStatus.size());
        const std::size_t place = status.find(kBehind);
        if (place != std::string_view::npos) {
            text_copy(pRCmd->szMsg, status.substr(place + kBehind.size()));
        }
        text_copy(pRCmd->szSts, status.substr(0, place));
    } else if (line.substr(0, kMessage.size()) == kMessage) {
        text_copy(pRCmd->szMsg, line.substr(kMessage.size()));
    }
}
