// Quoting for the shell, see shell_quote.h.
#include "common/common/shell_quote.h"

#include <algorithm>

namespace {

constexpr std::string_view kBlanks = " \t\n";
constexpr std::string_view kEscapable = "\\\"$`"; // by a backslash between double quotes

// Puts `before` in front of every character of `text` that is one of `special`.
std::string escaped(std::string_view text, std::string_view special, char before) {
    std::string result;
    for (const char letter : text) {
        if (special.find(letter) != std::string_view::npos) {
            result += before;
        }
        result += letter;
    }
    return result;
}

std::string inside_single(std::string_view text) {
    std::string result;
    for (const char letter : text) {
        if (letter == '\'') {
            result += "'\\''"; // leave the quotes, give the quote itself, enter them again
        } else {
            result += letter;
        }
    }
    return result;
}

// Reads one word off the text, its quotes and backslashes taken off. False when a quote does not
// end.
bool read_word(std::string_view *text, std::string *word) {
    char quote = '\0';
    while (!text->empty() && (quote != '\0' || kBlanks.find(text->front()) == kBlanks.npos)) {
        const char letter = text->front();
        text->remove_prefix(1);
        const bool bEscapes = letter == '\\' && quote != '\'' && !text->empty() &&
                              (quote == '\0' || kEscapable.find(text->front()) != kEscapable.npos);
        if (bEscapes) {
            *word += text->front();
            text->remove_prefix(1);
        } else if (quote == '\0' && (letter == '\'' || letter == '"')) {
            quote = letter;
        } else if (quote != '\0' && letter == quote) {
            quote = '\0';
        } else {
            *word += letter;
        }
    }
    return quote == '\0';
}

bool is_plain_word(std::string_view text) {
    constexpr std::string_view kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                        "0123456789_./:,@%+-";
    return !text.empty() && text.find_first_not_of(kPlain) == std::string_view::npos;
}

} // namespace

std::string shell_quoted(std::string_view text, e_QUOTES eQuotes) {
    switch (eQuotes) {
    case QUOTES_SINGLE:
        return inside_single(text);
    case QUOTES_DOUBLE:
        return escaped(text, "\\\"$`", '\\');
    case QUOTES_NONE:
        break;
    }
    return is_plain_word(text) ? std::string(text) : "'" + inside_single(text) + "'";
}

std::string shell_file(std::string_view name, e_QUOTES eQuotes) {
    if (!name.empty() && name.front() == '-') {
        return shell_quoted("./" + std::string(name), eQuotes);
    }
    return shell_quoted(name, eQuotes);
}

bool shell_words(std::string_view text, std::vector<std::string> *words) {
    for (;;) {
        text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
        if (text.empty()) {
            return true;
        }
        std::string word;
        if (!read_word(&text, &word)) {
            return false;
        }
        words->push_back(word);
    }
}
