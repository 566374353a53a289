// Text in fixed-size buffers, see text.h.
#include "common/common/text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

bool text_copy(char *buffer, long size, std::string_view text) {
    if (buffer == nullptr || size < 1) {
        return false;
    }
    const std::size_t length = std::min(text.size(), static_cast<std::size_t>(size) - 1);
    std::copy_n(text.data(), length, buffer);
    buffer[length] = '\0';
    return length == text.size();
}

bool text_append(char *buffer, long size, std::string_view text) {
    if (buffer == nullptr || size < 1) {
        return false;
    }
    const std::size_t used = strnlen(buffer, static_cast<std::size_t>(size) - 1);
    return text_copy(buffer + used, size - static_cast<long>(used), text);
}

bool text_vprint(char *buffer, long size, const char *format, va_list arguments) {
    if (buffer == nullptr || size < 1) {
        return false;
    }
    const int needed = std::vsnprintf(buffer, static_cast<std::size_t>(size), format, arguments);
    if (needed < 0) {
        buffer[0] = '\0';
    }
    return needed >= 0 && needed < size;
}

bool text_print(char *buffer, long size, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const bool whole = text_vprint(buffer, size, format, arguments);
    va_end(arguments);
    return whole;
}

std::string text_file_part(std::string_view text) {
    std::string part(text);
    std::replace_if(
        part.begin(), part.end(), [](char c) { return c == '/' || c == '\\' || c == '*'; }, '_');
    return part;
}

std::string error_text(int iErrno) {
    return std::strerror(iErrno);
}

char text_lower(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

char text_upper(char letter) {
    return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

bool text_begins_with_nocase(std::string_view text, std::string_view prefix) {
    if (text.size() < prefix.size()) {
        return false;
    }
    return std::equal(prefix.begin(), prefix.end(), text.begin(),
                      [](char a, char b) { return text_lower(a) == text_lower(b); });
}

std::string_view text_stripped(std::string_view text) {
    constexpr std::string_view kSpace = " \t\r\n\v\f";
    const std::size_t first = text.find_first_not_of(kSpace);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

std::string_view text_take_field(std::string_view *text, char separator) {
    const std::size_t end = std::min(text->find(separator), text->size());
    const std::string_view field = text->substr(0, end);
    text->remove_prefix(std::min(end + 1, text->size()));
    return field;
}

std::string_view text_take_line(std::string_view *text) {
    return text_take_field(text, '\n');
}

std::vector<std::string_view> text_fields(std::string_view text, char separator) {
    std::vector<std::string_view> fields;
    while (!text.empty()) {
        const std::string_view field = text_take_field(&text, separator);
        if (!field.empty()) {
            fields.push_back(field);
        }
    }
    return fields;
}

bool path_goes_up(std::string_view path) {
    while (!path.empty()) {
        if (text_take_field(&path, '/') == "..") {
            return true;
        }
    }
    return false;
}
