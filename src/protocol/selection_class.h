/* The class of a selection of files, which alone decides its menu. Plain C, so that the extension and the
 * code in a file manager have one rule. No state. */
#ifndef TSYNCFINDER_PROTOCOL_SELECTION_CLASS_H
#define TSYNCFINDER_PROTOCOL_SELECTION_CLASS_H

#include <stdbool.h>
#include <stddef.h>

typedef enum {
    TSYNC_CLASS_NOTHING,         /* no selection, a vanished first item, or nothing to offer */
    TSYNC_CLASS_SYNC_ROOT,       /* one item, a sync root */
    TSYNC_CLASS_SYNCED_FOLDER,   /* one folder below a root */
    TSYNC_CLASS_SYNCED_FILE,     /* one file below a root */
    TSYNC_CLASS_SYNC_ROOTS,      /* several items, all of them roots */
    TSYNC_CLASS_UNSYNCED_FOLDER, /* one folder outside every root */
    TSYNC_CLASS_UNSYNCED_ITEMS   /* one file or several items, all outside every root */
} TSyncSelectionClass;

/* The name under which a class travels. Never changes. */
static inline const char* tsyncSelectionClassName(TSyncSelectionClass selectionClass) {
    static const char* const names[] = {"nothing",    "sync-root",       "synced-folder", "synced-file",
                                        "sync-roots", "unsynced-folder", "unsynced-items"};
    return names[selectionClass];
}

/* What is known of a selection. */
typedef struct {
    size_t count;
    bool firstExists;
    bool firstIsDirectory; /* links resolved */
    bool allInSync;
    bool noneInSync;
    bool allRoots;
} TSyncSelectionFacts;

/* Before any item. */
static inline TSyncSelectionFacts tsyncNoSelection(bool firstExists, bool firstIsDirectory) {
    const TSyncSelectionFacts facts = {0, firstExists, firstIsDirectory, true, true, true};
    return facts;
}

/* Adds one more item. What is not a local file is not in sync. */
static inline void tsyncSelect(TSyncSelectionFacts* facts, bool isInSync, bool isRoot) {
    ++facts->count;
    facts->allInSync = facts->allInSync && isInSync;
    facts->noneInSync = facts->noneInSync && !isInSync;
    facts->allRoots = facts->allRoots && isRoot;
}

/* Whether there is nothing to offer whatever else is selected. */
static inline bool tsyncOffersNothing(const TSyncSelectionFacts* facts) {
    if (!facts->firstExists) return true;
    return !facts->noneInSync && (!facts->allInSync || (facts->count > 1 && !facts->allRoots));
}

static inline TSyncSelectionClass tsyncSelectionClass(const TSyncSelectionFacts* facts) {
    const bool isSingle = facts->count == 1;
    if (facts->count == 0 || tsyncOffersNothing(facts)) return TSYNC_CLASS_NOTHING;
    if (!facts->allInSync)
        return isSingle && facts->firstIsDirectory ? TSYNC_CLASS_UNSYNCED_FOLDER : TSYNC_CLASS_UNSYNCED_ITEMS;
    if (!isSingle) return TSYNC_CLASS_SYNC_ROOTS;
    if (facts->allRoots) return TSYNC_CLASS_SYNC_ROOT;
    return facts->firstIsDirectory ? TSYNC_CLASS_SYNCED_FOLDER : TSYNC_CLASS_SYNCED_FILE;
}

#endif
