// The entries of one directory, in a compact form, because a directory may have millions.
#pragma once

#include "common/common/owner.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <vector>

// Entries are gathered as they come; their order is found when they are printed. Each is known by
// its place, which counts them from 0.
class entry_list {
public:
    // All names stand behind the directory's, which is made to end with "/".
    explicit entry_list(std::string_view directory);

    // The directory with the "/" at its end.
    const std::string &directory() const { return directory_; }

    // Takes a copy of a name (without its directory, at most 4,095 bytes) and of what is known of a
    // mount (at most 4,095 bytes). False when there is no memory for it. The entry is none that is
    // printed before its status is set.
    bool insert(std::string_view name, std::string_view info = {});

    std::size_t count() const { return count_; }
    const char *name(std::size_t iPlace) const { return node(iPlace).cpName; }

    // Tells what kind of entry it is (the letters of entry_line.h), its times and its size. Several
    // threads may do so at once for different entries, while another one inserts more.
    void set_status(std::size_t iPlace, char cBaseType, char cType, const struct stat &status);

    // Tells why it has no status, and asks for that; 0 if it has one or may have none.
    void set_fault(std::size_t iPlace, int iErrno) {
        node(iPlace).iErrno = static_cast<std::uint16_t>(iErrno);
    }
    int fault(std::size_t iPlace) const { return node(iPlace).iErrno; }

    // Forgets the entries from this place on; none is inserted any more.
    void cut(std::size_t iPlace) { count_ = iPlace; }

    // Prints all entries on standard output, in the order of base type and full name, byte by byte;
    // of equal ones that which came first. 0, or the error number of what ended it before: no
    // memory to sort them, or standard output that does not take them.
    int print();

private:
    struct s_NODE {
        const char *cpName; // behind its end the information, if there is any
        long long lChanged; // the times in seconds since the epoch
        long long lModified;
        double dSize; // bytes
        std::uint16_t iNameLength;
        std::uint16_t iErrno;
        char cBaseType; // '\0': no status
        char cType;
        bool bInfo;
    };
    struct s_KEY;
    struct s_PEN;
    struct s_SORTING;
    struct s_PRINTING;

    // Nodes never move: they are in blocks of which each is twice as large as the one before.
    static constexpr std::size_t kFirstBlock = 1024; // nodes
    static constexpr std::size_t kBlocks = 22;       // as many as places have numbers for

    s_NODE &node(std::size_t iPlace) const {
        const std::size_t i = iPlace + kFirstBlock;
        const std::size_t iBegin = std::bit_floor(i); // of its block
        return blocks_[std::countr_zero(iBegin / kFirstBlock)].get()[i - iBegin];
    }
    bool grow();
    char *text_space(std::size_t iLength);
    s_KEY key_of(std::size_t iPlace) const;
    bool is_before(const s_KEY &a, const s_KEY &b) const;
    s_KEY *sort(s_KEY *keys) const;
    int print_keys(const s_KEY *begin, const s_KEY *end);
    void write_line(s_PEN *pen, const s_NODE &node) const;

    // From malloc, not from new: without memory the listing says what is missing and goes on.
    std::string directory_;
    unique_memory<s_NODE> blocks_[kBlocks];
    std::size_t count_ = 0;
    std::size_t common_ = 0;                  // bytes that all names begin with
    std::vector<unique_memory<char>> chunks_; // the texts
    std::size_t chunk_used_ = 0;              // bytes of the last chunk
    unique_memory<s_PEN> pen_;                // taken before memory can be short
};
