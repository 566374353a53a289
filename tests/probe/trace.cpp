// The trace, the protocol and their times. The formats are a session's.
#include "tests/probe/probe.h"

#include "common/common/text.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <unistd.h>

namespace vn_probe {
namespace {

std::map<std::string, str_log> records; // those that a session configures, by any name

// RECORD FILE MODULE: as a module begins.
void run_configure(Words &words) {
    str_log &record = records[words.text()];
    const char *file = words.text();
    v_set_log_main(file, words.text(), &record);
    std::printf("%s level %d, verify %d, language %d\n", record.szFile, record.iFlg, record.iVerify,
                eLang);
}

// RECORD LEVEL VERIFY
void run_level(Words &words) {
    str_log &record = records[words.text()];
    const int level = (int)words.number();
    v_set_log(level, (int)words.number(), &record);
}

// RECORD FILE LEVEL VERIFY: a record that no INI file has configured.
void run_record(Words &words) {
    str_log &record = records[words.text()];
    text_copy(record.szFile, words.text());
    record.iFlg = (int)words.number();
    record.iVerify = (int)words.number();
    v_SET_LOCAL_LOG(record);
}

// Neither trace nor protocol may touch the caller's errno.
template <typename Write>
void write(Write write) {
    errno = E2BIG;
    write();
    if (errno != E2BIG) {
        std::printf("errno %d\n", errno);
    }
}

// RECORD FORMAT [ARGUMENT]
void run_write_trace(Words &words) {
    str_log &record = records[words.text()];
    const char *format = words.text();
    write([&] { WRITE_TRACE(&record, format, words.more() ? words.text() : ""); });
}

// FORMAT [ARGUMENT]
void run_trace(Words &words) {
    const char *format = words.text();
    write([&] { trace(format, words.more() ? words.text() : ""); });
}

// FORMAT [ARGUMENT [ARGUMENT]]
void run_protocol(Words &words) {
    void (*const unchecked)(const char *, ...) = PROT;
    const char *format = words.text(), *first = words.more() ? words.text() : "";
    write([&] { unchecked(format, first, words.more() ? words.text() : ""); });
}

// The text that makes an event's line as long as the next word tells: time, tag and process id in
// front of it take 42 characters or, with a process id of more than six digits, more.
std::string fill(Words &words) {
    const size_t digits = std::max<size_t>(6, std::to_string(getpid()).size());
    return std::string((size_t)words.number() - 36 - digits, 'x');
}

// LENGTH: an event whose text, or whose format, has that length.
void run_long_event(Words &words) {
    PROT("W003-BASICS  %s", fill(words).c_str());
}

void run_long_format(Words &words) {
    void (*const unchecked)(const char *, ...) = PROT;
    unchecked(("W003-BASICS  " + fill(words)).c_str());
}

void run_no_text(Words &) {
    PROT("W003-BASICS  %ls", L"\xd800");
}

void run_log_check(Words &words) {
    std::printf("%d\n", log_check(words.text()));
}

void run_language(Words &words) {
    eLang = (LANGUAGES)words.number();
}

void run_time(Words &words) {
    Buffer time = buffer(25, words.text());
    const bool same = time_get(time.data()) == time.data();
    std::printf("%s%s\n", time.data(), same ? "" : ", returned another");
}

// SECONDS FORMAT SIZE: of the clock, or with a "+" before the seconds from now on.
void run_strftime(Words &words) {
    const char *seconds = words.text();
    const bool from_now = *seconds == '+';
    const time_t when = (from_now ? std::time(nullptr) : 0) +
                        std::strtol(seconds + (from_now ? 1 : 0), nullptr, 10);
    const char *format = words.text();
    void (*const unchecked)(std::time_t, const char *, char *, int) = cm_strftime;
    Buffer time((size_t)words.number(), '~');
    unchecked(when, format, time.data(), (int)time.size());
    std::printf("%.*s\n", (int)time.size(), time.data());
}

const Function kFunctions[] = {
    {"v_set_log_main", run_configure},
    {"v_set_log", run_level},
    {"record", run_record},
    {"WRITE_TRACE", run_write_trace},
    {"trace", run_trace},
    {"PROT", run_protocol},
    {"PROT_text", run_long_event},
    {"PROT_format", run_long_format},
    {"PROT_no_text", run_no_text},
    {"log_check", run_log_check},
    {"eLang", run_language},
    {"time_get", run_time},
    {"cm_strftime", run_strftime},
};

} // namespace

const std::span<const Function> kTrace = kFunctions;

} // namespace vn_probe
