// Text in fixed-size buffers: copy, append and print that never overrun and always terminate.
// Every write into a char buffer of an interface goes through these; a text that does not fit is
// cut, and the result says so, because a cut name or command must not be used as if it were whole.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// The three below work on a buffer of `size` bytes; with a size below 1 or no buffer they do
// nothing. All return true when the whole text fitted, false when it was cut (or is no text).

// Replaces the buffer's text by `text`, which may not overlap the buffer.
bool text_copy(char *buffer, long size, std::string_view text);

// Adds `text` behind the buffer's text.
bool text_append(char *buffer, long size, std::string_view text);

// Replaces the buffer's text by the formatted one; the arguments may not lie in the buffer.
bool text_print(char *buffer, long size, const char *format, ...)
    __attribute__((format(printf, 3, 4)));
bool text_vprint(char *buffer, long size, const char *format, va_list arguments)
    __attribute__((format(printf, 3, 0)));

// The same for an array, which brings its size along.
template <std::size_t N>
bool text_copy(char (&buffer)[N], std::string_view text) {
    return text_copy(buffer, static_cast<long>(N), text);
}

template <std::size_t N>
bool text_append(char (&buffer)[N], std::string_view text) {
    return text_append(buffer, static_cast<long>(N), text);
}

template <std::size_t N>
__attribute__((format(printf, 2, 3))) bool text_print(char (&buffer)[N], const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const bool whole = text_vprint(buffer, static_cast<long>(N), format, arguments);
    va_end(arguments);
    return whole;
}

// A text as part of a file name that is no path and no pattern: "/", "\" and "*" become "_".
std::string text_file_part(std::string_view text);

// The system's text for an error number, as a copy: the next look-up does not change it.
std::string error_text(int iErrno);

// ASCII letters only, whatever the locale: names in files must compare the same everywhere.
char text_lower(char letter);
char text_upper(char letter);

// True when `text` begins with `prefix`, letter case of ASCII letters ignored.
bool text_begins_with_nocase(std::string_view text, std::string_view prefix);

// `text` without blanks, tabs and line ends at both ends.
std::string_view text_stripped(std::string_view text);

// Takes the first line off `text` and returns it without its line feed; of an empty text an empty
// line.
std::string_view text_take_line(std::string_view *text);

// Takes the first field off `text`, with what separates it from the next, and returns it: the text
// before the first separator, or all of it.
std::string_view text_take_field(std::string_view *text, char separator);

// The fields of a text that are not empty: separators that follow each other count as one.
std::vector<std::string_view> text_fields(std::string_view text, char separator);

// True when a component of the path is "..": the path may lead out of where it begins.
bool path_goes_up(std::string_view path);
