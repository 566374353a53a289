// The database tool's output, and the normalising of statements.
// Covers: common/unix/database/rows.cpp common/unix/database/record_list.cpp
// Covers: common/unix/database/statement.cpp common/unix/database/tool.cpp
#include "fuzz/fuzz.h"

#include "common/unix/cm_db.h"

#include <cstring>
#include <vector>

namespace {

// A pipe with the input in it, as of a tool that has ended.
DB_PROC_PIP pipe_with(std::string_view input) {
    int ends[2];
    if (pipe(ends) != 0 || write(ends[1], input.data(), input.size()) < 0) {
        std::abort();
    }
    close(ends[1]);
    DB_PROC_PIP result = {};
    result.ifdOut = ends[0];
    FD_SET(ends[0], &result.fdset_read);
    result.iMax_read = ends[0] + 1;
    return result;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char *>(data),
                                 std::min<std::size_t>(size, 60000));
    str_log log = {};
    char msg[DB_MESSAGE_SIZE] = "";
    DB_REC_LIS list = {};
    DB_PROC_PIP rows = pipe_with(input);
    if (iOA_MAKE_DB_REC_LIS(rows, msg, &list, log) == 1 && list.iRows > 0) {
        char value[sizeof(col::szValue)];
        iDB_SEL_GET(&list, list.iRows, msg, &log, "a", value, static_cast<char *>(nullptr));
    }
    vDB_SEL_FREE(&list);
    iPIPE_CLOSE(&rows);
    DB_PROC_PIP one = pipe_with(input);
    iOA_GET_CALCULATED_VALUE(&one, msg, sizeof msg, "fuzz");
    iPIPE_CLOSE(&one);
    const std::string sql(input.substr(0, input.find('\0')));
    std::vector<char> text(2 * sql.size() + 1);
    std::memcpy(text.data(), sql.c_str(), sql.size() + 1);
    SQL_LOWERCASE(CLEANUP_QUOTA(text.data(), static_cast<int>(text.size())));
    return 0;
}
