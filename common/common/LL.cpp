// The doubly linked list, see LL.h. The data follows the header without a gap, so the header is
// found by stepping back its size from the data address. Elements of all lists share blocks of
// memory, because a list may have millions; a block goes when its last element has gone.
#include "common/common/LL.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

// A program that has its own end for a lack of memory reaches it from here as well.
[[noreturn]] void out_of_memory(const char *function) {
    std::fprintf(stderr, "In %s: %s \n", function, "malloc returned NULL");
    if (const std::new_handler handler = std::get_new_handler()) {
        handler();
    }
    std::exit(-1);
}

s_list *header_of(const void *data) {
    return static_cast<s_list *>(const_cast<void *>(data)) - 1;
}

void *data_of(s_list *header) {
    return header + 1;
}

// Blocks stand at multiples of this size: an element's address tells its block.
constexpr std::size_t kBlockSize = 65536;
constexpr std::size_t kAlignment = alignof(std::max_align_t);

struct alignas(kAlignment) s_BLOCK {
    std::size_t iUsed;     // bytes from its beginning
    std::size_t iElements; // that have not gone
};

// With its alignment a block stays below what the allocator gets from the system one by one, each
// then with as much address space again.
constexpr std::size_t kRoom = kBlockSize - 256;
constexpr std::size_t kLargeElement = kBlockSize / 4; // a larger one has a block of its own

s_BLOCK *theBlock = nullptr; // gets the next elements

s_BLOCK *new_block(std::size_t iSize) {
    void *memory = nullptr;
    return ::posix_memalign(&memory, kBlockSize, iSize) == 0 ? new (memory)
                                                                   s_BLOCK{sizeof(s_BLOCK), 0}
                                                             : nullptr;
}

// Room for an element's header and data; null when there is no memory.
s_list *new_element(std::size_t iData) {
    if (iData > ~std::size_t{0} / 2) {
        return nullptr;
    }
    const std::size_t iSize = (sizeof(s_list) + iData + kAlignment - 1) / kAlignment * kAlignment;
    s_BLOCK *block = theBlock;
    if (iSize > kLargeElement) {
        block = new_block(sizeof(s_BLOCK) + iSize);
    } else if (block == nullptr || iSize > kRoom - block->iUsed) {
        block = new_block(kRoom);
        theBlock = block;
    }
    if (block == nullptr) {
        return nullptr;
    }
    auto *element = reinterpret_cast<s_list *>(reinterpret_cast<char *>(block) + block->iUsed);
    block->iUsed += iSize;
    ++block->iElements;
    return element;
}

void free_element(s_list *element) {
    auto *block = reinterpret_cast<s_BLOCK *>(reinterpret_cast<std::uintptr_t>(element) &
                                              ~(std::uintptr_t{kBlockSize} - 1));
    if (--block->iElements > 0) {
        return;
    }
    if (block == theBlock) {
        block->iUsed = sizeof(s_BLOCK);
    } else {
        std::free(block);
    }
}

void link_after(s_list *where, s_list *node) {
    node->backward = where;
    node->forward = where->forward;
    where->forward->backward = node;
    where->forward = node;
}

} // namespace

void l_linit(s_list *node) {
    node->forward = node;
    node->backward = node;
}

t_LL ConsLL() {
    auto *list = static_cast<t_LL>(std::malloc(sizeof(s_LL)));
    if (list == nullptr) {
        out_of_memory("CreatLL");
    }
    InitLL(list);
    return list;
}

void InitLL(t_LL list) {
    l_linit(&list->links);
    list->links.size = 0;
}

void *InsLLf(void *where, unsigned long size, const void *data, e_linkLL link) {
    s_list *node = new_element(size);
    if (node == nullptr) {
        out_of_memory("InsLLf");
    }
    node->size = size;
    if (size > 0) {
        std::memcpy(data_of(node), data, size);
    }
    s_list *neighbour = header_of(where);
    link_after(link == LINK_AFTER ? neighbour : neighbour->backward, node);
    return data_of(node);
}

void *InsLastLLf(t_LL list, unsigned long size, const void *data) {
    return InsLLf(data_of(&list->links), size, data, LINK_BEFORE);
}

void *FirstElmLL(t_LL list) {
    return data_of(list->links.forward);
}

void *NextElmLL(const void *element) {
    return data_of(header_of(element)->forward);
}

unsigned long IsElmLL(const void *element) {
    return header_of(element)->size;
}

void EmptyLL(t_LL list) {
    s_list *node = list->links.forward;
    while (node != &list->links) {
        s_list *next = node->forward;
        free_element(node);
        node = next;
    }
    InitLL(list);
}

void DestLL(t_LL list) {
    EmptyLL(list);
    std::free(list);
}
