// How an entry of a listing is written.
#pragma once

#include <string>
#include <string_view>

// What an entry's line tells. Kinds are told by two letters: the base type "d" or "f", and the type
// "_" plain, "l" symbolic link, "m" NFS or SMB mount, "b" application, "p" FIFO, "c" and "k"
// character and block device, "s" socket.
struct s_ENTRY_LINE {
    char cBaseType;
    char cType;
    std::string_view name; // full name
    std::string_view changed;
    std::string_view modified;
    double dSize;          // bytes
    std::string_view info; // what is known of a mount
};

// Adds the entry's line, with its line feed, behind `lines`.
void append_entry_line(std::string *lines, const s_ENTRY_LINE &line);
