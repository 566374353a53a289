// The doubly linked list, see LL.h. The data follows the header without a gap, so the header is
// found by stepping back its size from the data address.
#include "common/common/LL.h"

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
    auto *node = static_cast<s_list *>(std::malloc(sizeof(s_list) + size));
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
        std::free(node);
        node = next;
    }
    InitLL(list);
}

void DestLL(t_LL list) {
    EmptyLL(list);
    std::free(list);
}
