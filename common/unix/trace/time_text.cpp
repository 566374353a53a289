// Time stamps and simple date arithmetic (time_get of time_text.h), in local time.
#include "common/unix/trace/time_text.h"

#include "common/common/text.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace {

constexpr int kTimeSize = 25;
constexpr std::time_t kLatestTime = 2147483647;

bool begins_with_digit_1_to_9(const char *cpText) {
    return cpText[0] >= '1' && cpText[0] <= '9';
}

// The fields of a base time; one that cannot be read keeps the current time's value.
struct s_BASE {
    int iYear;
    int iMonth;
    int iDay;
    int iHour;
    int iMinute;
    int iSecond;
};

s_BASE base_of(const std::tm &when) {
    return {when.tm_year + 1900, when.tm_mon + 1, when.tm_mday,
            when.tm_hour,        when.tm_min,     when.tm_sec};
}

void set_base(const s_BASE &base, std::tm *when) {
    when->tm_year = base.iYear - 1900;
    when->tm_mon = base.iMonth - 1;
    when->tm_mday = base.iDay;
    when->tm_hour = base.iHour;
    when->tm_min = base.iMinute;
    when->tm_sec = base.iSecond;
    when->tm_isdst = -1;
}

// Reads the base time that the text begins with, if it does. Returns what stands behind it.
const char *skip_base(const char *cpText, std::tm *when) {
    s_BASE b = base_of(*when);
    const std::size_t length = std::strlen(cpText);
    if (!begins_with_digit_1_to_9(cpText)) {
        return cpText;
    }
    // NOLINTBEGIN(cert-err34-c): the widths bound the numbers, and an unread one keeps its value
    if (length > 19 && cpText[4] == '-' && cpText[7] == '-' && cpText[10] == ' ' &&
        cpText[13] == ':') {
        std::sscanf(cpText, "%4d-%2d-%2d %2d:%2d:%2d", &b.iYear, &b.iMonth, &b.iDay, &b.iHour,
                    &b.iMinute, &b.iSecond);
        set_base(b, when);
        return cpText + 20;
    }
    if (length > 8 && cpText[8] == '_') {
        std::sscanf(cpText, "%4d%2d%2d_%2d%2d%2d", &b.iYear, &b.iMonth, &b.iDay, &b.iHour,
                    &b.iMinute, &b.iSecond);
        set_base(b, when);
        return cpText + (length < 16 ? length : 16);
    }
    // NOLINTEND(cert-err34-c)
    return cpText;
}

// Adds to a calendar field. False when the sum leaves the field's range.
bool add_to(int *piField, long long lNumber) {
    long long lSum = 0;
    if (__builtin_add_overflow(static_cast<long long>(*piField), lNumber, &lSum) ||
        lSum > INT_MAX || lSum < INT_MIN) {
        return false;
    }
    *piField = static_cast<int>(lSum);
    return true;
}

// Carries out the mode. False when the result is beyond what a calendar field can hold.
bool apply_mode(const char *cpMode, std::tm *when) {
    struct s_FIELD {
        char cMode;
        int std::tm::*field;
    };
    constexpr s_FIELD kFields[] = {{'D', &std::tm::tm_mday},
                                   {'H', &std::tm::tm_hour},
                                   {'M', &std::tm::tm_min},
                                   {'S', &std::tm::tm_sec}};
    if (cpMode[0] == 'T' || cpMode[0] == 'Y') {
        when->tm_isdst = -1;
        return add_to(&when->tm_mday, cpMode[0] == 'T' ? 1 : -1);
    }
    for (const s_FIELD &field : kFields) {
        if (cpMode[0] == field.cMode) {
            char *end = nullptr;
            const long long lNumber = std::strtoll(cpMode + 1, &end, 10);
            if (end == cpMode + 1) {
                return true;
            }
            if (field.cMode == 'D') { // the same time of another day, whatever the season
                when->tm_isdst = -1;
            }
            return add_to(&(when->*field.field), lNumber);
        }
    }
    return true;
}

} // namespace

// The compiler checks the format where cm_strftime is called.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
void cm_strftime(std::time_t lTime, const char *cpFormat, char *cpText, int iSize) {
    std::tm local = {};
    localtime_r(&lTime, &local);
    if (iSize > 0 &&
        std::strftime(cpText, static_cast<std::size_t>(iSize), cpFormat, &local) == 0) {
        cpText[0] = '\0';
    }
}
#pragma GCC diagnostic pop

char *time_get(char *cpTime) {
    const std::time_t now = std::time(nullptr);
    std::tm when = {};
    localtime_r(&now, &when);
    const char *cpMode = skip_base(cpTime, &when);
    const char cMode = cpMode[0];
    std::time_t result = apply_mode(cpMode, &when) ? std::mktime(&when) : -1;
    if (result == -1) {
        result = kLatestTime;
    }
    localtime_r(&result, &when);
    const bool bDigits = cMode == 'I' || cMode == 'N';
    char szTime[64] = "";
    std::strftime(szTime, sizeof szTime, bDigits ? "%Y%m%d%H%M%S" : "%Y-%m-%d %H:%M:%S", &when);
    if (cMode == 'N') {
        text_append(szTime, "000"); // milliseconds, which the platform's clock helper does not tell
    }
    text_copy(cpTime, kTimeSize, szTime);
    return cpTime;
}
