// The entries of one directory, see entry_list.h.
#include "common/unix/listing/entry_list.h"

#include "common/unix/listing/entry_line.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

namespace {

constexpr std::size_t kChunk = 1 << 20;     // bytes of text that are allocated at once
constexpr std::size_t kBlock = 1 << 17;     // bytes that are printed at once
constexpr std::size_t kFirstRoom = 1 << 10; // entries

// Times as text; many entries of a directory share a second, which is then formatted once. A text
// is valid until the next call.
class time_texts {
public:
    const char *text(long long lTime) {
        s_TIME &slot = remembered_[static_cast<unsigned long long>(lTime) % kRemembered];
        if (slot.lTime != lTime || slot.szText[0] == '\0') {
            const auto when = static_cast<std::time_t>(lTime);
            std::tm local = {};
            localtime_r(&when, &local);
            std::strftime(slot.szText, sizeof slot.szText, "%Y.%m.%d %H:%M:%S", &local);
            slot.lTime = lTime;
        }
        return slot.szText;
    }

private:
    static constexpr unsigned kRemembered = 512; // a power of two
    struct s_TIME {
        long long lTime;
        char szText[64];
    };
    s_TIME remembered_[kRemembered] = {};
};

} // namespace

// A node with what decides most comparisons: the base type and the name's first seven characters
// behind what all names begin with.
struct entry_list::s_KEY {
    std::uint64_t lKey;
    std::uint32_t iNode;
};

s_ENTRY entry_of(char cBaseType, char cType, std::string_view name, std::string_view info,
                 const struct stat &status) {
    return {cBaseType,
            cType,
            name,
            info,
            static_cast<long long>(status.st_ctime),
            static_cast<long long>(status.st_mtime),
            static_cast<double>(status.st_size)};
}

entry_list::entry_list() {
    constexpr std::size_t kLongestLine = 8192;
    lines_.reserve(kBlock + kLongestLine);
}

bool entry_list::grow() {
    const std::size_t iRoom = std::max(2 * room_, kFirstRoom);
    void *nodes = std::realloc(nodes_.get(), iRoom * sizeof(s_NODE));
    if (nodes == nullptr) {
        return false;
    }
    [[maybe_unused]] const s_NODE *moved = nodes_.release();
    nodes_.reset(static_cast<s_NODE *>(nodes));
    room_ = iRoom;
    return true;
}

char *entry_list::text_space(std::size_t iLength) {
    if (chunks_.empty() || iLength > kChunk - chunk_used_) {
        unique_memory<char> chunk(static_cast<char *>(std::malloc(std::max(iLength, kChunk))));
        if (!chunk) {
            return nullptr;
        }
        chunks_.push_back(std::move(chunk));
        chunk_used_ = 0;
    }
    char *space = chunks_.back().get() + chunk_used_;
    chunk_used_ = std::min(chunk_used_ + iLength, kChunk);
    return space;
}

bool entry_list::insert(const s_ENTRY &entry) {
    const std::size_t iInfo = entry.info.empty() ? 0 : entry.info.size() + 1;
    char *name = nullptr;
    if ((count_ == room_ && !grow()) ||
        (name = text_space(entry.name.size() + 1 + iInfo)) == nullptr) {
        return false;
    }
    char *info = std::copy(entry.name.begin(), entry.name.end(), name);
    *info++ = '\0';
    if (iInfo > 0) {
        *std::copy(entry.info.begin(), entry.info.end(), info) = '\0';
    }
    nodes_.get()[count_++] = {name,
                              iInfo > 0 ? info : nullptr,
                              entry.lChanged,
                              entry.lModified,
                              entry.dSize,
                              static_cast<std::uint32_t>(entry.name.size()),
                              entry.cBaseType,
                              entry.cType};
    return true;
}

std::size_t entry_list::common_length() const {
    const s_NODE *nodes = nodes_.get();
    std::size_t iCommon = count_ > 0 ? nodes->iNameLength : 0;
    for (const s_NODE *node = nodes; node < nodes + count_; ++node) {
        const char *end = nodes->cpName + std::min<std::size_t>(iCommon, node->iNameLength);
        iCommon = static_cast<std::size_t>(std::mismatch(nodes->cpName, end, node->cpName).first -
                                           nodes->cpName);
    }
    return iCommon;
}

entry_list::s_KEY entry_list::key_of(std::size_t iNode, std::size_t iCommon) const {
    const s_NODE &node = nodes_.get()[iNode];
    std::uint64_t lKey = static_cast<unsigned char>(node.cBaseType);
    for (std::size_t i = iCommon; i < iCommon + 7; ++i) {
        lKey = lKey << 8 | (i < node.iNameLength ? static_cast<unsigned char>(node.cpName[i]) : 0U);
    }
    return {lKey, static_cast<std::uint32_t>(iNode)};
}

// Fills `keys` in the order of the names, each once. Returns their end.
entry_list::s_KEY *entry_list::sort(s_KEY *keys) const {
    const s_NODE *nodes = nodes_.get();
    const std::size_t iCommon = common_length();
    for (std::size_t i = 0; i < count_; ++i) {
        keys[i] = key_of(i, iCommon);
    }
    const auto names = [nodes, iCommon](const s_KEY &a, const s_KEY &b) {
        return std::strcmp(nodes[a.iNode].cpName + iCommon, nodes[b.iNode].cpName + iCommon);
    };
    std::sort(keys, keys + count_, [&names](const s_KEY &a, const s_KEY &b) {
        if (a.lKey != b.lKey) {
            return a.lKey < b.lKey;
        }
        const int iNames = names(a, b);
        return iNames != 0 ? iNames < 0 : a.iNode < b.iNode;
    });
    return std::unique(keys, keys + count_, [&names](const s_KEY &a, const s_KEY &b) {
        return a.lKey == b.lKey && names(a, b) == 0;
    });
}

int entry_list::print_nodes(const s_KEY *begin, const s_KEY *end) {
    time_texts changed;
    time_texts modified;
    for (const s_KEY *key = begin; key < end; ++key) {
        const s_NODE &node = nodes_.get()[key->iNode];
        append_entry_line(&lines_, {node.cBaseType,
                                    node.cType,
                                    {node.cpName, node.iNameLength},
                                    changed.text(node.lChanged),
                                    modified.text(node.lModified),
                                    node.dSize,
                                    node.cpInfo == nullptr ? "" : node.cpInfo});
        if (lines_.size() >= kBlock || key + 1 == end) {
            if (std::fwrite(lines_.data(), 1, lines_.size(), stdout) < lines_.size()) {
                return errno;
            }
            lines_.clear();
        }
    }
    return std::fflush(stdout) == 0 ? 0 : errno;
}

int entry_list::print() {
    const unique_memory<s_KEY> keys(
        static_cast<s_KEY *>(std::malloc((count_ + 1) * sizeof(s_KEY))));
    return keys ? print_nodes(keys.get(), sort(keys.get())) : ENOMEM;
}
