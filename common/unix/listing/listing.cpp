// The list of entries behind a directory listing, see listing.h. Entries that are sorted in are
// only gathered; their places are found all at once, when somebody looks at the list. What is seen
// is the same as if each had been inserted on its own.
#include "common/unix/listing/listing.h"

#include "common/common/owner.h"
#include "common/common/text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kChunk = 1 << 20;     // bytes of text that are allocated at once
constexpr std::size_t kBlock = 1 << 17;     // bytes that are printed at once
constexpr unsigned kRememberedTimes = 1024; // a power of two

struct s_NODE {
    const char *cpName;
    const char *cpTexts; // change time, modification time and information, each terminated; or null
    long long lCreatTime;
    long long lModTime;
    double dSize;
    std::uint32_t iNameLength;
    char cBaseType;
    char cType;
    bool bTimes; // the times are texts
};

struct s_LIST {
    std::vector<s_NODE> nodes;               // in the order of their coming
    std::vector<std::uint32_t> order;        // the list: indexes of nodes
    std::size_t iPlaced = 0;                 // nodes before this one have their place in the list
    bool bSorted = true;                     // the list is strictly ascending
    std::vector<unique_memory<char>> chunks; // the texts
    std::size_t iChunkUsed = kChunk;
};

s_LIST *pList = nullptr; // made on first use, so that vStart can forget it

s_LIST &list() {
    if (pList == nullptr) {
        pList = new s_LIST;
    }
    return *pList;
}

char *text_space(s_LIST *l, std::size_t iLength) {
    if (iLength > kChunk - l->iChunkUsed || l->chunks.empty()) {
        unique_memory<char> chunk(static_cast<char *>(std::malloc(std::max(iLength, kChunk))));
        if (!chunk) {
            return nullptr;
        }
        l->chunks.push_back(std::move(chunk));
        l->iChunkUsed = 0;
    }
    char *space = l->chunks.back().get() + l->iChunkUsed;
    l->iChunkUsed = std::min(l->iChunkUsed + iLength, kChunk);
    return space;
}

char *put_text(char *out, std::string_view text) {
    out = std::copy(text.begin(), text.end(), out);
    *out++ = '\0';
    return out;
}

// Copies the entry behind the nodes. False, with a message, when memory runs out.
bool append_node(s_LIST *l, const s_ENTRY &e) {
    const bool bTimes = e.creatTime.data() != nullptr;
    const bool bTexts = bTimes || !e.info.empty();
    const std::size_t iTexts =
        bTexts ? e.creatTime.size() + e.modTime.size() + e.info.size() + 3 : 0;
    char *text = text_space(l, e.name.size() + 1 + iTexts);
    if (text == nullptr) {
        std::fputs(l->nodes.empty() ? "vAdd: Kein Speicherplatz vorhanden fuer strpAnfang"
                                    : "vAdd: Kein Speicherplatz fuer letztes Element",
                   stderr);
        return false;
    }
    char *texts = put_text(text, e.name);
    if (bTexts) {
        put_text(put_text(put_text(texts, e.creatTime), e.modTime), e.info);
    }
    l->nodes.push_back({text, bTexts ? texts : nullptr, e.lCreatTime, e.lModTime, e.dSize,
                        static_cast<std::uint32_t>(e.name.size()), e.cBaseType, e.cType, bTimes});
    return true;
}

int compare(const s_NODE &a, const s_NODE &b) {
    return listing_compare(a.cBaseType, a.cpName, b.cBaseType, b.cpName);
}

// A node with what decides most comparisons: the base type and the name's first seven characters
// behind what all names begin with.
struct s_KEY {
    std::uint64_t lKey;
    std::uint32_t iNode;
};

std::size_t common_length(const std::vector<s_NODE> &nodes) {
    const s_NODE &first = nodes.front();
    std::size_t iCommon = first.iNameLength;
    for (const s_NODE &node : nodes) {
        const char *end = first.cpName + std::min<std::size_t>(iCommon, node.iNameLength);
        iCommon = static_cast<std::size_t>(std::mismatch(first.cpName, end, node.cpName).first -
                                           first.cpName);
    }
    return iCommon;
}

s_KEY key_of(const s_NODE &node, std::uint32_t iNode, std::size_t iCommon) {
    std::uint64_t lKey = static_cast<unsigned char>(node.cBaseType);
    for (std::size_t i = iCommon; i < iCommon + 7; ++i) {
        lKey = lKey << 8 | (i < node.iNameLength ? static_cast<unsigned char>(node.cpName[i]) : 0U);
    }
    return {lKey, iNode};
}

void place_sorted(s_LIST *l) {
    const std::vector<s_NODE> &nodes = l->nodes;
    const std::size_t iCommon = common_length(nodes);
    std::vector<s_KEY> keys;
    keys.reserve(l->order.size() + nodes.size() - l->iPlaced);
    for (const std::uint32_t iNode : l->order) {
        keys.push_back(key_of(nodes[iNode], iNode, iCommon));
    }
    for (std::size_t i = l->iPlaced; i < nodes.size(); ++i) {
        const auto iNode = static_cast<std::uint32_t>(i);
        keys.push_back(key_of(nodes[i], iNode, iCommon));
    }
    const auto names = [&nodes, iCommon](const s_KEY &a, const s_KEY &b) {
        return std::strcmp(nodes[a.iNode].cpName + iCommon, nodes[b.iNode].cpName + iCommon);
    };
    std::sort(keys.begin(), keys.end(), [&names](const s_KEY &a, const s_KEY &b) {
        if (a.lKey != b.lKey) {
            return a.lKey < b.lKey;
        }
        const int iNames = names(a, b);
        return iNames != 0 ? iNames < 0 : a.iNode < b.iNode;
    });
    const auto end =
        std::unique(keys.begin(), keys.end(), [&names](const s_KEY &a, const s_KEY &b) {
            return a.lKey == b.lKey && names(a, b) == 0;
        });
    l->order.clear();
    l->order.reserve(static_cast<std::size_t>(end - keys.begin()));
    std::transform(keys.begin(), end, std::back_inserter(l->order),
                   [](const s_KEY &key) { return key.iNode; });
}

