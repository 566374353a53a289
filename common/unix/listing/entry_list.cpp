// The entries of one directory, see entry_list.h. Those of a large one are sorted and written by
// several threads; whose part is whose shows neither in the order nor in the text.
#include "common/unix/listing/entry_list.h"

#include "common/unix/listing/crew.h"
#include "common/unix/listing/entry_line.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>

namespace {

constexpr std::size_t kChunk = 1 << 20;       // bytes of text that are allocated at once
constexpr std::size_t kPage = 1 << 17;        // bytes that are printed at once
constexpr std::size_t kLongestLine = 1 << 14; // of the longest directory, name and information
constexpr std::size_t kSlice = 1024;          // entries of a part of the work

struct s_TIME {
    long long lTime;
    std::size_t iLength; // 0: no text yet
    char szText[64];
};

// Times as text; many entries of a directory share a second, which is then formatted once.
constexpr std::size_t kRememberedTimes = 512; // a power of two
using t_TIMES = s_TIME[kRememberedTimes];

// A text that is valid until the next call.
std::string_view time_text(t_TIMES &remembered, long long lTime) {
    s_TIME &slot = remembered[static_cast<unsigned long long>(lTime) % kRememberedTimes];
    if (slot.lTime != lTime || slot.iLength == 0) {
        const auto when = static_cast<std::time_t>(lTime);
        std::tm local = {};
        localtime_r(&when, &local);
        slot.iLength = std::strftime(slot.szText, sizeof slot.szText, "%Y.%m.%d %H:%M:%S", &local);
        slot.lTime = lTime;
    }
    return {slot.szText, slot.iLength};
}

} // namespace

// A node with what decides most comparisons: the base type and the name's first seven characters
// behind what all names begin with.
struct entry_list::s_KEY {
    std::uint64_t lKey;
    std::uint32_t iPlace;
};

// What a thread writes lines with. All zero before its first line.
struct entry_list::s_PEN {
    t_TIMES changed;
    t_TIMES modified;
    std::size_t iUsed; // bytes of the page
    char page[kPage + kLongestLine];
};

entry_list::entry_list(std::string_view directory)
    : directory_(directory), pen_(static_cast<s_PEN *>(std::calloc(1, sizeof(s_PEN)))) {
    if (directory_.empty() || directory_.back() != '/') {
        directory_ += '/';
    }
}

