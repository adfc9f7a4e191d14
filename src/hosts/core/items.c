#include "hosts/core/state.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static const char root[] = "file:///";

/* --- what the extension watches */

/* The length of the folder's part of a URI. The folder of "file:///a" is "file:///", which is its own too. */
static size_t folder_length(const char* uri, size_t length) {
    while (length > 0 && uri[length - 1] != '/')
        --length;
    return length > strlen(root) ? length - 1 : length;
}

static bool is_below_watched(const TsfCore* core, const char* uri) {
    size_t length = strlen(uri);
    if (core->directories.count == 0) return false;
    for (;;) {
        if (tsf_table_find(&core->directories, uri, length) != NULL) return true;
        const size_t above = folder_length(uri, length);
        if (above == length || above == 0) return false;
        length = above;
    }
}

bool tsf_item_is_watched(const TsfItem* item) {
    return item->folder->is_watched ||
           tsf_table_find(&item->folder->core->directories, item->uri, strlen(item->uri)) != NULL;
}

static void free_texts(TsfTable* table) {
    for (size_t i = 0; i < table->capacity; ++i)
        free((void*)table->texts[i]);
    tsf_table_clear(table);
}

void tsf_forget_directories(TsfCore* core) { free_texts(&core->directories); }

bool tsf_take_directories(TsfCore* core, const char* const* uris, size_t count) {
    TsfTable directories = {0};
    for (size_t i = 0; i < count; ++i) { // NOLINT(clang-analyzer-unix.Malloc): the table has the text
        size_t length = strlen(uris[i]);
        while (length > strlen(root) && uris[i][length - 1] == '/')
            --length;
        if (tsf_table_find(&directories, uris[i], length) != NULL) continue;
        char* text = malloc(length + 1);
        if (text != NULL) {
            memcpy(text, uris[i], length);
            text[length] = '\0';
        }
        if (text == NULL || !tsf_table_add(&directories, text)) {
            free(text);
            free_texts(&directories);
            return false;
        }
    }
    free_texts(&core->directories);
    core->directories = directories;
    return true;
}

/* --- folders */

static TsfFolder* folder_of(const char* uri) { return TSF_OWNER(uri, TsfFolder, uri); }

TsfFolder* tsf_find_folder(const TsfCore* core, const char* uri) {
    const char* text = tsf_table_find(&core->folders, uri, strlen(uri));
    return text != NULL ? folder_of(text) : NULL;
}

static bool has_items(const TsfFolder* folder) {
    return !tsf_list_is_empty(&folder->waiting) || !tsf_list_is_empty(&folder->resting);
}

void tsf_foreach_folder(TsfCore* core, void (*visit)(TsfFolder* folder)) {
    for (size_t i = 0; i < core->folders.capacity; ++i)
        if (core->folders.texts[i] != NULL) visit(folder_of(core->folders.texts[i]));
}

void tsf_folder_wait(TsfFolder* folder) {
    tsf_list_append_all(&folder->waiting, &folder->resting);
    if (tsf_list_is_empty(&folder->in_turn) && has_items(folder))
        tsf_list_append(&folder->core->turn, &folder->in_turn);
}

void tsf_folder_refresh(TsfFolder* folder) {
    folder->is_watched = has_items(folder) && is_below_watched(folder->core, folder->uri);
    if (folder->is_watched != folder->is_observed)
        tsf_list_append(&folder->core->tell, &folder->in_tell);
    else
        tsf_list_remove(&folder->in_tell);
}

void tsf_folder_settle(TsfFolder* folder) {
    TsfCore* core = folder->core;
    const bool is_to_be_told = folder->is_observed && core->state != TSF_ABSENT && core->state != TSF_SHUNNED;
    if (has_items(folder) || is_to_be_told) return;
    if (core->told == folder) core->told = NULL;
    tsf_list_remove(&folder->in_tell);
    tsf_table_remove(&core->folders, folder->uri);
    free(folder);
}

static uint8_t badge_named(TsfCore* core, const char* name) {
    const size_t prefix = strlen(FINDER_SYNC_EMBLEM_PREFIX);
    const size_t length = strlen(name);
    if (strcmp(name, FINDER_SYNC_BADGE_NONE) == 0) return 0;
    for (size_t i = 0; i < core->emblem_count; ++i)
        if (strcmp(core->emblems[i] + prefix, name) == 0) return (uint8_t)(i + 1);
    if (length == 0 || length > TSF_MAXIMUM_BADGE_NAME || core->emblem_count == TSF_MAXIMUM_BADGES ||
        strspn(name, "abcdefghijklmnopqrstuvwxyz0123456789-") != length)
        return 0;
    char* emblem = core->emblems[core->emblem_count++];
    snprintf(emblem, sizeof core->emblems[0], "%s%s", FINDER_SYNC_EMBLEM_PREFIX, name);
    return (uint8_t)core->emblem_count;
}

