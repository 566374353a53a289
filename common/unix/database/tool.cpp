// Reading the database tool's output, see tool.h.
#include "common/unix/database/tool.h"

#include "common/common/text.h"
#include "common/unix/database/record_list.h"
#include "common/unix/processes/pipe_read.h"

namespace {

constexpr std::size_t kLineLimit = 1 << 20; // bytes of a line; more is no row of the catalogue

} // namespace

const char *db_id(const DB_REC_LIS *pRL) {
    return pRL == nullptr ? "NULL" : pRL->szId;
}

bool db_next_line(s_TOOL_OUTPUT *pOutput) {
    const int iResult = pipe_read_line(pOutput->pPP, kLineLimit, &pOutput->line);
    pOutput->bEnded = iResult == 0;
    pOutput->bEndless = iResult < 0;
    return iResult == 1;
}

bool db_skip_to(s_TOOL_OUTPUT *pOutput, const char *cpText) {
    while (db_next_line(pOutput)) {
        if (db_contains(pOutput->line, cpText)) {
            return true;
        }
    }
    return false;
}

const char *db_no_result(const s_TOOL_OUTPUT &output) {
    return output.bEndless ? "the database tool printed a line without an end"
                           : "the database tool gave no result";
}

std::vector<std::string> db_columns(std::string_view header) {
    std::vector<std::string> columns;
    while (!header.empty() && header.front() != '\t' && header.front() != '(') {
        columns.emplace_back(text_take_field(&header, '\t'));
    }
    return columns;
}

bool db_contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

bool db_closes_rows(std::string_view line) {
    return db_contains(line, "Rows") && !db_contains(line, "\t"); // every row has a tab
}