bool entry_list::grow() {
    const std::size_t i = count_ / kFirstBlock + 1;
    if (!std::has_single_bit(i) || count_ % kFirstBlock != 0) {
        return true;
    }
    const auto iBlock = static_cast<std::size_t>(std::bit_width(i)) - 1;
    if (iBlock < kBlocks) {
        blocks_[iBlock].reset(
            static_cast<s_NODE *>(std::malloc((kFirstBlock << iBlock) * sizeof(s_NODE))));
    }
    return iBlock < kBlocks && blocks_[iBlock];
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

bool entry_list::insert(std::string_view name, std::string_view info) {
    const std::size_t iInfo = info.empty() ? 0 : info.size() + 1;
    char *text = nullptr;
    if (!grow() || (text = text_space(name.size() + 1 + iInfo)) == nullptr) {
        return false;
    }
    char *end = std::copy(name.begin(), name.end(), text);
    *end++ = '\0';
    if (iInfo > 0) {
        *std::copy(info.begin(), info.end(), end) = '\0';
    }
    common_ = count_ == 0 ? name.size() : std::min(common_, name.size());
    const char *first = count_ == 0 ? text : node(0).cpName;
    common_ = static_cast<std::size_t>(std::mismatch(first, first + common_, text).first - first);
    node(count_++) = {text, 0,    0,    0,        static_cast<std::uint16_t>(name.size()),
                      0,    '\0', '\0', iInfo > 0};
    return true;
}

void entry_list::set_status(std::size_t iPlace, char cBaseType, char cType,
                            const struct stat &status) {
    s_NODE &entry = node(iPlace);
    entry.cBaseType = cBaseType;
    entry.cType = cType;
    entry.lChanged = static_cast<long long>(status.st_ctime);
    entry.lModified = static_cast<long long>(status.st_mtime);
    entry.dSize = static_cast<double>(status.st_size);
}

// ---- the order
// -----------------------------------------------------------------------------------

namespace {

constexpr std::uint64_t kNoKey = ~std::uint64_t{0}; // of an entry without status: behind all others

} // namespace

entry_list::s_KEY entry_list::key_of(std::size_t iPlace) const {
    const s_NODE &entry = node(iPlace);
    std::uint64_t lKey = static_cast<unsigned char>(entry.cBaseType);
    for (std::size_t i = common_; i < common_ + 7; ++i) {
        lKey =
            lKey << 8 | (i < entry.iNameLength ? static_cast<unsigned char>(entry.cpName[i]) : 0U);
    }
    return {entry.cBaseType == '\0' ? kNoKey : lKey, static_cast<std::uint32_t>(iPlace)};
}

bool entry_list::is_before(const s_KEY &a, const s_KEY &b) const {
    if (a.lKey != b.lKey) {
        return a.lKey < b.lKey;
    }
    const int iNames =
        std::strcmp(node(a.iPlace).cpName + common_, node(b.iPlace).cpName + common_);
    return iNames != 0 ? iNames < 0 : a.iPlace < b.iPlace;
}

// The keys in equal parts; each step of the sorting works on the parts as they are then.
struct entry_list::s_SORTING {
    const entry_list *list;
    s_KEY *keys;
    std::size_t iCount;
    std::size_t iParts;

    s_KEY *part(std::size_t iPart) const { return keys + iCount * iPart / iParts; }

    static void fill(void *task, std::size_t iPart, unsigned /*iMember*/) {
        const auto *own = static_cast<s_SORTING *>(task);
        for (s_KEY *key = own->part(iPart); key < own->part(iPart + 1); ++key) {
            *key = own->list->key_of(static_cast<std::size_t>(key - own->keys));
        }
    }
    // Brings the smaller half of the part before the larger one.
    static void halve(void *task, std::size_t iPart, unsigned /*iMember*/) {
        const auto *own = static_cast<s_SORTING *>(task);
        s_KEY *middle = own->keys + own->iCount * (2 * iPart + 1) / (2 * own->iParts);
        std::nth_element(own->part(iPart), middle, own->part(iPart + 1), own->order());
    }
    static void sort(void *task, std::size_t iPart, unsigned /*iMember*/) {
        const auto *own = static_cast<s_SORTING *>(task);
        std::sort(own->part(iPart), own->part(iPart + 1), own->order());
    }

private:
    struct s_ORDER {
        const entry_list *list;
        bool operator()(const s_KEY &a, const s_KEY &b) const { return list->is_before(a, b); }
    };
    s_ORDER order() const { return {list}; }
};

// How many threads are worth while for so many entries.
static unsigned members_for(std::size_t iCount) {
    return iCount < gCrewPolicy.iLarge ? 1U : members_by_processors();
}

static void work_on_all(crew::t_WORK work, void *task, std::size_t iParts, unsigned iMembers) {
    crew workers(work, task);
    workers.open(iParts);
    workers.hire(static_cast<unsigned>(std::min<std::size_t>(iMembers, iParts)));
    workers.finish();
}

// Fills `keys` in the order of the names, each once. Returns their end.
entry_list::s_KEY *entry_list::sort(s_KEY *keys) const {
    const unsigned iMembers = members_for(count_);
    const std::size_t iParts = iMembers == 1 ? 1 : 2 * std::bit_ceil(std::size_t{iMembers});
    s_SORTING sorting = {this, keys, count_, iParts};
    work_on_all(s_SORTING::fill, &sorting, iParts, iMembers);
    for (sorting.iParts = 1; sorting.iParts < iParts; sorting.iParts *= 2) {
        work_on_all(s_SORTING::halve, &sorting, sorting.iParts, iMembers);
    }
    work_on_all(s_SORTING::sort, &sorting, iParts, iMembers);
    s_KEY *end = std::partition_point(keys, keys + count_,
                                      [](const s_KEY &key) { return key.lKey != kNoKey; });
    return std::unique(keys, end, [this](const s_KEY &a, const s_KEY &b) {
        return a.lKey == b.lKey &&
               std::strcmp(node(a.iPlace).cpName + common_, node(b.iPlace).cpName + common_) == 0;
    });
}

// ---- the lines
// -----------------------------------------------------------------------------------

// Slices of the keys become lines at the same time, and are printed one after the other.
struct entry_list::s_PRINTING {
    const entry_list *list;
    const s_KEY *begin;
    const s_KEY *end;
    s_PEN *pens[crew::kMostMembers]; // one per member
    std::mutex mutex;                // for what follows
    std::condition_variable printed;
    std::size_t iTurn = 0; // the slice that may be printed
    std::atomic<int> iErrno = 0;

    void print(std::size_t iSlice, s_PEN *pen, bool bEnd) {
        std::unique_lock lock(mutex);
        printed.wait(lock, [this, iSlice] { return iTurn == iSlice; });
        if (iErrno == 0 && std::fwrite(pen->page, 1, pen->iUsed, stdout) < pen->iUsed) {
            iErrno = errno;
        }
        pen->iUsed = 0;
        if (bEnd) {
            ++iTurn;
            printed.notify_all();
        }
    }
    static void write(void *task, std::size_t iSlice, unsigned iMember) {
        auto *own = static_cast<s_PRINTING *>(task);
        s_PEN *pen = own->pens[iMember];
        const s_KEY *key = own->begin + iSlice * kSlice;
        const s_KEY *last = std::min(key + kSlice, own->end);
        for (; key < last && own->iErrno == 0; ++key) {
            own->list->write_line(pen, own->list->node(key->iPlace));
            if (pen->iUsed >= kPage) {
                own->print(iSlice, pen, false);
            }
        }
        own->print(iSlice, pen, true);
    }
};

void entry_list::write_line(s_PEN *pen, const s_NODE &node) const {
    const char *cpInfo = node.bInfo ? node.cpName + node.iNameLength + 1 : "";
    char *to = pen->page + pen->iUsed;
    const char *end = put_entry_line(to, {node.cBaseType,
                                          node.cType,
                                          directory_,
                                          {node.cpName, node.iNameLength},
                                          time_text(pen->changed, node.lChanged),
                                          time_text(pen->modified, node.lModified),
                                          node.dSize,
                                          cpInfo});
    pen->iUsed += static_cast<std::size_t>(end - to);
}

int entry_list::print_keys(const s_KEY *begin, const s_KEY *end) {
    const auto iCount = static_cast<std::size_t>(end - begin);
    const unsigned iWanted = members_for(iCount);
    unique_memory<s_PEN> pens[crew::kMostMembers];
    s_PRINTING printing = {this, begin, end, {pen_.get()}, {}, {}, 0, 0};
    unsigned iMembers = 1;
    while (iMembers < iWanted) {
        pens[iMembers].reset(static_cast<s_PEN *>(std::calloc(1, sizeof(s_PEN))));
        if (!pens[iMembers]) {
            break;
        }
        printing.pens[iMembers] = pens[iMembers].get();
        ++iMembers;
    }
    ::tzset(); // the time zone is read before there are threads
    work_on_all(s_PRINTING::write, &printing, (iCount + kSlice - 1) / kSlice, iMembers);
    if (printing.iErrno != 0) {
        return printing.iErrno;
    }
    return std::fflush(stdout) == 0 ? 0 : errno;
}

int entry_list::print() {
    const unique_memory<s_KEY> keys(
        static_cast<s_KEY *>(std::malloc((count_ + 1) * sizeof(s_KEY))));
    return keys && pen_ ? print_keys(keys.get(), sort(keys.get())) : ENOMEM;
}
