// The command in the control daemon's form (vConvertCommand of convert.h). Old daemons depend
// on every oddity of this conversion: it is kept as it is.
#include "control/convert.h"

#include "common/common/text.h"
#include "common/unix/trace/trace.h"

#include <cstring>
#include <string>
#include <string_view>

namespace {

struct s_SCAN {
    std::string command;    // with a NUL in place of everything that was cut out
    std::size_t iPiece = 0; // where the pending piece begins
    bool bWord = false;
    bool bDouble = false;
    bool bSingle = false;
    std::string result;

    std::size_t iLimit = 0; // of the result
    bool bCut = false;      // something did not fit

    const char *piece() const { return command.c_str() + iPiece; }
    void cut(std::size_t i) { command[i] = '\0'; }
    void add(std::string_view text) {
        const std::size_t iRest = iLimit - result.size();
        bCut = bCut || text.size() > iRest;
        result += text.substr(0, iRest);
    }
    void add_piece() { add({piece(), strnlen(piece(), iLimit + 1)}); }
};

// A quote at the end of a bare word: the word is passed on, the quoted text begins.
void end_word_at_quote(s_SCAN *s, std::size_t i, char quote, str_log *strLog) {
    s->cut(i);
    trace_log(strLog, TRACE_NOISE, "%d: [%c] add pszLastArg[%s]", static_cast<int>(i), quote,
              s->piece());
    s->add_piece();
    s->iPiece = i + 1;
    s->bWord = false;
    (quote == '"' ? s->bDouble : s->bSingle) = true;
}

// A double quote outside of words and single quotes.
void scan_double(s_SCAN *s, std::size_t i, str_log *strLog) {
    s->cut(i);
    if (s->bDouble || std::strcmp(s->piece(), " ") != 0) {
        trace_log(strLog, TRACE_NOISE, "%d: add (%d) pszLastArg[%s]", static_cast<int>(i),
                  s->bDouble ? 2 : 1, s->piece());
        s->add_piece();
    }
    if (!s->bDouble) {
        trace_log(strLog, TRACE_NOISE, "%d: set pszLastArg", static_cast<int>(i));
    }
    s->iPiece = i + 1;
    s->bDouble = !s->bDouble;
}

// A single quote outside of words and double quotes. An opening one is still there when the pending
// piece is passed on, which therefore runs on to the end of the command.
void scan_single(s_SCAN *s, std::size_t i, str_log *strLog) {
    if (s->bSingle) {
        s->cut(i);
    }
    if (s->bSingle || std::strcmp(s->piece(), " ") != 0) {
        trace_log(strLog, TRACE_NOISE, "%d: add (%d) pszLastArg[%s]", static_cast<int>(i),
                  s->bSingle ? 4 : 3, s->piece());
        s->add_piece();
    }
    s->iPiece = i + 1;
    s->bSingle = !s->bSingle;
}

void end_argument(s_SCAN *s, std::size_t i, str_log *strLog) {
    s->cut(i);
    trace_log(strLog, TRACE_NOISE, "%d: [%c] strcat pszLastArg[%s\"]", static_cast<int>(i), ' ',
              s->piece());
    s->add_piece();
    s->add("\"");
    s->iPiece = i + 1;
    s->bWord = false;
}

} // namespace

bool vConvertCommand(const char *cpCommand, char *cpResult, int iSize, str_log *strLog) {
    s_SCAN s;
    s.command = cpCommand;
    s.iLimit = static_cast<std::size_t>(iSize); // one more than fits: a separator at its end goes
    const std::size_t length = s.command.size();
    for (std::size_t i = 0; i < length; ++i) {
        const char letter = s.command[i];
        if (letter == '\\') {
            trace_log(strLog, TRACE_NOISE, "escape '\\' found before char [%c]",
                      i + 1 < length ? s.command[i + 1] : ' ');
            ++i;
        } else if ((letter == '"' || letter == '\'') && s.bWord) {
            end_word_at_quote(&s, i, letter, strLog);
        } else if (letter == '"' && !s.bSingle) {
            scan_double(&s, i, strLog);
        } else if (letter == '\'' && !s.bDouble) {
            scan_single(&s, i, strLog);
        } else if (letter == ' ' && !s.bDouble && !s.bSingle) {
            end_argument(&s, i, strLog);
        } else if (!s.bDouble && !s.bSingle) {
            s.bWord = true;
        }
    }
    if (s.iPiece < length) {
        trace_log(strLog, TRACE_NOISE, "%d: [%c] add last pszLastArg[%s]", static_cast<int>(length),
                  ' ', s.piece());
        s.add_piece();
    }
    if (!s.result.empty() && s.result.back() == '"') {
        s.result.pop_back();
    }
    return text_copy(cpResult, iSize, s.result) && !s.bCut;
}