// In a list that appended entries have brought out of order, each goes before the first that is not
// less than it.
void place_singly(s_LIST *l) {
    for (std::size_t i = l->iPlaced; i < l->nodes.size(); ++i) {
        const s_NODE &node = l->nodes[i];
        const auto place =
            std::find_if(l->order.begin(), l->order.end(), [l, &node](std::uint32_t other) {
                return compare(l->nodes[other], node) >= 0;
            });
        if (place == l->order.end() || compare(l->nodes[*place], node) != 0) {
            l->order.insert(place, static_cast<std::uint32_t>(i));
        }
    }
}

void place_all(s_LIST *l) {
    if (l->iPlaced == l->nodes.size()) {
        return;
    }
    if (l->bSorted) {
        place_sorted(l);
    } else {
        place_singly(l);
    }
    l->iPlaced = l->nodes.size();
}

// The time as text; many entries of a directory share a second, which is then formatted once.
const char *time_text(long long lTime) {
    struct s_TIME {
        long long lTime;
        char szText[64];
    };
    static s_TIME remembered[kRememberedTimes];
    s_TIME &slot = remembered[static_cast<unsigned long long>(lTime) % kRememberedTimes];
    if (slot.lTime != lTime || slot.szText[0] == '\0') {
        const auto when = static_cast<std::time_t>(lTime);
        std::tm local = {};
        localtime_r(&when, &local);
        std::strftime(slot.szText, sizeof slot.szText, "%Y.%m.%d %H:%M:%S", &local);
        slot.lTime = lTime;
    }
    return slot.szText;
}

void append_time(std::string *line, std::string_view text, long long lTime) {
    if (text.data() == nullptr) {
        line->append(time_text(lTime));
    } else {
        line->append(text);
    }
}

void append_size(std::string *line, double dSize) {
    constexpr double kExact = 9007199254740992.0; // integers up to here have no fraction to round
    char szSize[400];
    if (dSize >= 0 && dSize < kExact && dSize == std::floor(dSize)) {
        const auto end =
            std::to_chars(szSize, szSize + sizeof szSize, static_cast<unsigned long long>(dSize));
        line->append(szSize, end.ptr);
    } else {
        std::snprintf(szSize, sizeof szSize, "%.0f", dSize);
        line->append(szSize);
    }
}

// "name" kind, change time, modification time, size, owner, information.
void append_line(std::string *lines, const s_ENTRY &e) {
    *lines += '"';
    const std::size_t iName = lines->size();
    lines->append(e.name);
    std::replace(lines->begin() + static_cast<std::ptrdiff_t>(iName), lines->end(), '\\', '/');
    const char kind[] = {'"', ' ', e.cBaseType, e.cType, ' '};
    lines->append(kind, sizeof kind);
    append_time(lines, e.creatTime, e.lCreatTime);
    *lines += ' ';
    append_time(lines, e.modTime, e.lModTime);
    *lines += ' ';
    append_size(lines, e.dSize);
    lines->append(" - ,");
    lines->append(e.info);
    *lines += '\n';
}

s_ENTRY entry_of(const s_NODE &node) {
    s_ENTRY e = {
        node.cBaseType, node.cType, {node.cpName, node.iNameLength}, {}, {}, {}, node.lCreatTime,
        node.lModTime,  node.dSize};
    if (node.cpTexts != nullptr) {
        const std::string_view creatTime = node.cpTexts;
        const std::string_view modTime = creatTime.data() + creatTime.size() + 1;
        e.info = modTime.data() + modTime.size() + 1;
        if (node.bTimes) {
            e.creatTime = creatTime;
            e.modTime = modTime;
        }
    }
    return e;
}

void print(const std::string &lines) {
    std::fwrite(lines.data(), 1, lines.size(), stdout);
}

} // namespace

void listing_start() {
    pList = nullptr;
}

void listing_add(const s_ENTRY &entry) {
    s_LIST &l = list();
    place_all(&l);
    if (!append_node(&l, entry)) {
        return;
    }
    l.bSorted =
        l.bSorted && (l.order.empty() || compare(l.nodes[l.order.back()], l.nodes.back()) < 0);
    l.order.push_back(static_cast<std::uint32_t>(l.iPlaced));
    l.iPlaced = l.nodes.size();
}

void listing_sort(const s_ENTRY &entry) {
    append_node(&list(), entry);
}

void listing_output() {
    s_LIST &l = list();
    place_all(&l);
    std::string lines;
    lines.reserve(kBlock + 8192);
    for (const std::uint32_t iNode : l.order) {
        append_line(&lines, entry_of(l.nodes[iNode]));
        if (lines.size() >= kBlock) {
            print(lines);
            lines.clear();
        }
    }
    print(lines);
}

void listing_delete() {
    delete pList;
    pList = nullptr;
}

int listing_compare(char cBaseType1, const char *cpName1, char cBaseType2, const char *cpName2) {
    const int iBase =
        static_cast<unsigned char>(cBaseType1) - static_cast<unsigned char>(cBaseType2);
    return iBase != 0 ? iBase : std::strcmp(cpName1, cpName2);
}

void listing_show(const s_ENTRY &entry) {
    std::string line;
    append_line(&line, entry);
    print(line);
}
