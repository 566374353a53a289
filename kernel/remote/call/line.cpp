// Lines of a remote command's output, and the result in them (line.h).
#include "kernel/remote/call/line.h"

#include "common/common/text.h"
#include "common/unix/trace/trace.h"
#include "kernel/remote/call/rcmd.h"

#include <algorithm>
#include <cstring>

namespace {

// Finds the first line; *line is without its end. False when it is not complete.
bool find_line(std::string_view data, std::size_t iLimit, std::string_view *line,
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

// False for a line, trimmed or not, that set_result takes nothing from; cheap, for the many.
bool may_hold_result(std::string_view line) {
    const std::size_t iFirst = line.find_first_not_of(" \t");
    return iFirst != std::string_view::npos && (line[iFirst] == 'S' || line[iFirst] == 'M');
}

void trace_line(std::string_view line, std::size_t iConsumed, std::size_t iBuffered, bool bTrim,
                str_log *strLog) {
    const int iData = static_cast<int>(iBuffered);
    const int iTaken = static_cast<int>(iConsumed);
    trace_log(strLog, TRACE_DETAILS, "szGetLine: buffer size %d, trim flag %s", iData,
              bTrim ? "TRUE" : "FALSE");
    if (iConsumed == line.size()) {
        trace_log(strLog, TRACE_DETAILS,
                  "szGetLine: !!! LF position %d == line size %d (buf size %d)\n", iTaken, iTaken,
                  iData);
    } else {
        trace_log(strLog, TRACE_DETAILS, "szGetLine: got LF at position %d", iTaken - 1);
    }
    trace_log(strLog, TRACE_DETAILS, "szGetLine: return size %d", iData - iTaken);
}

} // namespace

std::string_view text_of_line(std::string_view line, bool bTrim) {
    const auto is_blank = [](char letter) { return letter == ' ' || letter == '\t'; };
    const char *begin = line.data();
    const char *end = begin + strnlen(begin, line.size());
    while (bTrim && begin < end && is_blank(*begin)) {
        ++begin;
    }
    while (bTrim && end > begin && is_blank(end[-1])) {
        --end;
    }
    return {begin, static_cast<std::size_t>(end - begin)};
}

bool cut_line(std::string_view data, std::size_t iLimit, bool bTrim, RCMD *pRCmd, str_log *strLog,
              std::string_view *text, std::size_t *piConsumed) {
    std::string_view line;
    if (!find_line(data, iLimit, &line, piConsumed)) {
        return false;
    }
    if (strLog->iFlg >= TRACE_DETAILS) {
        trace_line(line, *piConsumed, data.size(), bTrim, strLog);
    }
    if (text == nullptr && !may_hold_result(line)) {
        return true;
    }
    const std::string_view counting = text_of_line(line, bTrim);
    set_result(counting, pRCmd);
    if (text != nullptr) {
        *text = counting;
    }
    return true;
}

char *szGetLine(char *pszBuffer, int *piBufferSize, RCMD *pRCmd, short bTrim, char *cpLine,
                int iSize, str_log strLog) {
    const auto iData = static_cast<std::size_t>(std::max(*piBufferSize, 0));
    std::string_view text;
    std::size_t iConsumed = 0;
    if (iSize < 2 || !cut_line({pszBuffer, iData}, static_cast<std::size_t>(iSize) - 1, bTrim != 0,
                               pRCmd, &strLog, &text, &iConsumed)) {
        return nullptr;
    }
    text_copy(cpLine, iSize, text);
    std::memmove(pszBuffer, pszBuffer + iConsumed, iData - iConsumed);
    *piBufferSize = static_cast<int>(iData - iConsumed);
    pszBuffer[*piBufferSize] = '\0';
    return cpLine;
}

void set_result(std::string_view line, RCMD *pRCmd) {
    constexpr std::string_view kStatus = "STATUS=";
    constexpr std::string_view kMessage = "MSG=";
    constexpr std::string_view kBehind = " MSG=";
    if (line.starts_with(kStatus)) {
        const std::string_view status = line.substr(kStatus.size());
        const std::size_t place = status.find(kBehind);
        if (place != std::string_view::npos) {
            text_copy(pRCmd->szMsg, status.substr(place + kBehind.size()));
        }
        text_copy(pRCmd->szSts, status.substr(0, place));
    } else if (line.starts_with(kMessage)) {
        text_copy(pRCmd->szMsg, line.substr(kMessage.size()));
    }
}

void vSetMsgAndSts(const char *cpLine, RCMD *pRCmd) {
    set_result(cpLine, pRCmd);
}
