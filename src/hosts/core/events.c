#include "hosts/core/state.h"

#include <stdlib.h>
#include <string.h>

/* --- calls under way */

static TsfCall* call_of(TsfCore* core, uint64_t id, size_t* kind) {
    for (*kind = 0; *kind < TSF_CALLS && id != 0; ++*kind)
        if (core->calls[*kind].id == id) return &core->calls[*kind];
    return NULL;
}

/* A call is over without an answer: what it was for waits again. */
static void end_call(TsfCore* core, size_t kind) {
    core->calls[kind].id = 0;
    if (kind < TSF_QUESTIONS) {
        core->is_wanted[kind] = kind != TSF_LIFE;
        return;
    }
    TsfBatch* batch = &core->batches[kind - TSF_BATCH];
    for (size_t i = 0; i < batch->count; ++i) {
        TsfItem* item = batch->items[i];
        if (item == NULL) continue;
        item->place = 0;
        item->is_outdated = false;
        tsf_item_want(item);
    }
}

static void drop_calls(TsfCore* core) {
    for (size_t kind = 0; kind < TSF_CALLS; ++kind) {
        if (core->calls[kind].id != 0) end_call(core, kind);
        if (kind < TSF_QUESTIONS) core->is_wanted[kind] = false;
    }
    core->misses = 0;
}

/* --- coming and going */

static void begin(TsfCore* core) {
    core->state = TSF_ASKING;
    drop_calls(core);
    core->is_wanted[TSF_DIRECTORIES] = core->is_wanted[TSF_MENUS] = true;
}

/* The badges go then, unless they were to go sooner: an extension that came and left again without a word
 * gives them no more time. */
static void leave(TsfCore* core, TsfState state, int64_t badges_go) {
    core->state = state;
    drop_calls(core);
    core->has_menus = false;
    core->menus_to_update = true;
    core->deaf_until = INT64_MIN;
    tsf_forget_directories(core);
    if (!core->is_fading && badges_go < core->fades_at) core->fades_at = badges_go;
}

static void fall_silent(TsfCore* core, int64_t now) {
    leave(core, TSF_SILENT, now);
    core->is_wanted[TSF_LIFE] = true;
}

static void stop_observing(TsfFolder* folder) { folder->is_observed = false; }

/* The one that was told of the folders no longer listens, and the folders that only had to be ended are
 * ended. */
static void forget_observed(TsfCore* core) {
    TsfNode settled;
    tsf_list_init(&settled);
    tsf_list_append_all(&settled, &core->tell);
    tsf_foreach_folder(core, stop_observing);
    while (!tsf_list_is_empty(&settled)) {
        TsfFolder* folder = TSF_OWNER(settled.next, TsfFolder, in_tell);
        tsf_list_remove(&folder->in_tell);
        tsf_folder_settle(folder);
    }
}

void tsf_core_extension_came(TsfCore* core, int64_t now) {
    tsf_core_extension_left(core, now);
    core->nonsense = 0;
    begin(core);
}

void tsf_core_extension_left(TsfCore* core, int64_t now) {
    core->is_listening = false;
    if (core->state == TSF_ABSENT) return;
    leave(core, TSF_ABSENT, now + TSF_BADGE_LIFETIME);
    forget_observed(core);
}

static void renew_folder(TsfFolder* folder) {
    tsf_folder_refresh(folder);
    tsf_folder_wait(folder);
}

static void fade_folder(TsfFolder* folder) {
    folder->expected = 0;
    tsf_folder_wait(folder);
}

/* --- answers */

static void answer_came(TsfCore* core, int64_t now) {
    core->misses = 0;
    core->last_answer = now;
}

static void take_nonsense(TsfCore* core, int64_t now, size_t kind) {
    end_call(core, kind);
    if (++core->nonsense >= TSF_MAXIMUM_NONSENSE) {
        leave(core, TSF_SHUNNED, now);
        forget_observed(core);
    } else if (core->state == TSF_SILENT) {
        begin(core); /* it speaks again */
    }
}

