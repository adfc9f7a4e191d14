#include "hosts/core/state.h"

#include <string.h>

static const size_t piece = 64; /* items that need no answer, in one order of work */

/* --- what is due; tsf_core_next and tsf_core_wakes agree on it */

static bool should_listen(const TsfCore* core) {
    return (core->state == TSF_ASKING || core->state == TSF_THERE) && core->deaf_until == INT64_MIN;
}

static bool is_under_way(const TsfCore* core, size_t kind) { return core->calls[kind].id != 0; }

/* The question that is due, or TSF_QUESTIONS. */
static size_t question_due(const TsfCore* core) {
    size_t first = TSF_QUESTIONS;
    if (core->state == TSF_ABSENT || core->state == TSF_SHUNNED) return first;
    for (size_t kind = TSF_QUESTIONS; kind-- > 0;) {
        /* One that misses answers gets one question at a time. */
        if (is_under_way(core, kind) && core->misses > 0) return TSF_QUESTIONS;
        if (core->is_wanted[kind] && !is_under_way(core, kind)) first = kind;
    }
    return first == TSF_QUESTIONS && core->misses > 0 ? TSF_LIFE : first;
}

static bool is_tell_due(const TsfCore* core) {
    return core->state == TSF_THERE && !tsf_list_is_empty(&core->tell);
}

static size_t free_batch(const TsfCore* core) {
    for (size_t kind = TSF_BATCH; kind < TSF_CALLS; ++kind)
        if (!is_under_way(core, kind)) return kind;
    return TSF_CALLS;
}

static bool is_turn_due(const TsfCore* core) {
    if (tsf_list_is_empty(&core->turn)) return core->is_fading;
    return core->is_fading || (tsf_is_ready(core) && free_batch(core) != TSF_CALLS);
}

/* All that comes before a batch, or instead of one. */
static bool is_urgent(const TsfCore* core) {
    return should_listen(core) != core->is_listening || question_due(core) != TSF_QUESTIONS ||
           is_tell_due(core) || core->is_fading;
}

bool tsf_core_can_wait(const TsfCore* core) {
    if (is_urgent(core) || core->menu_waits || !is_turn_due(core)) return false;
    const TsfFolder* folder = TSF_OWNER(core->turn.next, TsfFolder, in_turn);
    const TsfItem* item = TSF_OWNER(folder->waiting.next, TsfItem, in_folder);
    return folder->is_watched && !item->is_known && item->badge != 0;
}

static bool is_quiet(const TsfCore* core) {
    for (size_t kind = 0; kind < TSF_CALLS; ++kind)
        if (is_under_way(core, kind)) return false;
    return true;
}

static bool is_update_due(const TsfCore* core) {
    if (core->menus_to_update) return true;
    if (!core->menu_waits || !tsf_is_ready(core) || !tsf_list_is_empty(&core->turn)) return false;
    for (size_t kind = TSF_BATCH; kind < TSF_CALLS; ++kind)
        if (is_under_way(core, kind)) return false;
    return true;
}

/* While somebody looks at badges, an extension that has stopped must be noticed. */
static int64_t beat_at(const TsfCore* core) {
    if (core->state != TSF_THERE || core->items.count == 0 || !is_quiet(core)) return INT64_MAX;
    return core->last_answer + TSF_PAUSE_BEFORE_QUESTION;
}

int64_t tsf_core_wakes(const TsfCore* core, int64_t now) {
    if (is_urgent(core) || is_turn_due(core) || is_update_due(core)) return now;
    int64_t wakes = beat_at(core);
    for (size_t kind = 0; kind < TSF_CALLS; ++kind)
        if (is_under_way(core, kind) && core->calls[kind].deadline < wakes)
            wakes = core->calls[kind].deadline;
    if (core->deaf_until != INT64_MIN && core->deaf_until < wakes) wakes = core->deaf_until;
    if (core->fades_at < wakes) wakes = core->fades_at;
    if (core->is_doubting && core->doubted_at + TSF_DOUBT_PAUSE < wakes)
        wakes = core->doubted_at + TSF_DOUBT_PAUSE;
    return wakes > now ? wakes : now;
}

