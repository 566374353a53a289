// The doubly linked list for every collection of unknown length. An element is one piece of memory,
// the list's own: its header directly followed by a copy of the caller's data; all operations take
// and return the address of that data. The list is circular: the head closes the ring and has size
// 0. Running out of memory ends the process with a message: callers never see a failed insertion.
#pragma once

struct s_list {
    s_list *forward;
    s_list *backward;
    unsigned long size; // data bytes behind the header; 0 marks the head
};

using t_linkLL = s_list;

struct s_LL {
    t_linkLL links;
};

using t_LL = s_LL *;

// Where InsLLf links the new element.
enum e_linkLL { LINK_BEFORE, LINK_AFTER };

// Points a header at itself both ways.
void l_linit(s_list *node);

// Allocates an empty list; free it with DestLL.
t_LL ConsLL();

// Makes a head that the caller provides an empty list.
void InitLL(t_LL list);

// Inserts a copy of `size` bytes of `data` before or after the element (or head) whose data address
// is `where`. Returns the new element's data address.
void *InsLLf(void *where, unsigned long size, const void *data, e_linkLL link);

// Inserts at the end of the list. Returns the new element's data address.
void *InsLastLLf(t_LL list, unsigned long size, const void *data);

// The first element's data address; of an empty list the head's, for which IsElmLL is 0.
void *FirstElmLL(t_LL list);

// The next element's data address, behind the last one the head's.
void *NextElmLL(const void *element);

// The element's size in bytes; 0 for the head, which ends a loop.
unsigned long IsElmLL(const void *element);

// Frees all elements and keeps the head.
void EmptyLL(t_LL list);

// Frees all elements and the head, which must come from ConsLL (or malloc).
void DestLL(t_LL list);