/* The folder of an item that is to come. */
static TsfFolder* make_folder(TsfCore* core, const char* uri) {
    const size_t length = folder_length(uri, strlen(uri));
    const char* text = tsf_table_find(&core->folders, uri, length);
    if (text != NULL) return folder_of(text);
    TsfFolder* folder = malloc(sizeof *folder + length + 1);
    if (folder == NULL) return NULL;
    memset(folder, 0, sizeof *folder);
    folder->core = core;
    tsf_list_init(&folder->waiting);
    tsf_list_init(&folder->resting);
    tsf_list_init(&folder->in_turn);
    tsf_list_init(&folder->in_tell);
    memcpy(folder->uri, uri, length);
    folder->uri[length] = '\0';
    if (!tsf_table_add(&core->folders, folder->uri)) {
        free(folder);
        return NULL;
    }
    core->is_doubting = core->doubts_ends;
    /* What lies in a synced folder is nearly always in step. */
    const TsfItem* itself = tsf_find_item(core, folder->uri);
    if (itself != NULL && itself->is_in_sync && itself->badge != 0)
        folder->expected = badge_named(core, FINDER_SYNC_BADGE_SYNC);
    return folder;
}

/* --- items */

static TsfItem* item_of(const char* uri) { return TSF_OWNER(uri, TsfItem, uri); }

TsfItem* tsf_find_item(const TsfCore* core, const char* uri) {
    const char* text = tsf_table_find(&core->items, uri, strlen(uri));
    return text != NULL ? item_of(text) : NULL;
}

TsfItem* tsf_core_item(TsfCore* core, const char* uri) {
    TsfItem* item = tsf_find_item(core, uri);
    if (item != NULL) return item;
    const size_t size = strlen(uri) + 1;
    item = malloc(sizeof *item + size);
    if (item == NULL) return NULL;
    memset(item, 0, sizeof *item);
    memcpy(item->uri, uri, size);
    item->folder = make_folder(core, uri);
    if (item->folder == NULL || !tsf_table_add(&core->items, item->uri)) {
        if (item->folder != NULL) tsf_folder_settle(item->folder);
        free(item);
        return NULL;
    }
    const bool is_first = !has_items(item->folder);
    tsf_list_init(&item->in_folder);
    tsf_list_init(&item->in_invalid);
    tsf_list_append(&item->folder->resting, &item->in_folder);
    if (is_first) tsf_folder_refresh(item->folder);
    return item;
}

void tsf_item_gone(TsfItem* item) {
    TsfFolder* folder = item->folder;
    TsfCore* core = folder->core;
    if (item->place != 0)
        core->batches[(item->place - 1) / TSF_MAXIMUM_BATCH].items[(item->place - 1) % TSF_MAXIMUM_BATCH] =
            NULL;
    tsf_table_remove(&core->items, item->uri);
    tsf_list_remove(&item->in_folder);
    tsf_list_remove(&item->in_invalid);
    free(item);
    if (tsf_list_is_empty(&folder->waiting)) tsf_list_remove(&folder->in_turn);
    if (has_items(folder)) return;
    tsf_folder_refresh(folder);
    tsf_folder_settle(folder);
}

TsfItem* tsf_next_waiting(TsfCore* core) {
    if (tsf_list_is_empty(&core->turn)) return NULL;
    TsfFolder* folder = TSF_OWNER(core->turn.next, TsfFolder, in_turn);
    TsfItem* item = TSF_OWNER(folder->waiting.next, TsfItem, in_folder);
    item->is_waiting = false;
    tsf_list_append(&folder->resting, &item->in_folder);
    if (tsf_list_is_empty(&folder->waiting)) tsf_list_remove(&folder->in_turn);
    return item;
}

static void show(TsfItem* item, uint8_t badge) {
    if (badge == item->badge) return;
    item->badge = badge;
    if (tsf_list_is_empty(&item->in_invalid))
        tsf_list_append(&item->folder->core->invalid, &item->in_invalid);
}