void tsf_core_nonsense(TsfCore* core, int64_t now, uint64_t call) {
    size_t kind = 0;
    if (call_of(core, call, &kind) != NULL) take_nonsense(core, now, kind);
}

void tsf_core_directories(TsfCore* core, int64_t now, uint64_t call, const char* const* uris, size_t count) {
    size_t kind = 0;
    if (call == 0) {
        if (core->state != TSF_THERE || count > TSF_MAXIMUM_DIRECTORIES) return;
    } else if (call_of(core, call, &kind) == NULL) {
        return;
    } else if (kind != TSF_DIRECTORIES || count > TSF_MAXIMUM_DIRECTORIES) {
        take_nonsense(core, now, kind);
        return;
    }
    if (!tsf_take_directories(core, uris, count)) { /* as if nothing had come */
        if (call == 0) core->is_wanted[TSF_DIRECTORIES] = true;
        return;
    }
    if (call != 0) {
        core->calls[kind].id = 0;
        answer_came(core, now);
    } else if (core->calls[TSF_DIRECTORIES].id != 0) {
        core->is_wanted[TSF_DIRECTORIES] = true; /* the answer that is to come may be older */
    }
    core->state = TSF_THERE;
    core->fades_at = INT64_MAX;
    core->is_fading = false;
    tsf_foreach_folder(core, renew_folder);
}

bool tsf_core_menus(TsfCore* core, int64_t now, uint64_t call, size_t count) {
    size_t kind = 0;
    if (call_of(core, call, &kind) == NULL) return false;
    if (kind != TSF_MENUS || count > TSF_MAXIMUM_MENUS) {
        take_nonsense(core, now, kind);
        return false;
    }
    core->calls[kind].id = 0;
    answer_came(core, now);
    core->has_menus = core->menus_to_update = true;
    return true;
}

static void take_batch(const TsfBatch* batch, uint64_t sequence, const TsfAnswer* answers) {
    for (size_t i = 0; i < batch->count; ++i) {
        TsfItem* item = batch->items[i];
        if (item == NULL) continue;
        const bool is_outdated = item->is_outdated;
        item->place = 0;
        item->is_outdated = false;
        if (sequence >= batch->least[i] && tsf_item_is_watched(item)) tsf_item_answered(item, &answers[i]);
        if (is_outdated) tsf_item_want(item);
    }
}

void tsf_core_badges(TsfCore* core, int64_t now, uint64_t call, uint64_t sequence, const TsfAnswer* answers,
                     size_t count) {
    size_t kind = 0;
    if (call_of(core, call, &kind) == NULL) return;
    const size_t expected = kind >= TSF_BATCH ? core->batches[kind - TSF_BATCH].count : 0;
    if (kind < TSF_LIFE || count != expected) {
        take_nonsense(core, now, kind);
        return;
    }
    core->calls[kind].id = 0;
    answer_came(core, now);
    if (kind >= TSF_BATCH)
        take_batch(&core->batches[kind - TSF_BATCH], sequence, answers);
    else if (core->state == TSF_SILENT)
        begin(core);
}

/* --- signals */

bool tsf_core_heard(TsfCore* core, int64_t now, size_t size) {
    if (now - core->signals_since >= TSF_FLOOD_PAUSE) {
        core->signals_since = now;
        core->signals = 0;
    }
    if (core->state != TSF_ASKING && core->state != TSF_THERE) return false;
    if (++core->signals > TSF_MAXIMUM_SIGNALS || size > TSF_MAXIMUM_CHANGES) {
        if (core->deaf_until == INT64_MIN) core->deaf_until = now + TSF_FLOOD_PAUSE;
    }
    return core->deaf_until == INT64_MIN;
}

