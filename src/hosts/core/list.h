/* A ring of nodes that are part of what they list; it owns nothing. The list itself is a node too. A node
 * that is in no list, and an empty list, point to themselves. Everything takes the same short time. */
#ifndef TSYNCFINDER_HOSTS_CORE_LIST_H
#define TSYNCFINDER_HOSTS_CORE_LIST_H

#include <stdbool.h>
#include <stddef.h>

typedef struct TsfNode TsfNode;
struct TsfNode {
    TsfNode* next;
    TsfNode* previous;
};

/* What a node is a part of. */
#define TSF_OWNER(node, type, member) ((type*)(void*)((char*)(void*)(node)-offsetof(type, member)))

static inline void tsf_list_init(TsfNode* list) { list->next = list->previous = list; }

static inline bool tsf_list_is_empty(const TsfNode* list) { return list->next == list; }

static inline void tsf_list_remove(TsfNode* node) {
    node->next->previous = node->previous;
    node->previous->next = node->next;
    tsf_list_init(node);
}

/* Puts a node at the end, out of the list that it is in. */
static inline void tsf_list_append(TsfNode* list, TsfNode* node) {
    tsf_list_remove(node);
    node->previous = list->previous;
    node->next = list;
    list->previous->next = node;
    list->previous = node;
}

/* Puts all of another list at the end, and leaves that one empty. */
static inline void tsf_list_append_all(TsfNode* list, TsfNode* others) {
    if (tsf_list_is_empty(others)) return;
    others->next->previous = list->previous;
    list->previous->next = others->next;
    others->previous->next = list;
    list->previous = others->previous;
    tsf_list_init(others);
}

#endif
