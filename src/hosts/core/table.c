#include "hosts/core/table.h"

#include <stdlib.h>
#include <string.h>

static const size_t smallest = 16;

/* FNV-1a (Fowler, Noll, Vo), 32 bits. */
static uint32_t hash_of(const char* text, size_t length) {
    uint32_t hash = 2166136261U;
    for (size_t i = 0; i < length; ++i)
        hash = (hash ^ (unsigned char)text[i]) * 16777619U;
    return hash;
}

/* The place of the text, or the free one where it would be. */
static size_t place_of(const TsfTable* table, const char* text, size_t length, uint32_t hash) {
    const size_t mask = table->capacity - 1;
    size_t at = hash & mask;
    while (table->texts[at] != NULL &&
           (table->hashes[at] != hash || strncmp(table->texts[at], text, length) != 0 ||
            table->texts[at][length] != '\0'))
        at = (at + 1) & mask;
    return at;
}

static bool resize(TsfTable* table, size_t capacity) {
    const size_t place = sizeof(const char*) + sizeof(uint32_t);
    if (capacity > SIZE_MAX / place) return false;
    const char** texts = malloc(capacity * place);
    if (texts == NULL) return false;
    uint32_t* hashes = (uint32_t*)(void*)(texts + capacity);
    memset((void*)texts, 0, capacity * sizeof *texts);
    for (size_t i = 0; i < table->capacity; ++i) {
        if (table->texts[i] == NULL) continue;
        size_t at = table->hashes[i] & (capacity - 1);
        while (texts[at] != NULL)
            at = (at + 1) & (capacity - 1);
        texts[at] = table->texts[i];
        hashes[at] = table->hashes[i];
    }
    free((void*)table->texts);
    table->texts = texts;
    table->hashes = hashes;
    table->capacity = capacity;
    return true;
}

const char* tsf_table_find(const TsfTable* table, const char* text, size_t length) {
    if (table->count == 0) return NULL;
    return table->texts[place_of(table, text, length, hash_of(text, length))];
}

bool tsf_table_add(TsfTable* table, const char* text) {
    if (table->capacity == 0 && !resize(table, smallest)) return false;
    if (table->count >= table->capacity / 4 * 3 && !resize(table, table->capacity * 2)) return false;
    const size_t length = strlen(text);
    const uint32_t hash = hash_of(text, length);
    const size_t at = place_of(table, text, length, hash);
    table->texts[at] = text;
    table->hashes[at] = hash;
    ++table->count;
    return true;
}

void tsf_table_remove(TsfTable* table, const char* text) {
    const size_t mask = table->capacity - 1;
    const size_t length = strlen(text);
    size_t hole = place_of(table, text, length, hash_of(text, length));
    --table->count;
    /* What was put behind the hole because its own place was taken moves up. */
    for (size_t at = (hole + 1) & mask; table->texts[at] != NULL; at = (at + 1) & mask) {
        const size_t own = table->hashes[at] & mask;
        if (((at - own) & mask) < ((at - hole) & mask)) continue;
        table->texts[hole] = table->texts[at];
        table->hashes[hole] = table->hashes[at];
        hole = at;
    }
    table->texts[hole] = NULL;
    if (table->count == 0)
        tsf_table_clear(table);
    else if (table->capacity > smallest && table->count < table->capacity / 8)
        resize(table, table->capacity / 2); /* or it stays large */
}

void tsf_table_clear(TsfTable* table) {
    free((void*)table->texts);
    memset(table, 0, sizeof *table);
}