void tsf_item_forget(TsfItem* item, bool is_known) {
    item->is_known = is_known;
    item->is_in_sync = item->is_root = false;
    show(item, 0);
}

void tsf_item_want(TsfItem* item) {
    TsfFolder* folder = item->folder;
    if (folder->core->state != TSF_THERE) return; /* when it comes it is asked for everything */
    if (!tsf_item_is_watched(item)) {
        tsf_item_forget(item, true);
    } else if (item->place != 0) {
        item->is_outdated = true;
    } else if (!item->is_waiting) {
        item->is_waiting = true;
        tsf_list_append(&folder->waiting, &item->in_folder);
        if (tsf_list_is_empty(&folder->in_turn)) tsf_list_append(&folder->core->turn, &folder->in_turn);
    }
}

void tsf_item_answered(TsfItem* item, const TsfAnswer* answer) {
    /* An item that has gone keeps the badge that it was given, not one that was expected of it. */
    const bool is_unchanged = strcmp(answer->badge, FINDER_SYNC_BADGE_UNCHANGED) == 0;
    const uint8_t badge = !is_unchanged    ? badge_named(item->folder->core, answer->badge)
                          : item->is_known ? item->badge
                                           : 0;
    if (!is_unchanged) item->folder->expected = badge;
    item->is_known = true;
    item->is_in_sync = answer->is_in_sync;
    item->is_root = answer->is_root;
    show(item, badge);
}

const char* tsf_item_emblem(TsfItem* item) {
    TsfCore* core = item->folder->core;
    const bool is_own_doing = item->was_invalidated;
    item->was_invalidated = false;
    /* What the file manager asks for by itself may have changed on the disk. */
    if (!item->is_known || !is_own_doing) tsf_item_want(item);
    /* Most items of a folder have one badge. Whoever opens a large folder is not to see each item without one
     * first: what the last one that was answered for has is shown until the item's own answer comes. */
    if (!item->is_known && item->badge == 0 && tsf_is_ready(core)) item->badge = item->folder->expected;
    return item->badge != 0 ? core->emblems[item->badge - 1] : NULL;
}

const char* tsf_item_uri(const TsfItem* item) { return item->uri; }
void* tsf_item_host(const TsfItem* item) { return item->folder->core->host; }
void* tsf_item_cookie(const TsfItem* item) { return item->cookie; }
void tsf_item_set_cookie(TsfItem* item, void* cookie) { item->cookie = cookie; }

void tsf_core_foreach_item(TsfCore* core, void (*visit)(TsfItem* item, void* data), void* data) {
    for (size_t i = 0; i < core->items.capacity; ++i)
        if (core->items.texts[i] != NULL) visit(item_of(core->items.texts[i]), data);
}

TsfItem* tsf_core_next_invalid(TsfCore* core) {
    if (tsf_list_is_empty(&core->invalid)) return NULL;
    TsfItem* item = TSF_OWNER(core->invalid.next, TsfItem, in_invalid);
    tsf_list_remove(&item->in_invalid);
    item->was_invalidated = true;
    return item;
}

/* --- items that end in silence */

void tsf_core_doubt_ends(TsfCore* core) { core->doubts_ends = true; }

/* An item of the folder, one at rest sooner than one that is waited for; NULL: there is no other. */
static TsfItem* item_other_than(const TsfFolder* folder, const TsfItem* item) {
    const TsfNode* const lists[] = {&folder->resting, &folder->waiting};
    for (size_t i = 0; i < 2; ++i) {
        TsfNode* node = lists[i]->next;
        if (item != NULL && node == &item->in_folder) node = node->next;
        if (node != lists[i]) return TSF_OWNER(node, TsfItem, in_folder);
    }
    return NULL;
}

void tsf_folder_doubt(TsfFolder* folder) {
    TsfItem* item = item_other_than(folder, NULL);
    if (item != NULL) tsf_list_append(&folder->core->invalid, &item->in_invalid);
}

bool tsf_item_was_asked(const TsfItem* item) { return !item->was_invalidated; }

void tsf_item_unseen(TsfItem* item) {
    TsfCore* core = item->folder->core;
    TsfItem* other = item_other_than(item->folder, item); /* the folder goes with its last one */
    tsf_item_gone(item);
    if (other != NULL) tsf_list_append(&core->invalid, &other->in_invalid);
}

bool tsf_core_has_invalid(const TsfCore* core) { return !tsf_list_is_empty(&core->invalid); }
