/* A hash table of texts that its owner holds, with whatever they are part of. Pointers and hash values alone
 * are kept: 12 bytes a place, at most 4 places for 3 texts once it has grown, and few for few texts.
 *
 * Lookup, insertion and removal are O(length of the text). The texts must live as long as they are in it. */
#ifndef TSYNCFINDER_HOSTS_CORE_TABLE_H
#define TSYNCFINDER_HOSTS_CORE_TABLE_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

/* An empty one is all zero. */
typedef struct {
    const char** texts; /* NULL: a free place */
    uint32_t* hashes;   /* behind the texts, in one block */
    size_t capacity;    /* a power of two, or 0 */
    size_t count;
} TsfTable;

/* The text of the table that is equal to that one, which need not end with a NUL; or NULL. */
const char* tsf_table_find(const TsfTable* table, const char* text, size_t length);
/* The text must not be there yet. False: no memory, and nothing has changed. */
bool tsf_table_add(TsfTable* table, const char* text);
/* The text must be there. */
void tsf_table_remove(TsfTable* table, const char* text);
/* Frees the places; the texts are their owner's. */
void tsf_table_clear(TsfTable* table);

#endif
