// Dates for the database (date.h): ISO dates, dressed as each type of database takes them.
#include "common/unix/database/date.h"

#include "common/common/cm_message.h"
#include "common/common/text.h"
#include "common/unix/configuration/glbv.h"
#include "common/unix/database/record_list.h"
#include "common/unix/trace/time_text.h"

#include <cstring>
#include <string>

namespace {

// What a type of database writes around an ISO date, and around the column of a max().
struct s_DIALECT {
    const char *cpType; // of the variable gv_db_type
    const char *cpBefore;
    const char *cpAfter;
    const char *cpMaxBefore;
    const char *cpMaxAfter; // null: the column's own name does not appear
};

constexpr s_DIALECT kDialects[] = {
    {"ORACLE", "to_date('", "','YYYY-MM-DD')", "MAX(", ")"},
    {"OpenAccess", "{d '", "'}", "MAX(", ")"},
    {"postgres", "'", "'", "max", nullptr}, // also for a type that is not known
};

const s_DIALECT &dialect() {
    char szName[] = "gv_db_type";
    char szType[GLBV_VALUE_SIZE];
    glbv('r', szName, szType);
    for (const s_DIALECT &known : kDialects) {
        if (std::strcmp(known.cpType, szType) == 0) {
            return known;
        }
    }
    return kDialects[std::size(kDialects) - 1];
}

std::string now() {
    char szTime[32] = ".";
    return time_get(szTime);
}

std::string today() {
    return now().substr(0, 10);
}

} // namespace

char *cpDB_DATE() {
    static char szDate[64];
    const s_DIALECT &type = dialect();
    text_print(szDate, "%s%s%s", type.cpBefore, today().c_str(), type.cpAfter);
    return szDate;
}

char *cpDB_DATE_VORNA() {
    static char szDate[32];
    text_copy(szDate, today());
    return szDate;
}

char *cpDB_DATE_TIME_VORNA() {
    static char szTime[32];
    text_copy(szTime, now());
    return szTime;
}

char *cpDB_MAX_COL_NAME(const char *cpColumn) {
    static char szName[128];
    const s_DIALECT &type = dialect();
    const bool bColumn = type.cpMaxAfter != nullptr;
    text_print(szName, "%s%s%s", type.cpMaxBefore, bColumn ? cpColumn : "",
               bColumn ? type.cpMaxAfter : "");
    return szName;
}

int iDB_CONVERT_DATE_TIME(const char *cpKey, char *cpMsg) {
    struct s_KEY {
        const char *cpKey;
        char *(*date)();
    };
    constexpr s_KEY kKeys[] = {{"DATE", cpDB_DATE},
                               {"DATE_VORNA", cpDB_DATE_VORNA},
                               {"DATE_TIME_VORNA", cpDB_DATE_TIME_VORNA}};
    for (const s_KEY &key : kKeys) {
        if (std::strcmp(key.cpKey, cpKey) == 0) {
            text_copy(cpMsg, DB_MESSAGE_SIZE, key.date());
            return 1;
        }
    }
    PROT(by_language("E008-DATABAS CONVERT_DATE_TIME: wrong parameter %s",
                     "E008-DATABAS CONVERT_DATE_TIME: falscher Parameter %s",
                     "E008-DATABAS CONVERT_DATE_TIME: a foischa Parameter %s"),
         cpKey);
    text_print(cpMsg, DB_MESSAGE_SIZE, "CONVERT_DATE_TIME: wrong parameter %s", cpKey);
    return 0;
}
