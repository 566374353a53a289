// The entries of one directory, in a compact form, because a directory may have millions.
#pragma once

#include "common/common/owner.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <vector>

// An entry of a directory; what the letters mean is told in entry_line.h.
struct s_ENTRY {
    char cBaseType;
    char cType;
    std::string_view name; // full name
    std::string_view info; // what is known of a mount
    long long lChanged;    // the times in seconds since the epoch
    long long lModified;
    double dSize; // bytes
};

// What the file's status tells of the entry.
s_ENTRY entry_of(char cBaseType, char cType, std::string_view name, std::string_view info,
                 const struct stat &status);

// Entries are gathered as they come; their order is found when they are printed.
class entry_list {
public:
    entry_list();

    // Takes a copy of the entry. False when there is no memory for it.
    bool insert(const s_ENTRY &entry);

    // Prints all entries on standard output, in the order of base type and full name, byte by byte;
    // of equal ones that which came first. 0, or the error number of what ended it before: no
    // memory to sort them, or standard output that does not take them.
    int print();

private:
    struct s_NODE {
        const char *cpName;
        const char *cpInfo; // null: nothing
        long long lChanged;
        long long lModified;
        double dSize;
        std::uint32_t iNameLength;
        char cBaseType;
        char cType;
    };
    struct s_KEY;

    bool grow();
    char *text_space(std::size_t iLength);
    std::size_t common_length() const;
    s_KEY key_of(std::size_t iNode, std::size_t iCommon) const;
    s_KEY *sort(s_KEY *keys) const;
    int print_nodes(const s_KEY *begin, const s_KEY *end);

    // From malloc, not from new: without memory the listing says what is missing and goes on.
    unique_memory<s_NODE> nodes_;
    std::size_t count_ = 0;
    std::size_t room_ = 0;
    std::vector<unique_memory<char>> chunks_; // the texts
    std::size_t chunk_used_ = 0;              // bytes of the last chunk
    std::string lines_; // what is printed at once; has its room before memory can be short
};
