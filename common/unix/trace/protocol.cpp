// The operator protocol (PROT of cm_message.h): one event, one or more lines, in the file that the
// variable gv_prot names; the first line of an error also goes to that file's ".err" companion.
#include "common/unix/trace/protocol.h"

#include "common/common/cm_message.h"
#include "common/common/owner.h"
#include "common/common/text.h"
#include "common/unix/configuration/glbv.h"
#include "common/unix/files/append.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/trace/format.h"
#include "common/unix/trace/screen.h"
#include "common/unix/trace/time_text.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

constexpr std::size_t kPrefixLength = 12;
constexpr std::size_t kTagLength = kPrefixLength + 1; // the prefix and its separator
constexpr std::size_t kFormatSize = 2560;
constexpr std::size_t kOutputSize = 5120;

struct s_EVENT {
    int fd; // the protocol file
    std::string time;
    std::string prefix;
};

void report(const s_EVENT &event, const std::string &screen, const std::string &line) {
    write_screen(screen);
    write_all(event.fd, line);
}

std::string header(const s_EVENT &event, const std::string &prefix) {
    char szPid[16];
    text_print(szPid, "[%6d]: ", static_cast<int>(getpid()));
    return event.time + ' ' + prefix + szPid;
}

// Misuse of a tag is the program's fault: it is said on the screen and in the protocol, and the
// event is written all the same.
void check_tag(const s_EVENT &event, const char *cpFormat) {
    const std::string warning = header(event, "W999-BASICS ");
    if (event.prefix.find('%') != std::string::npos) {
        const std::string fault =
            "prefix with format argument '" + event.prefix + "': >" + cpFormat + "<\n";
        report(event, "PROT: WARNING: invalid usage of PROT: " + fault,
               warning + "Invalid usage of PROT: " + fault);
    }
    const std::size_t length = std::strlen(cpFormat);
    if (length < kTagLength) {
        const std::string fault = "format tag is too short: >" + std::string(cpFormat) + "< (" +
                                  std::to_string(length) + " < 13)\n";
        report(event, "PROT: WARNING: " + fault, warning + "Invalid usage of PROT: " + fault);
    }
}

void report_cut(const s_EVENT &event, std::size_t iLimit, long iNeeded) {
    const std::string line = header(event, "E999-BASICS ") +
                             "Error: The following output was shortened (" +
                             std::to_string(iLimit) + " <> " + std::to_string(iNeeded) + ")\n";
    report(event, line, line);
}

// The format of the event's first line: header and message. The tag is part of the format: a
// conversion in it takes the first argument. A "%" whose conversion the tag's end cuts off is
// printed as it stands.
std::string line_format(const s_EVENT &event, const char *cpMessage) {
    const std::string whole = format_cut(event.prefix.c_str(), kPrefixLength);
    std::string prefix = event.prefix;
    if (whole.size() < prefix.size()) {
        prefix.insert(whole.size(), "%");
    }
    return header(event, prefix) + cpMessage;
}

// The event's first line and what follows it, so long that it fits its buffer. The compiler has
// checked the format where PROT is called.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
std::string text_of(const s_EVENT &event, const char *cpMessage, va_list arguments) {
    const std::string format = line_format(event, cpMessage);
    if (format.size() >= kFormatSize) {
        report_cut(event, kFormatSize, static_cast<long>(format.size()));
    }
    std::string text;
    const bool bFormatted = format_text(&text, format.c_str(), kFormatSize - 1, arguments);
    if (!bFormatted || text.size() >= kOutputSize) {
        report_cut(event, kOutputSize, bFormatted ? static_cast<long>(text.size()) : -1);
        text.resize(std::min(text.size(), kOutputSize - 1));
    }
    return text;
}
#pragma GCC diagnostic pop

// Every line behind the first gets a header of its own; only the first is an error's.
void write_event(const s_EVENT &event, int iErrorFd, const std::string &text) {
    std::string lines;
    std::size_t begin = 0;
    while (begin <= text.size()) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        lines += (begin == 0 ? "" : header(event, event.prefix)) + text.substr(begin, end - begin);
        lines += '\n';
        if (begin == 0 && event.prefix[0] == 'E') {
            write_all(iErrorFd, lines);
        }
        begin = end + 1;
    }
    write_all(event.fd, lines);
}

__attribute__((format(printf, 1, 0))) void protocol(const char *cpFormat, va_list arguments) {
    char szName[] = "gv_prot";
    char szFile[GLBV_VALUE_SIZE];
    glbv('r', szName, szFile);
    if (szFile[0] == '?') {
        write_screen("\nNo gv_prot defined! vn_start_all necessary!\n");
        return;
    }
    const unique_fd file(open_for_append(szFile));
    const unique_fd errors(open_for_append((std::string(szFile) + ".err").c_str()));
    if (!file || !errors) {
        return;
    }
    char szTime[32] = ".";
    const std::string_view format = cpFormat;
    const s_EVENT event = {file.get(), time_get(szTime),
                           std::string(format.substr(0, kPrefixLength))};
    check_tag(event, cpFormat);
    const char *cpMessage = cpFormat + std::min(format.size(), kTagLength);
    write_event(event, errors.get(), text_of(event, cpMessage, arguments));
}

} // namespace

void PROT(const char *cpFormat, ...) {
    // Reading gv_prot may itself fail and want to report: that report has nowhere to go.
    static bool bActive = false;
    if (bActive) {
        return;
    }
    struct s_ACTIVE { // ends also when memory runs out
        s_ACTIVE() { bActive = true; }
        ~s_ACTIVE() { bActive = false; }
    };
    const errno_keeper keeper;
    const s_ACTIVE active;
    va_list arguments;
    va_start(arguments, cpFormat);
    protocol(cpFormat, arguments);
    va_end(arguments);
}
