/* What a badge says in words, in English: whoever shows it looks it up in translations.h. Plain C, so that
 * code in a file manager has the words without asking for them. No state. */
#ifndef TSYNCFINDER_PROTOCOL_BADGE_WORDS_H
#define TSYNCFINDER_PROTOCOL_BADGE_WORDS_H

#include <stddef.h>
#include <string.h>

/* The words for a badge's identifier; NULL when it has none. */
static inline const char* tsyncBadgeWords(const char* identifier) {
    static const char* const words[][2] = {{"sync", "In step"},
                                           {"upload", "Uploading"},
                                           {"update", "In work"},
                                           {"error", "Problem"},
                                           {"tovik", "Synced folder"}};
    size_t index;
    for (index = 0; index < sizeof words / sizeof words[0]; ++index)
        if (strcmp(words[index][0], identifier) == 0) return words[index][1];
    return NULL;
}

#endif
