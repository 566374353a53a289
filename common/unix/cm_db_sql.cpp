// Normalising statements (SQL_LOWERCASE and CLEANUP_QUOTA of cm_db.h): what the callers wrote, in
// the form that the database tool understands.
#include "common/common/cm_message.h"
#include "common/common/text.h"
#include "common/unix/cm_db.h"

#include <cctype>
#include <string>
#include <string_view>

namespace {

bool is_quote(char letter) {
    return letter == '\'' || letter == '"';
}

bool is_word(char letter) {
    return std::isalnum(static_cast<unsigned char>(letter)) != 0 || letter == '_';
}

// The place behind the quoted text that begins at iBegin, where a doubled quote is part of the
// text; npos when it does not end.
std::size_t quoted_end(std::string_view sql, std::size_t iBegin) {
    const char quote = sql[iBegin];
    for (std::size_t i = iBegin + 1; i < sql.size(); ++i) {
        if (sql[i] == quote) {
            if (i + 1 < sql.size() && sql[i + 1] == quote) {
                ++i;
            } else {
                return i + 1;
            }
        }
    }
    return std::string_view::npos;
}

// All quotes have their partner, and no quoted text touches a word or another one.
bool is_well_formed(std::string_view sql) {
    for (std::size_t i = 0; i < sql.size(); ++i) {
        if (!is_quote(sql[i])) {
            continue;
        }
        const std::size_t end = quoted_end(sql, i);
        if (end == std::string_view::npos || (i > 0 && is_word(sql[i - 1])) ||
            (end < sql.size() && (is_word(sql[end]) || is_quote(sql[end])))) {
            return false;
        }
        i = end - 1;
    }
    return true;
}

// Whether what follows a quote says that the value ends with it: the end of the statement, a
// separator, an operator, or a word of SQL.
bool ends_value(std::string_view rest) {
    constexpr std::string_view kSeparators = ",;)=<>|+-*/";
    constexpr std::string_view kWords[] = {"and",   "or",   "where",   "order", "group", "having",
                                           "from",  "as",   "like",    "in",    "is",    "not",
                                           "union", "then", "between", "else",  "end",   "limit"};
    const std::size_t begin = rest.find_first_not_of(" \t\r\n");
    if (begin == std::string_view::npos) {
        return true;
    }
    if (kSeparators.find(rest[begin]) != std::string_view::npos) {
        return true;
    }
    const std::string_view next = rest.substr(begin);
    for (const std::string_view word : kWords) {
        if (begin > 0 && text_begins_with_nocase(next, word) &&
            (next.size() == word.size() || !is_word(next[word.size()]))) {
            return true;
        }
    }
    return false;
}

// Copies the value that begins with the single quote at *piPlace, each single quote inside of it
// doubled, and moves *piPlace behind it.
void repair_value(std::string_view sql, std::size_t *piPlace, std::string *out) {
    std::size_t i = *piPlace;
    *out += sql[i++];
    for (; i < sql.size(); ++i) {
        *out += sql[i];
        if (sql[i] != '\'') {
            continue;
        }
        if (ends_value(sql.substr(i + 1))) {
            ++i;
            break;
        }
        *out += '\'';
        if (i + 1 < sql.size() && sql[i + 1] == '\'') {
            ++i; // was doubled already
        } else {
            trace_at(1, "Warning: CLEANUP_QUOTA: exchanged extra ' in SQL statement");
        }
    }
    *piPlace = i;
}

std::string repaired(std::string_view sql) {
    std::string out;
    for (std::size_t i = 0; i < sql.size();) {
        if (sql[i] == '\'') {
            repair_value(sql, &i, &out);
            continue;
        }
        if (sql[i] == '"') {
            const std::size_t end = quoted_end(sql, i);
            if (end == std::string_view::npos) {
                trace_at(1, "Warning: CLEANUP_QUOTA: removed extra \" in SQL statement");
                ++i;
                continue;
            }
            out += sql.substr(i, end - i);
            i = end;
            continue;
        }
        out += sql[i++];
    }
    return out;
}

} // namespace

char *SQL_LOWERCASE(char *cpSql) {
    const std::string_view sql = cpSql;
    for (std::size_t i = 0; i < sql.size();) {
        const std::size_t end = is_quote(sql[i]) ? quoted_end(sql, i) : std::string_view::npos;
        if (end != std::string_view::npos) {
            i = end;
        } else {
            cpSql[i] = text_lower(sql[i]);
            ++i;
        }
    }
    return cpSql;
}

char *CLEANUP_QUOTA(char *cpSql, int iSize) {
    if (!is_well_formed(cpSql)) {
        text_copy(cpSql, iSize, repaired(cpSql));
    }
    return cpSql;
}
