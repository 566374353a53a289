// Reading the database tool's output, see tool.h.
#include "common/unix/database/tool.h"

#include "common/common/text.h"
#include "common/unix/database/record_list.h"
#include "common/unix/processes/pipe.h"
#include "common/unix/processes/pipe_read.h"

#include <algorithm>

namespace {

constexpr int kPieceLength = 1023; // bytes that are read at a time

} // namespace

const char *db_id(const DB_REC_LIS *pRL) {
    return pRL == nullptr ? "NULL" : pRL->szId;
}

bool db_next_line(DB_PROC_PIP *pPP, std::string *line) {
    char szPiece[kPieceLength + 1];
    line->clear();
    int iResult = 0;
    bool bMore = false;
    do {
        szPiece[kPieceLength] = '?';
        iResult = iPIPE_READ(pPP, szPiece, kPieceLength);
        *line += szPiece;
        // The terminator stands here only behind a full piece; one that does not end with its line
        // end goes on in the next.
        bMore = szPiece[kPieceLength] == '\0' && szPiece[kPieceLength - 1] != '\0';
    } while (iResult == 1 && bMore);
    return iResult == 1 || !line->empty();
}

bool db_skip_to(DB_PROC_PIP *pPP, const char *cpText, std::string *line) {
    while (db_next_line(pPP, line)) {
        if (db_contains(*line, cpText)) {
            return true;
        }
    }
    return false;
}

std::vector<std::string_view> db_fields(std::string_view line) {
    std::vector<std::string_view> fields;
    while (!line.empty()) {
        const std::size_t end = std::min(line.find('\t'), line.size());
        if (end > 0) {
            fields.push_back(line.substr(0, end));
        }
        line.remove_prefix(std::min(end + 1, line.size()));
    }
    return fields;
}

std::vector<std::string> db_columns(std::string_view header) {
    std::vector<std::string> columns;
    while (!header.empty() && header.front() != '\t' && header.front() != '(') {
        const std::size_t end = std::min(header.find('\t'), header.size());
        columns.emplace_back(header.substr(0, end));
        header.remove_prefix(std::min(end + 1, header.size()));
    }
    return columns;
}

bool db_contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}
