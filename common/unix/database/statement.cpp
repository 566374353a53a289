// Normalising statements (SQL_LOWERCASE and CLEANUP_QUOTA of statement.h): what the callers wrote,
// in the form that the database tool understands.
#include "common/unix/database/statement.h"

#include "common/common/cm_message.h"
#include "common/common/text.h"

#include <algorithm>
#include <cctype>
#include <iterator>
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

// Words of SQL that may stand right before or behind a quoted text.
bool is_sql_word(std::string_view word) {
    constexpr std::string_view kWords[] = {
        "all",  "and",    "as",     "between", "by",     "case",  "distinct", "else",
        "end",  "escape", "from",   "group",   "having", "in",    "into",     "is",
        "like", "limit",  "not",    "on",      "or",     "order", "select",   "set",
        "then", "union",  "values", "when",    "where"};
    return std::any_of(std::begin(kWords), std::end(kWords), [word](std::string_view known) {
        return word.size() == known.size() && text_begins_with_nocase(word, known);
    });
}

// The word that ends right before a place, and the one that begins there; empty without one.
std::string_view word_before(std::string_view sql, std::size_t iEnd) {
    std::size_t begin = iEnd;
    while (begin > 0 && is_word(sql[begin - 1])) {
        --begin;
    }
    return sql.substr(begin, iEnd - begin);
}

std::string_view word_at(std::string_view sql, std::size_t iBegin) {
    std::size_t end = iBegin;
    while (end < sql.size() && is_word(sql[end])) {
        ++end;
    }
    return sql.substr(iBegin, end - iBegin);
}

bool may_touch(std::string_view word) {
    return word.empty() || is_sql_word(word);
}

// All quotes have their partner, and no quoted text touches a name or another one.
bool is_well_formed(std::string_view sql) {
    for (std::size_t i = 0; i < sql.size(); ++i) {
        if (!is_quote(sql[i])) {
            continue;
        }
        const std::size_t end = quoted_end(sql, i);
        if (end == std::string_view::npos || !may_touch(word_before(sql, i)) ||
            !may_touch(word_at(sql, end)) || (end < sql.size() && is_quote(sql[end]))) {
            return false;
        }
        i = end - 1;
    }
    return true;
}

// Whether what follows a quote says that the value ends with it: the end of the statement, a
// separator, an operator, a stray double quote, or a word of SQL.
bool ends_value(std::string_view rest) {
    constexpr std::string_view kSeparators = ",;)=<>|+-*/\"";
    const std::size_t begin = rest.find_first_not_of(" \t\r\n");
    if (begin == std::string_view::npos ||
        kSeparators.find(rest[begin]) != std::string_view::npos) {
        return true;
    }
    return begin > 0 && is_sql_word(word_at(rest, begin));
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
            trace_at(TRACE_EVENTS, "Warning: CLEANUP_QUOTA: exchanged extra ' in SQL statement");
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
                trace_at(TRACE_EVENTS, "Warning: CLEANUP_QUOTA: removed extra \" in SQL statement");
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

std::string db_quoted(std::string_view value) {
    std::string result;
    for (const char letter : value) {
        result += letter;
        if (letter == '\'') {
            result += letter;
        }
    }
    return result;
}

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
