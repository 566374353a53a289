// Reading the database tool's output, see tool.h.
#include "common/unix/database/tool.h"

#include "common/common/text.h"
#include "common/unix/database/record_list.h"
#include "common/unix/processes/pipe.h"
#include "common/unix/processes/pipe_read.h"

namespace {

constexpr std::size_t kLineLimit = 1 << 20; // bytes of a line; more is no row of the catalogue

} // namespace

const char *db_id(const DB_REC_LIS *pRL) {
    return pRL == nullptr ? "NULL" : pRL->szId;
}

bool db_next_line(DB_PROC_PIP *pPP, std::string *line) {
    return pipe_read_line(pPP, kLineLimit, line) == 1;
}

bool db_skip_to(DB_PROC_PIP *pPP, const char *cpText, std::string *line) {
    while (db_next_line(pPP, line)) {
        if (db_contains(*line, cpText)) {
            return true;
        }
    }
    return false;
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
