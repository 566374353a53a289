// The text of vns.ini, see vns_sections.h.
#include "kernel/functions/devices/vns_sections.h"

#include "common/common/text.h"
#include "common/unix/trace/trace.h"
#include "kernel/request/options.h"
#include "kernel/unix_hal/absent.h"

namespace {

bool holds(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

// "<key>_<i>=<value>" and a line feed.
std::string entry(const char *cpKey, std::size_t i, const std::string &value) {
    return std::string(cpKey) + '_' + std::to_string(i) + '=' + value + '\n';
}

std::string device_section(const std::string &prefix, const std::vector<s_DRIVE> &drives) {
    std::string text =
        '[' + prefix + "Device]\nMaximal_Number_Of_Devices=" + std::to_string(drives.size()) + '\n';
    for (std::size_t i = 0; i < drives.size(); ++i) {
        text += entry("Device_Name", i,
                      is_disk(drives[i]) ? "disk" + drives[i].number : drives[i].device);
    }
    for (std::size_t i = 0; i < drives.size(); ++i) {
        const std::string type = entry("Device_Type", i, drives[i].type);
        trace_log(&strLog, TRACE_EVENTS, " %.*s ", static_cast<int>(type.size() - 1), type.c_str());
        text += type;
    }
    return text;
}

std::string disk_section(const std::string &prefix) {
    trace_log(&strLog, TRACE_EVENTS, "Disk section [Disk]Directory= %s ", gszRwIni);
    return "\n[" + prefix + "Disk]\nDirectory=" + gszRwIni + '\n';
}

// Stops each drive's process of the media server, too: its configuration is about to change.
std::string tape_section(const std::string &prefix, const std::vector<s_DRIVE> &drives) {
    trace_log(&strLog, TRACE_EVENTS, "Tape section");
    std::string text = "\n[" + prefix + "Tape]\n";
    for (std::size_t i = 0; i < drives.size(); ++i) {
        const std::string mark = entry("Tapemark_Type", i, drives[i].tapemark);
        trace_log(&strLog, TRACE_EVENTS, "    %.*s ", static_cast<int>(mark.size() - 1),
                  mark.c_str());
        VNS_SHUTDOWN(static_cast<int>(i));
        text += mark;
    }
    return text;
}

std::string streams(const std::vector<s_DRIVE> &drives) {
    std::string text;
    for (std::size_t i = 0; i < drives.size(); ++i) {
        text += entry("Maximal_Number_Of_Parallel_Streams", i, std::to_string(drives[i].iStreams));
    }
    return text;
}

// The new streams stand where the first of the old ones stood.
std::string kept_rest(std::string_view rest, const std::vector<s_DRIVE> &drives) {
    trace_log(&strLog, TRACE_EVENTS, "write remaining file");
    std::string text;
    bool bStreams = false;
    while (!rest.empty()) {
        const std::string_view line = text_take_line(&rest);
        if (holds(line, "Tapemark_Type")) {
            continue;
        }
        if (!holds(line, "Maximal_Number_Of_Parallel_Streams")) {
            text.append(line) += '\n';
        } else if (!bStreams) {
            bStreams = true;
            text += streams(drives);
        }
    }
    return text;
}

} // namespace

bool find_tape_section(std::string_view text, s_OLD_SECTIONS *old) {
    while (!text.empty()) {
        const std::string_view line = text_stripped(text_take_line(&text));
        if (line.starts_with('[') && holds(line, "Tape]")) { // a comment may name the section, too
            old->cpPrefix = holds(line, "[VNS_Tape]") ? "VNS_" : "";
            old->rest = text;
            return true;
        }
    }
    return false;
}

std::string new_sections(const s_OLD_SECTIONS &old, const std::vector<s_DRIVE> &drives) {
    std::string text = device_section(old.cpPrefix, drives);
    text += disk_section(old.cpPrefix);
    text += tape_section(old.cpPrefix, drives);
    return text + kept_rest(old.rest, drives);
}
