// How an entry of a listing is written.
#pragma once

#include <cstddef>
#include <string_view>

// What an entry's line tells. Kinds are told by two letters: the base type "d" or "f", and the type
// "_" plain, "l" symbolic link, "m" NFS or SMB mount, "b" application, "p" FIFO, "c" and "k"
// character and block device, "s" socket.
struct s_ENTRY_LINE {
    char cBaseType;
    char cType;
    std::string_view directory; // what the name stands behind, with its "/", or empty
    std::string_view name;
    std::string_view changed;
    std::string_view modified;
    double dSize;          // bytes
    std::string_view info; // what is known of a mount
};

// Bytes that the line may need.
constexpr std::size_t entry_line_room(const s_ENTRY_LINE &line) {
    constexpr std::size_t kRest = 384; // the largest size and what stands between the texts
    return line.directory.size() + line.name.size() + line.changed.size() + line.modified.size() +
           line.info.size() + kRest;
}

// Writes the entry's line, with its line feed, where there is that room. Returns its end.
char *put_entry_line(char *to, const s_ENTRY_LINE &line);