/* The answer that is under way for an item may be older than the change. */
static void outdate(const TsfItem* item, uint64_t sequence) {
    if (item->place == 0) return;
    TsfBatch* batch = &item->folder->core->batches[(item->place - 1) / TSF_MAXIMUM_BATCH];
    uint64_t* least = &batch->least[(item->place - 1) % TSF_MAXIMUM_BATCH];
    if (sequence > *least) *least = sequence;
}

void tsf_core_item_changed(TsfCore* core, uint64_t sequence, const char* uri) {
    TsfItem* item = tsf_find_item(core, uri);
    if (item == NULL) return;
    outdate(item, sequence);
    tsf_item_want(item);
}

void tsf_core_directory_changed(TsfCore* core, uint64_t sequence, const char* uri) {
    TsfFolder* folder = tsf_find_folder(core, uri);
    if (folder == NULL || core->state != TSF_THERE) return;
    for (size_t kind = TSF_BATCH; kind < TSF_CALLS; ++kind) {
        const TsfBatch* batch = &core->batches[kind - TSF_BATCH];
        if (core->calls[kind].id == 0) continue;
        for (size_t i = 0; i < batch->count; ++i)
            if (batch->items[i] != NULL && batch->items[i]->folder == folder)
                outdate(batch->items[i], sequence);
    }
    tsf_folder_wait(folder);
}

void tsf_core_menus_changed(TsfCore* core) { core->is_wanted[TSF_MENUS] = true; }

/* --- time */

static void miss(TsfCore* core, size_t kind, int64_t now) {
    /* Calls that waited side by side miss one answer together. */
    if (core->calls[kind].misses_before == core->misses) ++core->misses;
    end_call(core, kind);
    if (core->misses >= TSF_MAXIMUM_MISSES) fall_silent(core, now);
}

void tsf_tick(TsfCore* core, int64_t now) {
    for (size_t kind = 0; kind < TSF_CALLS; ++kind)
        if (core->calls[kind].id != 0 && core->calls[kind].deadline <= now) miss(core, kind, now);
    if (core->deaf_until != INT64_MIN && core->deaf_until <= now) {
        core->deaf_until = INT64_MIN;
        core->is_wanted[TSF_DIRECTORIES] = core->is_wanted[TSF_MENUS] = true; /* and thus all items */
    }
    if (core->is_doubting && now - core->doubted_at >= TSF_DOUBT_PAUSE) {
        core->is_doubting = false;
        core->doubted_at = now;
        tsf_foreach_folder(core, tsf_folder_doubt);
    }
    if (core->fades_at <= now) {
        core->fades_at = INT64_MAX;
        core->is_fading = true;
        tsf_foreach_folder(core, fade_folder);
    }
}

/* --- life */

TsfCore* tsf_core_new(void* host) {
    TsfCore* core = malloc(sizeof *core);
    if (core == NULL) return NULL;
    memset(core, 0, sizeof *core);
    core->host = host;
    core->state = TSF_ABSENT;
    core->deaf_until = INT64_MIN;
    core->fades_at = INT64_MAX;
    core->doubted_at = -TSF_DOUBT_PAUSE;
    tsf_list_init(&core->turn);
    tsf_list_init(&core->tell);
    tsf_list_init(&core->invalid);
    return core;
}

static void free_owners(TsfTable* table, size_t offset) {
    for (size_t i = 0; i < table->capacity; ++i)
        if (table->texts[i] != NULL) free((void*)(table->texts[i] - offset));
    tsf_table_clear(table);
}

void tsf_core_free(TsfCore* core) {
    if (core == NULL) return;
    free_owners(&core->items, offsetof(TsfItem, uri));
    free_owners(&core->folders, offsetof(TsfFolder, uri));
    tsf_forget_directories(core);
    free(core);
}

TsfState tsf_core_state(const TsfCore* core) { return core->state; }
bool tsf_core_has_menus(const TsfCore* core) { return core->has_menus; }
