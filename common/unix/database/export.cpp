// Export files, see export.h.
#include "common/unix/database/export.h"

#include "common/common/owner.h"
#include "common/common/text.h"
#include "common/unix/configuration/reference.h"
#include "common/unix/database/record_list.h"
#include "common/unix/database/rows.h"
#include "common/unix/files/descriptor.h"
#include "common/unix/host/alarm.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace {

// One statement runs at a time on a host: a file of this name is what a dead process has left.
std::string unfinished(const std::string &file) {
    return file + ".tmp";
}

int report_failure(const std::string &file, int iErrno, char *cpMsg) {
    text_print(cpMsg, DB_MESSAGE_SIZE, "write to %s: %s", file.c_str(), error_text(iErrno).c_str());
    return 0;
}

// Makes the file anew. Null with errno when that fails.
unique_file open_unfinished(const std::string &file) {
    const std::string path = unfinished(file);
    ::unlink(path.c_str());
    unique_fd fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOCTTY | O_CLOEXEC, 0666));
    unique_file stream(fd ? ::fdopen(fd.get(), "w") : nullptr);
    if (stream) {
        fd.release(); // the stream closes it
    }
    return stream;
}

// Writes a line of the export without the tabs at its end. False with errno on failure.
bool write_line(std::FILE *stream, std::string_view line) {
    line = line.substr(0, line.find_last_not_of('\t') + 1);
    return std::fwrite(line.data(), 1, line.size(), stream) == line.size() &&
           std::fputc('\n', stream) != EOF;
}

// Writes the header, which has been read, and the rows. Returns as next_row at their end; 2 with
// errno when they cannot be written.
int write_lines(s_TOOL_OUTPUT *pOutput, std::FILE *stream, char *cpMsg) {
    int iRow = 1;
    while (iRow == 1) {
        if (!write_line(stream, pOutput->line)) {
            return 2;
        }
        iRow = next_row(pOutput, cpMsg);
    }
    return iRow;
}

// Closes the file when all of it is on the disk. Returns 0, or the error number.
int close_whole(unique_file stream) {
    int iErrno = 0;
    if (std::fflush(stream.get()) != 0 || ::fsync(::fileno(stream.get())) != 0) {
        iErrno = errno;
    }
    if (std::fclose(stream.release()) != 0 && iErrno == 0) {
        iErrno = errno;
    }
    if (iErrno != 0) {
        i_FILE_CLOSE(iErrno);
    }
    return iErrno;
}

int write_export(s_TOOL_OUTPUT *pOutput, const std::string &file, char *cpMsg) {
    if (!read_header(pOutput, cpMsg)) {
        return 0;
    }
    if (db_columns(pOutput->line).size() > DB_MAX_COLUMNS) {
        text_print(cpMsg, DB_MESSAGE_SIZE, "too much columns ( max %d )", DB_MAX_COLUMNS);
        return 0;
    }
    unique_file stream = open_unfinished(file);
    if (!stream) {
        return report_failure(file, errno, cpMsg);
    }
    const int iRow = write_lines(pOutput, stream.get(), cpMsg);
    if (iRow == 2) {
        return report_failure(file, errno, cpMsg);
    }
    const int iErrno = close_whole(std::move(stream));
    if (iErrno != 0) {
        return report_failure(file, iErrno, cpMsg);
    }
    return iRow == 0 ? 1 : 0;
}

} // namespace

int iOA_MAKE_EXPORT_FILE(s_TOOL_OUTPUT *pOutput, const std::string &table, std::string *file,
                         char *cpMsg, str_log strLog) {
    trace_log(&strLog, TRACE_DETAILS, "+++ OA_MAKE_EXPORT_FILE  %s", table.c_str());
    char szFile[1024];
    const std::string name = "gv_rw_work:" + text_file_part(table) + ".exp";
    int iResult = 0;
    if (resolve_whole(name.c_str(), szFile, sizeof szFile, REFERENCE_PATHES)) {
        *file = szFile;
        iResult = write_export(pOutput, *file, cpMsg);
    } else {
        text_print(cpMsg, DB_MESSAGE_SIZE, "path of export file is too long: %s", szFile);
    }
    if (iResult == 1) {
        trace_log(&strLog, TRACE_DETAILS, "--- OA_MAKE_EXPORT_FILE  %s", szFile);
    } else {
        trace_log(&strLog, TRACE_DETAILS, "--- OA_MAKE_EXPORT_FILE  ERROR: %s", cpMsg);
        i_FINISH_EXPORT(*file, false, cpMsg);
    }
    return iResult;
}

int i_FINISH_EXPORT(const std::string &file, bool bWhole, char *cpMsg) {
    const std::string path = unfinished(file);
    if (file.empty()) {
        return 0;
    }
    if (bWhole && ::rename(path.c_str(), file.c_str()) == 0) {
        return 1;
    }
    const int iErrno = errno;
    ::unlink(path.c_str());
    return bWhole ? report_failure(file, iErrno, cpMsg) : 0;
}
