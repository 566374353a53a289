// The list of a select's records (record_list.h).
#include "common/unix/database/record_list.h"

#include "common/common/cm_message.h"
#include "common/common/owner.h"
#include "common/common/text.h"
#include "common/unix/trace/trace.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace {

// A new element behind the others; null when memory runs out.
DB_REC_LIS_ELEMENT *new_element(int iRow, const char *cpData) {
    const std::size_t iLength = std::strlen(cpData) + 1;
    unique_memory<char> data(static_cast<char *>(std::malloc(iLength)));
    auto *element = static_cast<DB_REC_LIS_ELEMENT *>(std::malloc(sizeof(DB_REC_LIS_ELEMENT)));
    if (!data || element == nullptr) {
        std::free(element);
        return nullptr;
    }
    std::memcpy(data.get(), cpData, iLength);
    *element = {iRow, data.release(), nullptr};
    return element;
}

// The value of a column in a record: behind "|<name>=", up to the next "|". False when the record
// has no such column.
bool find_value(std::string_view record, const char *cpColumn, std::string_view *value) {
    const std::string start = std::string("|") + cpColumn + '=';
    const std::size_t place = record.find(start);
    if (place == std::string_view::npos) {
        return false;
    }
    record.remove_prefix(place + start.size());
    *value = record.substr(0, record.find('|'));
    return true;
}

const DB_REC_LIS_ELEMENT *element_at(const DB_REC_LIS *pRL, int iRow) {
    const DB_REC_LIS_ELEMENT *element = pRL->pstrFirstRec;
    while (element != nullptr && element->iRow != iRow) {
        element = element->pstrNextRec;
    }
    return element;
}

int report_empty(char *cpReturn, const DB_REC_LIS *pRL) {
    const char *cpId = pRL == nullptr ? "NULL" : pRL->szId;
    PROT(by_language("E006-DATABAS %s: empty recordlist, cannot catch requested data.",
                     "E006-DATABAS %s: leere Satzliste, Daten nicht verfuegbar.",
                     "E006-DATABAS %s: in da Listn is nix drin, koane Datn do."),
         cpId);
    text_print(cpReturn, DB_MESSAGE_SIZE, "%s: empty recordlist, cannot catch requested data.",
               cpId);
    return 0;
}

int report_null(char *cpReturn) {
    PROT(by_language("E007-DATABAS Unexpected NULL value.", "E007-DATABAS Unerwarteter NULL-Wert.",
                     "E007-DATABAS Do kimmt a NULL daher, de koana braucht."));
    text_copy(cpReturn, DB_MESSAGE_SIZE, "Unexpected NULL value.");
    return 0;
}

} // namespace

int iDB_SEL_FIRST(DB_REC_LIS *pRL, const char *cpData) {
    DB_REC_LIS_ELEMENT *element = new_element(1, cpData);
    if (element == nullptr) {
        PROT(by_language("E002-DATABAS DB_SEL_FIRST %s: cannot allocate memory.",
                         "E002-DATABAS DB_SEL_FIRST %s: kein Speicher verfuegbar.",
                         "E002-DATABAS DB_SEL_FIRST %s: da Speicha is voi."),
             pRL->szId);
        return 0;
    }
    vDB_SEL_FREE(pRL);
    pRL->pstrFirstRec = pRL->pstrLastRec = element;
    pRL->iRows = 1;
    return 1;
}

int iDB_SEL_ALLOC(DB_REC_LIS *pRL, const char *cpData) {
    if (pRL->pstrFirstRec == nullptr || pRL->pstrLastRec == nullptr) {
        PROT(by_language("E003-DATABAS DB_SEL_ALLOC %s: the recordlist is empty, cannot allocate a "
                         "new element.",
                         "E003-DATABAS DB_SEL_ALLOC %s: die Satzliste ist leer, kein neues Element "
                         "moeglich.",
                         "E003-DATABAS DB_SEL_ALLOC %s: de Listn is laa, do geht nix Neis nei."),
             pRL->szId);
        return 0;
    }
    DB_REC_LIS_ELEMENT *element = new_element(pRL->pstrLastRec->iRow + 1, cpData);
    if (element == nullptr) {
        PROT(by_language("E004-DATABAS DB_SEL_ALLOC %s: cannot allocate memory.",
                         "E004-DATABAS DB_SEL_ALLOC %s: kein Speicher verfuegbar.",
                         "E004-DATABAS DB_SEL_ALLOC %s: da Speicha is voi."),
             pRL->szId);
        return 0;
    }
    pRL->pstrLastRec->pstrNextRec = element;
    pRL->pstrLastRec = element;
    pRL->iRows = element->iRow;
    return 1;
}

void vDB_SEL_FREE(DB_REC_LIS *pRL) {
    for (DB_REC_LIS_ELEMENT *element = pRL->pstrFirstRec; element != nullptr;) {
        DB_REC_LIS_ELEMENT *next = element->pstrNextRec;
        std::free(element->cpData);
        std::free(element);
        element = next;
    }
    pRL->pstrFirstRec = pRL->pstrLastRec = nullptr;
    pRL->iRows = 0;
}

int iDB_SEL_GET(DB_REC_LIS *pRL, int iGetRow, char *cpReturn, str_log *pStrLog, ...) {
    const DB_REC_LIS_ELEMENT *element = pRL == nullptr ? nullptr : element_at(pRL, iGetRow);
    if (element == nullptr) {
        return report_empty(cpReturn, pRL);
    }
    if (element->cpData == nullptr) {
        return report_null(cpReturn);
    }
    int iResult = 1;
    va_list pairs;
    va_start(pairs, pStrLog);
    while (const char *cpColumn = va_arg(pairs, const char *)) {
        char *cpValue = va_arg(pairs, char *);
        std::string_view value;
        if (cpValue == nullptr) {
            iResult = report_null(cpReturn);
        } else if (find_value(element->cpData, cpColumn, &value)) {
            text_copy(cpValue, sizeof(col::szValue), value);
        } else {
            text_print(cpReturn, DB_MESSAGE_SIZE, "cannot find requested column %s", cpColumn);
            trace_log(pStrLog, TRACE_EVENTS, "%s", cpReturn);
            iResult = 0;
        }
        if (iResult == 0) {
            break;
        }
    }
    va_end(pairs);
    return iResult;
}

int iDB_SEL_WRITE_VALUE(const DB_REC_LIS *pRL, const char *cpRecord, col *pCol) {
    std::string_view value;
    if (!find_value(cpRecord, pCol->szName, &value)) {
        PROT(by_language("E005-DATABAS %s could not find column %s within record.",
                         "E005-DATABAS %s konnte Spalte %s im Satz nicht finden.",
                         "E005-DATABAS %s hod de Spaltn %s im Satz net gfundn."),
             pRL->szId, pCol->szName);
        return 0;
    }
    text_copy(pCol->szValue, value);
    return 1;
}

int DB_SEL_LOOP_RECORDS(const DB_REC_LIS *pRL,
                        int (*fn)(const DB_REC_LIS_ELEMENT *pRecord, void *pContext),
                        void *pContext) {
    int iVisited = 0;
    const DB_REC_LIS_ELEMENT *element = pRL->pstrFirstRec;
    for (; element != nullptr; element = element->pstrNextRec) {
        ++iVisited;
        if (fn(element, pContext) == 0) {
            break;
        }
    }
    return iVisited;
}
