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

// Letters beyond ASCII are those of words too, in whatever encoding.
bool is_word(char letter) {
    const auto byte = static_cast<unsigned char>(letter);
    return std::isalnum(byte) != 0 || letter == '_' || byte >= 0x80;
}

// True for the quote of a text E'...', in which a backslash takes the next letter's meaning.
bool begins_escapes(std::string_view sql, std::size_t iQuote) {
    return sql[iQuote] == '\'' && iQuote > 0 && text_lower(sql[iQuote - 1]) == 'e' &&
           (iQuote == 1 || !is_word(sql[iQuote - 2]));
}

// The place behind the quoted text that begins at iBegin, where a doubled quote is part of the
// text; npos when it does not end.
std::size_t quoted_end(std::string_view sql, std::size_t iBegin) {
    const char quote = sql[iBegin];
    const bool bEscapes = begins_escapes(sql, iBegin);
    for (std::size_t i = iBegin + 1; i < sql.size(); ++i) {
        const bool bEscaped = bEscapes && sql[i] == '\\';
        const bool bDoubled = sql[i] == quote && i + 1 < sql.size() && sql[i + 1] == quote;
        if (bEscaped || bDoubled) {
            ++i;
        } else if (sql[i] == quote) {
            return i + 1;
        }
    }
    return std::string_view::npos;
}

// Words of SQL that may stand right before or behind a quoted text.
bool is_sql_word(std::string_view word) {
    constexpr std::string_view kWords[] = {
        "all",     "and",    "as",       "asc",   "between", "by",        "case",
        "collate", "desc",   "distinct", "else",  "end",     "escape",    "from",
        "group",   "having", "in",       "into",  "is",      "like",      "limit",
        "not",     "offset", "on",       "or",    "order",   "returning", "select",
        "set",     "then",   "union",    "using", "values",  "when",      "where"};
    return std::any_of(std::begin(kWords), std::end(kWords), [word](std::string_view known) {
        return word.size() == known.size() && text_begins_with_nocase(word, known);
    });
}

// The word that begins at a place; empty without one.
std::string_view word_at(std::string_view sql, std::size_t iBegin) {
    std::size_t end = iBegin;
    while (end < sql.size() && is_word(sql[end])) {
        ++end;
    }
    return sql.substr(iBegin, end - iBegin);
}

// True for a quote between two letters, which is rather part of a name than a value's end; only a
// word of SQL may stand right behind a value.
bool is_inside_name(std::string_view sql, std::size_t iQuote) {
    const std::string_view behind = word_at(sql, iQuote + 1);
    return is_word(sql[iQuote - 1]) && !behind.empty() && !is_sql_word(behind);
}

// All quotes have their partner, and every quoted text ends where a value may end.
bool is_well_formed(std::string_view sql) {
    for (std::size_t i = 0; i < sql.size(); ++i) {
        if (!is_quote(sql[i])) {
            continue;
        }
        const std::size_t end = quoted_end(sql, i);
        if (end == std::string_view::npos || (sql[i] == '\'' && is_inside_name(sql, end - 1))) {
            return false;
        }
        i = end - 1;
    }
    return true;
}

bool contains_where(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::string_view word = word_at(text, i);
        if (word.size() == 5 && text_begins_with_nocase(word, "where")) {
            return true;
        }
        i += word.size();
    }
    return false;
}

// Whether what follows a quote says that the value ends with it: the end of the statement, a
// separator, an operator, a stray double quote, or a word of SQL.
bool ends_value(std::string_view rest) {
    constexpr std::string_view kSeparators = ",;)}]:=<>|+-*/\"";
    const std::size_t begin = rest.find_first_not_of(" \t\r\n");
    if (begin == std::string_view::npos ||
        kSeparators.find(rest[begin]) != std::string_view::npos) {
        return true;
    }
    return begin > 0 && is_sql_word(word_at(rest, begin));
}

// A statement while it is repaired.
struct s_REPAIR {
    std::string_view sql;
    std::size_t iPlace = 0;
    std::string out = {};
    bool bSafe = true; // no condition has become part of a value
};

// Doubles the single quote behind the place, if it is not doubled already.
void double_quote(s_REPAIR *r) {
    r->out += "''";
    ++r->iPlace;
    if (r->iPlace < r->sql.size() && r->sql[r->iPlace] == '\'') {
        ++r->iPlace;
    } else {
        trace_at(TRACE_EVENTS, "Warning: CLEANUP_QUOTA: exchanged extra ' in SQL statement");
    }
}

// Copies the value that begins with the single quote at the place, each single quote inside of it
// doubled. A value that this makes longer may not reach over the statement's condition.
void repair_value(s_REPAIR *r) {
    const std::size_t begin = r->iPlace;
    const std::size_t simple_end = quoted_end(r->sql, begin);
    r->out += r->sql[r->iPlace++];
    bool bEnds = false;
    while (!bEnds && r->iPlace < r->sql.size()) {
        if (r->sql[r->iPlace] != '\'') {
            r->out += r->sql[r->iPlace++];
        } else if (ends_value(r->sql.substr(r->iPlace + 1))) {
            r->out += r->sql[r->iPlace++];
            bEnds = true;
        } else {
            double_quote(r);
        }
    }
    const std::string_view value = r->sql.substr(begin, r->iPlace - begin);
    r->bSafe = r->bSafe && ((bEnds && r->iPlace == simple_end) || !contains_where(value));
}

void repair_name(s_REPAIR *r) {
    const std::size_t end = quoted_end(r->sql, r->iPlace);
    if (end == std::string_view::npos) {
        trace_at(TRACE_EVENTS, "Warning: CLEANUP_QUOTA: removed extra \" in SQL statement");
        ++r->iPlace;
        return;
    }
    r->out += r->sql.substr(r->iPlace, end - r->iPlace);
    r->iPlace = end;
}

void repair(s_REPAIR *r) {
    while (r->iPlace < r->sql.size()) {
        if (r->sql[r->iPlace] == '\'') {
            repair_value(r);
        } else if (r->sql[r->iPlace] == '"') {
            repair_name(r);
        } else {
            r->out += r->sql[r->iPlace++];
        }
    }
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

bool db_repair_quotes(char *cpSql, int iSize) {
    if (is_well_formed(cpSql)) {
        return true;
    }
    s_REPAIR r = {cpSql};
    repair(&r);
    if (!r.bSafe || r.out.size() >= static_cast<std::size_t>(iSize)) {
        return false;
    }
    return text_copy(cpSql, iSize, r.out);
}

char *CLEANUP_QUOTA(char *cpSql, int iSize) {
    db_repair_quotes(cpSql, iSize);
    return cpSql;
}
