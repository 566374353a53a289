// The trace file, see trace.h. The nesting depth belongs to the process, the indentation text to
// the record: records are passed by value, so a callee's blocks never indent its caller's lines.
#include "common/unix/trace/trace.h"

#include "common/common/owner.h"
#include "common/common/text.h"
#include "common/unix/files/append.h"
#include "common/unix/files/regular_file.h"
#include "common/unix/trace/format.h"
#include "common/unix/trace/screen.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

namespace {

constexpr int kFormatSize = 1024;    // bytes of a line's format
constexpr int kLocalTextSize = 4096; // bytes of a line written through trace
constexpr std::size_t kCopyBlock = 65536;
constexpr int kIndentedDepth = 15; // deeper blocks are counted but not indented further

str_log strLocalLog = {}; // what trace writes through
int iIndex = 0;           // open "+++ " blocks

// "hh:mm:ss#" of now.
std::string time_mark() {
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    localtime_r(&now, &local);
    char szMark[32];
    text_print(szMark, "%2d:%02d:%02d#", local.tm_hour, local.tm_min, local.tm_sec);
    return szMark;
}

void copy_to_stderr(const str_log *strLog, const std::string &line) {
    if (strLog->iVerify != 0) {
        write_screen(line);
    }
}

void write_line(const str_log *strLog, const std::string &line) {
    copy_to_stderr(strLog, line);
    append_to_file(strLog->szFile, line);
}

void open_block(str_log *strLog) {
    if (iIndex < kIndentedDepth) {
        text_append(strLog->szIns, "  ");
    }
    if (strLog != &strLocalLog) {
        text_copy(strLocalLog.szIns, strLog->szIns);
    }
    ++iIndex;
}

void close_block(str_log *strLog) {
    if (iIndex <= kIndentedDepth) {
        const std::size_t length = std::strlen(strLog->szIns);
        strLog->szIns[length < 2 ? 0 : length - 2] = '\0';
    }
    if (iIndex > 0) {
        --iIndex;
    }
}

// A line of a copied file, without its newline; an overlong one keeps 255 characters.
std::string copied_line(const char *cpLine) {
    std::string line(cpLine);
    if (line.size() > 256) {
        line.resize(255);
    } else if (!line.empty() && line.back() == '\n') {
        line.pop_back();
    }
    return line;
}

// Copies the next lRest bytes of a file, line by line.
void copy_lines(const str_log *strLog, const std::string &mark, std::FILE *file, long long lRest,
                int iOut) {
    std::string block;
    char szLine[1023];
    while (lRest > 0 && std::fgets(szLine, sizeof szLine, file) != nullptr) {
        lRest -= static_cast<long long>(std::strlen(szLine));
        const std::string line = copied_line(szLine);
        copy_to_stderr(strLog, mark + strLog->szIns + ' ' + line + '\n');
        block += mark + strLog->szIns + "    " + line + '\n';
        if (block.size() >= kCopyBlock) {
            write_all(iOut, block);
            block.clear();
        }
    }
    write_all(iOut, block);
}

void copy_file(str_log *strLog, const char *cpFile) {
    char szName[1024];
    text_copy(szName, cpFile);
    const std::string mark = time_mark();
    copy_to_stderr(strLog, mark + strLog->szIns + " COPY_FILE\n");
    const unique_fd out(open_for_append(strLog->szFile));
    if (!out) {
        return;
    }
    trace_log(strLog, TRACE_ALWAYS, "COPY_FILE [%s]", szName);
    long long lRest = 0; // what the file holds now, because it may be the trace itself
    const unique_file file = open_regular_stream(szName, &lRest);
    if (!file) {
        copy_to_stderr(strLog, mark + " File " + szName + " not found\n");
        write_all(out.get(), mark + "   File " + szName + " not found\n");
        return;
    }
    copy_lines(strLog, mark, file.get(), lRest, out.get());
}

__attribute__((format(printf, 2, 0))) void write_trace(str_log *strLog, const char *cpFormat,
                                                       va_list arguments) {
    const errno_keeper keeper;
    if (cpFormat[0] == '-') {
        close_block(strLog);
    }
    if (std::strcmp(cpFormat, "COPY_FILE") == 0) {
        copy_file(strLog, va_arg(arguments, const char *));
        return;
    }
    const std::string head = time_mark() + strLog->szIns + ' ';
    const std::size_t iLimit = kFormatSize - head.size() - 2; // room for "\n" and the terminator
    std::string text;
    format_text(&text, cpFormat, iLimit, arguments);
    write_line(strLog, head + text + '\n');
    if (cpFormat[0] == '+') {
        open_block(strLog);
    }
}

// Writes a line that the first trace record lets through, cut to its buffer.
__attribute__((format(printf, 2, 0))) void write_local(int iLevel, const char *cpFormat,
                                                       va_list arguments) {
    if (strLocalLog.iFlg < iLevel) {
        return;
    }
    char szText[kLocalTextSize];
    text_vprint(szText, sizeof szText, cpFormat, arguments);
    trace_log(&strLocalLog, TRACE_ALWAYS, "%s", szText);
}

} // namespace

void v_SET_LOCAL_LOG(const str_log &log) {
    strLocalLog = log;
}

// The formats of WRITE_TRACE and trace have forms that the compiler does not know, so it cannot
// check them.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
void WRITE_TRACE(str_log *strLog, const char *cpFormat, ...) {
    va_list arguments;
    va_start(arguments, cpFormat);
    write_trace(strLog, cpFormat, arguments);
    va_end(arguments);
}
#pragma GCC diagnostic pop

void trace_log(str_log *strLog, int iLevel, const char *cpFormat, ...) {
    if (strLog->iFlg < iLevel) {
        return;
    }
    va_list arguments;
    va_start(arguments, cpFormat);
    write_trace(strLog, cpFormat, arguments);
    va_end(arguments);
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
void trace(const char *cpFormat, ...) {
    int iLevel = 2;
    if (cpFormat[0] == '%' && cpFormat[1] == 'l' && cpFormat[2] >= '0' && cpFormat[2] <= '9' &&
        cpFormat[3] == ' ') {
        iLevel = cpFormat[2] - '0';
        cpFormat += 4;
    }
    va_list arguments;
    va_start(arguments, cpFormat);
    write_local(iLevel, cpFormat, arguments);
    va_end(arguments);
}
#pragma GCC diagnostic pop

void trace_at(int iLevel, const char *cpFormat, ...) {
    va_list arguments;
    va_start(arguments, cpFormat);
    write_local(iLevel, cpFormat, arguments);
    va_end(arguments);
}
