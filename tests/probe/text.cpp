// Texts: in buffers of fixed size, taken apart, formatted, and what the call's parameters are.
#include "tests/probe/probe.h"

#include "common/common/shell_quote.h"
#include "common/common/strlib.h"
#include "common/common/text.h"
#include "common/unix/cm_kernel.h"
#include "common/unix/trace/format.h"
#include "common/unix/trace/screen.h"
#include "common/unix/trace/system_error.h"

#include <algorithm>
#include <cstdio>

namespace vn_probe {
namespace {

// A result and the whole buffer, the terminator as "0".
void show(bool fits, const std::string &buffer) {
    std::string shown = buffer;
    std::replace(shown.begin(), shown.end(), '\0', '0');
    std::printf("%d %s\n", fits, shown.c_str());
}

// SIZE TEXT: copied, printed, appended to "+" and to a text without an end; then what is no text
// and no buffer.
void run_buffer(Words &words) {
    const long size = words.number();
    const char *text = words.text();
    const std::string eight(8, '~');
    std::string copied = eight, printed = eight, appended = "+", full = eight, no_text = eight;
    appended.resize(2);
    appended += "~~~~~~";
    show(text_copy(copied.data(), size, text), copied);
    show(text_print(printed.data(), size, "%s", text), printed);
    show(text_append(appended.data(), size, text), appended);
    show(text_append(full.data(), size, text), full);
    show(text_print(no_text.data(), size, "%ls", L"\xd800"), no_text);
    show(text_copy(nullptr, size, text) || text_append(nullptr, size, text) ||
             text_print(nullptr, size, "%s", text),
         "");
}

// TEXT
void run_parts(Words &words) {
    const std::string text = words.text();
    std::string_view rest = text;
    std::printf("line \"%s\"", std::string(text_take_line(&rest)).c_str());
    std::printf(" rest \"%s\" stripped \"%s\" file \"%s\"%s fields", std::string(rest).c_str(),
                std::string(text_stripped(text)).c_str(), text_file_part(text).c_str(),
                path_goes_up(text) ? " up" : "");
    for (const std::string_view field : text_fields(text, ',')) {
        std::printf(" <%.*s>", (int)field.size(), field.data());
    }
    std::printf("\n");
}

// TEXT PREFIX
void run_begins(Words &words) {
    const char *text = words.text();
    std::printf("%d\n", text_begins_with_nocase(text, words.text()));
}

void run_shell_words(Words &words) {
    std::vector<std::string> found;
    std::printf("%d", shell_words(words.text(), &found));
    for (const std::string &word : found) {
        std::printf(" <%s>", word.c_str());
    }
    std::printf("\n");
}

// The session gives the format: nobody can check it.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
__attribute__((format(printf, 2, 3))) void print_format(size_t limit, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::string text = "stale";
    const bool done = format_text(&text, format, limit, arguments);
    va_end(arguments);
    std::printf("%d %s\n", done, text.c_str());
}

// LIMIT FORMAT ARGUMENT
void run_format(Words &words) {
    const auto limit = (size_t)words.number();
    const char *format = words.text();
    print_format(limit, format, words.text());
}
#pragma GCC diagnostic pop

// LIMIT FORMAT
void run_format_cut(Words &words) {
    const auto limit = (size_t)words.number();
    std::printf("%s\n", format_cut(words.text(), limit).c_str());
}

// CLASS ERROR TEXT
void run_error(Words &words) {
    const int kind = (int)words.number(), error = (int)words.number();
    std::printf("%s\n", syserrtxt(kind, error, "-%s", words.text()));
}

void run_screen(Words &words) {
    write_screen(words.text());
    std::printf("line %s\n", screen_line_end()[0] == '\n' ? "open" : "closed");
}

// CLEAR PIECE PIECE PIECE: behind "old".
void run_chain(Words &words) {
    const int clear = (int)words.number();
    const char *first = words.text(), *second = words.text();
    Buffer text = buffer(STR_CHAIN_SIZE, "old");
    std::printf("%s\n", str_chain(text.data(), clear, first, second, words.text(), ""));
}

// TEXT
template <char *(*function)(char *)>
void run_in_place(Words &words) {
    const std::string text = words.text();
    Buffer changed = buffer(0, text);
    const bool same = function(changed.data()) == changed.data();
    std::printf("\"%s\"%s\n", changed.data(), same ? "" : ", returned another");
}

char *squeeze_slashes(char *text) {
    return squeeze(text, '/');
}

// TEXT SIZE
void run_escape(Words &words) {
    Buffer text = buffer(0, words.text());
    const long size = words.number();
    text.resize(std::max(text.size(), (size_t)size), '~');
    const bool same = szChar2EscapeChar(text.data(), '\'', (int)size) == text.data();
    std::printf("\"%s\"%s\n", text.data(), same ? "" : ", returned another");
}

void run_number(Words &words) {
    const long number = words.number();
    const char *first = intoas(number), *second = longtoasc(~number);
    std::printf("%s %s\n", first, second);
}

// TEXT DELIMITER
void run_token(Words &words) {
    const char *text = words.text();
    const char *token = cm_strtok(text, *words.text());
    std::printf("%s\n", token == nullptr ? "none" : token);
}

// INDEX DELIMITER TEXT: into another buffer and in place.
void run_element(Words &words) {
    const int index = (int)words.number();
    const char delimiter = *words.text();
    Buffer element = buffer(768, "stale"), text = buffer(768, words.text());
    const int found = str_elem(index, delimiter, text.data(), element.data());
    const bool same = str_elem(index, delimiter, text.data(), text.data()) == found;
    std::printf("%d \"%s\"%s\n", found, element.data(),
                same && std::string(text.data()) == element.data() ? "" : ", in place another");
}

// All words of the call.
void run_parameters(Words &words) {
    std::printf("%s\n", GET_CALL_PARAM((int)words.left.size(), words.left.data()));
}

const Function kFunctions[] = {
    {"text_copy", run_buffer},
    {"parts", run_parts},
    {"text_begins_with_nocase", run_begins},
    {"shell_words", run_shell_words},
    {"format_text", run_format},
    {"format_cut", run_format_cut},
    {"syserrtxt", run_error},
    {"write_screen", run_screen},
    {"str_chain", run_chain},
    {"str_trim", run_in_place<str_trim>},
    {"squeeze", run_in_place<squeeze_slashes>},
    {"lowercase", run_in_place<lowercase>},
    {"uppercase", run_in_place<uppercase>},
    {"szPath2Dos", run_in_place<szPath2Dos>},
    {"szPath2Unix", run_in_place<szPath2Unix>},
    {"szChar2EscapeChar", run_escape},
    {"intoas", run_number},
    {"cm_strtok", run_token},
    {"str_elem", run_element},
    {"GET_CALL_PARAM", run_parameters},
};

} // namespace

const std::span<const Function> kText = kFunctions;

} // namespace vn_probe