/* --- orders */

static bool make_call(TsfCore* core, int64_t now, size_t kind, TsfOrder* order) {
    TsfCall* call = &core->calls[kind];
    call->id = order->call = ++core->last_call;
    call->deadline = core->state == TSF_SILENT ? INT64_MAX : now + TSF_ANSWER_TIME;
    call->misses_before = core->misses;
    if (kind < TSF_QUESTIONS) core->is_wanted[kind] = false;
    order->kind = kind == TSF_DIRECTORIES ? TSF_ASK_DIRECTORIES
                  : kind == TSF_MENUS     ? TSF_ASK_MENUS
                                          : TSF_ASK_BADGES;
    return true;
}

static bool tell(TsfCore* core, TsfOrder* order) {
    TsfFolder* folder = TSF_OWNER(core->tell.next, TsfFolder, in_tell);
    tsf_list_remove(&folder->in_tell);
    folder->is_observed = folder->is_watched;
    order->kind = folder->is_observed ? TSF_BEGIN_OBSERVING : TSF_END_OBSERVING;
    order->uri = folder->uri;
    core->told = folder;
    return true;
}

static bool fade(TsfCore* core, TsfOrder* order) {
    TsfItem* item = NULL;
    for (size_t i = 0; i < piece && (item = tsf_next_waiting(core)) != NULL; ++i)
        tsf_item_forget(item, false);
    if (item == NULL) core->is_fading = false;
    order->kind = TSF_GO_ON;
    return true;
}

/* Fills a batch with the items whose turn it is; those that need not be asked about are done at once. */
static bool ask(TsfCore* core, int64_t now, TsfOrder* order) {
    const size_t kind = free_batch(core);
    TsfBatch* batch = &core->batches[kind - TSF_BATCH];
    TsfItem* item = NULL;
    batch->count = 0;
    for (size_t others = 0; others < piece && batch->count < TSF_MAXIMUM_BATCH;) {
        if ((item = tsf_next_waiting(core)) == NULL) break;
        if (item->place != 0 || !tsf_item_is_watched(item)) {
            tsf_item_want(item);
            ++others;
            continue;
        }
        batch->items[batch->count] = item;
        batch->least[batch->count] = 0;
        item->place = (uint16_t)((kind - TSF_BATCH) * TSF_MAXIMUM_BATCH + ++batch->count);
    }
    /* Folders take turns. */
    if (!tsf_list_is_empty(&core->turn)) tsf_list_append(&core->turn, core->turn.next);
    order->kind = TSF_GO_ON;
    if (batch->count == 0) return true;
    order->items = (const TsfItem* const*)batch->items;
    order->count = batch->count;
    return make_call(core, now, kind, order);
}

bool tsf_core_next(TsfCore* core, int64_t now, TsfOrder* order) {
    memset(order, 0, sizeof *order);
    if (core->told != NULL) {
        TsfFolder* told = core->told;
        core->told = NULL;
        tsf_folder_settle(told);
    }
    tsf_tick(core, now);
    if (should_listen(core) != core->is_listening) {
        core->is_listening = !core->is_listening;
        order->kind = core->is_listening ? TSF_LISTEN : TSF_STOP_LISTENING;
        return true;
    }
    const size_t question = question_due(core);
    if (question != TSF_QUESTIONS) return make_call(core, now, question, order);
    if (is_tell_due(core)) return tell(core, order);
    if (is_turn_due(core)) return core->is_fading ? fade(core, order) : ask(core, now, order);
    if (is_update_due(core)) {
        core->menus_to_update = core->menu_waits = false;
        order->kind = TSF_UPDATE_MENUS;
        return true;
    }
    if (beat_at(core) <= now) return make_call(core, now, TSF_LIFE, order);
    return false;
}
