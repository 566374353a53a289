// Descriptions of drives, see drive.h.
#include "kernel/functions/devices/drive.h"

#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/configuration/directories.h"
#include "common/unix/configuration/glbv.h"
#include "common/unix/trace/trace.h"
#include "kernel/request/options.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace {

constexpr std::size_t kWordLength = 15; // of type, class and tapemark: what the media server reads

// Cuts the next blank-separated word off the text.
std::string cut_word(std::string_view *text) {
    constexpr char kBlanks[] = " \t\r\n";
    text->remove_prefix(std::min(text->find_first_not_of(kBlanks), text->size()));
    const std::size_t end = std::min(text->find_first_of(kBlanks), text->size());
    std::string word(text->substr(0, end));
    text->remove_prefix(end);
    return word;
}

bool parse_number(const std::string &word, int *piNumber) {
    const char *begin = word.c_str() + (word[0] == '+' ? 1 : 0);
    const char *end = word.c_str() + word.size();
    return !word.empty() && std::from_chars(begin, end, *piNumber).ec == std::errc();
}

// Six fields; what follows them does not count. A text that the store has cut ends with ">": what
// is missing may be the end of a field.
bool parse_drive(std::string_view text, s_DRIVE *drive) {
    if (text.ends_with('>')) {
        return false;
    }
    drive->number = cut_word(&text);
    drive->device = cut_word(&text);
    drive->type = cut_word(&text);
    drive->classOf = cut_word(&text);
    drive->tapemark = cut_word(&text);
    return parse_number(cut_word(&text), &drive->iStreams) && drive->type.size() <= kWordLength &&
           drive->classOf.size() <= kWordLength && drive->tapemark.size() <= kWordLength &&
           drive->number.find('/') == std::string::npos;
}

// False when the disk's path does not fit.
bool place_disk(s_DRIVE *drive) {
    if (!is_changeable(*drive)) {
        drive->content = "empty";
    } else if (!is_relative_path(drive->device)) {
        drive->content = drive->device;
    } else {
        trace_log(&strLog, TRACE_EVENTS, "use mount point in WORK dir");
        drive->content = disk_mount_point(drive->device);
    }
    return !drive->content.empty();
}

} // namespace

bool is_disk(const s_DRIVE &drive) {
    return drive.classOf.find("DISK_") != std::string::npos;
}

bool is_changeable(const s_DRIVE &drive) {
    constexpr std::size_t kPlace = 5;
    return is_disk(drive) && drive.classOf.size() > kPlace && drive.classOf[kPlace] == 'C';
}

bool read_drive(int i, s_DRIVE *drive, char *cpMsg) {
    char szName[64];
    char szValue[GLBV_VALUE_SIZE];
    text_print(szName, "gv_client_c_%d", i);
    glbv('R', szName, szValue);
    if (szValue[0] == '?') {
        text_print(cpMsg, kMessageSize,
                   "GLBV %s had not been written by caller, so cannot configure the drive", szName);
        return false;
    }
    trace_log(&strLog, TRACE_EVENTS, "read from gv_client_c_ %d  : %s ", i, szValue);
    if (!parse_drive(szValue, drive) || (is_disk(*drive) && !place_disk(drive))) {
        text_print(cpMsg, kMessageSize, "GLBV %s invalid: %s", szName, szValue);
        return false;
    }
    return true;
}
