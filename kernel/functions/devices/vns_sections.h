// The text of vns.ini, the media server's configuration: what is written anew and what stays.
#pragma once

#include "kernel/functions/devices/drive.h"

#include <string>
#include <string_view>
#include <vector>

// What a new vns.ini takes over from the old one.
struct s_OLD_SECTIONS {
    const char *cpPrefix; // of the sections' names: "VNS_" or ""
    std::string rest;     // all behind the line that begins the tape section
};

// Takes over what stays of the old text. False when it has no tape section.
bool find_tape_section(std::string_view text, s_OLD_SECTIONS *old);

// The new text: the sections of devices, disks and tapes for the drives, then the rest of the old
// one but for what describes drives.
std::string new_sections(const s_OLD_SECTIONS &old, const std::vector<s_DRIVE> &drives);
