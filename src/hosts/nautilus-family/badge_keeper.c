#include "hosts/nautilus-family/badge_keeper.h"

#include "hosts/nautilus-family/item_table.h"
#include "protocol/names.h"

#include <string.h>

static const guint maximum_batch = 150;   /* items */
static const guint maximum_batches = 2;   /* under way at a time; meanwhile the next ones gather */
static const guint badge_lifetime = 9000; /* ms; with the time to draw, nothing is shown after ten seconds */
static const gint64 turn_budget = 500;    /* us of invalidations, or of forgetting, in one turn */
static const guint clock_step = 64;       /* items that are forgotten between two looks at the clock */
static const guint maximum_badges = 32;   /* kinds of badges; further ones count as none */
static const gsize maximum_badge_name = 32;
static const guint maximum_unknown = 100; /* items of a selection that are asked for at a time */

struct TsfBadgeKeeper {
    const TsfKeeperEvents* events;
    gpointer user;
    TsfLink* link;
    TsfItemTable* table;
    GPtrArray* emblems; /* emblem name of badge n at n - 1 */

    GQueue asked;   /* items that wait to be asked for, each with a reference */
    GQueue invalid; /* items that wait to be shown anew, each with a reference */
    GQueue batches; /* under way: arrays of items */
    guint batch_turn;
    guint invalid_idle;
    guint lifetime_timer;
    guint fading_timer;
    TsfItem* fading_next; /* the item to be forgotten next, with a reference; or NULL */
    gint64 turn_end;      /* of the running turn of forgetting */
    gboolean is_turn_over;
    gboolean menu_waits; /* a selection was classified before all of its items were known */
};

/* --- showing anew */

static gboolean on_invalid_idle(gpointer data) {
    TsfBadgeKeeper* keeper = data;
    const gint64 start = g_get_monotonic_time();
    do {
        TsfItem* item = g_queue_pop_head(&keeper->invalid);
        if (item == NULL) {
            keeper->invalid_idle = 0;
            return G_SOURCE_REMOVE;
        }
        item->is_invalid = FALSE;
        item->was_invalidated = TRUE;
        tsf_item_foreach_file(item, keeper->events->invalidate, keeper->user);
        tsf_item_unref(item);
    } while (g_get_monotonic_time() - start < turn_budget);
    return G_SOURCE_CONTINUE;
}

static void invalidate(TsfBadgeKeeper* keeper, TsfItem* item) {
    if (item->is_invalid || item->folder == NULL) return;
    item->is_invalid = TRUE;
    g_queue_push_tail(&keeper->invalid, tsf_item_ref(item));
    if (keeper->invalid_idle == 0) keeper->invalid_idle = g_idle_add(on_invalid_idle, keeper);
}

/* --- asking */

static void send_batches(TsfBadgeKeeper* keeper) {
    while (!g_queue_is_empty(&keeper->asked) && keeper->batches.length < maximum_batches &&
           tsf_link_is_ready(keeper->link)) {
        GPtrArray* batch = g_ptr_array_new_with_free_func((GDestroyNotify)tsf_item_unref);
        GVariantBuilder uris;
        g_variant_builder_init(&uris, G_VARIANT_TYPE_STRING_ARRAY);
        while (batch->len < maximum_batch && !g_queue_is_empty(&keeper->asked)) {
            TsfItem* item = g_queue_pop_head(&keeper->asked);
            item->is_asked = FALSE;
            if (item->folder != NULL) {
                g_variant_builder_add(&uris, "s", item->uri);
                g_ptr_array_add(batch, item);
            } else {
                tsf_item_unref(item);
            }
        }
        GVariant* list = g_variant_builder_end(&uris);
        if (batch->len == 0) {
            g_variant_unref(g_variant_ref_sink(list));
            g_ptr_array_unref(batch);
            return;
        }
        g_queue_push_tail(&keeper->batches, batch);
        tsf_link_ask_badges(keeper->link, list, batch);
    }
}

static gboolean on_batch_turn(gpointer data) {
    TsfBadgeKeeper* keeper = data;
    keeper->batch_turn = 0;
    send_batches(keeper);
    return G_SOURCE_REMOVE;
}

static void queue_item(TsfBadgeKeeper* keeper, TsfItem* item) {
    if (item->is_asked || item->folder == NULL) return;
    item->is_asked = TRUE;
    g_queue_push_tail(&keeper->asked, tsf_item_ref(item));
}

static void ask_for_item(TsfBadgeKeeper* keeper, TsfItem* item) {
    if (!item->folder->is_watched && !tsf_link_is_watched(keeper->link, item->uri)) {
        item->is_in_sync = item->is_root = FALSE;
        if (item->badge != 0) invalidate(keeper, item);
        item->badge = 0;
        item->is_known = tsf_link_has_appeared(keeper->link) ? 1 : 0;
        return;
    }
    queue_item(keeper, item);
    /* In the next turn of the main loop: files come many in one turn, and the first answer matters most. */
    if (keeper->batch_turn == 0 && tsf_link_is_ready(keeper->link))
        keeper->batch_turn = g_timeout_add(0, on_batch_turn, keeper);
}

static void ask_for_folder(TsfBadgeKeeper* keeper, TsfFolder* folder, guint64 sequence) {
    for (TsfItem* item = folder->first; item != NULL; item = item->next) {
        item->sequence = MAX(item->sequence, sequence);
        ask_for_item(keeper, item);
    }
}

static guint badge_named(TsfBadgeKeeper* keeper, const char* name) {
    static const char prefix[] = "tsyncfinder-";
    if (strcmp(name, FINDER_SYNC_BADGE_NONE) == 0) return 0;
    for (guint i = 0; i < keeper->emblems->len; ++i)
        if (strcmp((const char*)g_ptr_array_index(keeper->emblems, i) + strlen(prefix), name) == 0)
            return i + 1;
    if (*name == '\0' || strlen(name) > maximum_badge_name || keeper->emblems->len >= maximum_badges ||
        strspn(name, "abcdefghijklmnopqrstuvwxyz0123456789-") != strlen(name))
        return 0;
    g_ptr_array_add(keeper->emblems, g_strconcat(prefix, name, NULL));
    return keeper->emblems->len;
}

static void take_answer(TsfBadgeKeeper* keeper, TsfItem* item, guint64 sequence, GVariant* answer) {
    if (item->folder == NULL || sequence < item->sequence) return;
    const char* name = NULL;
    gboolean is_in_sync = FALSE;
    gboolean is_root = FALSE;
    g_variant_get(answer, "(&sbb)", &name, &is_in_sync, &is_root);
    /* An item that has gone keeps the badge that it was given, not one that was expected of it. */
    const gboolean is_unchanged = strcmp(name, FINDER_SYNC_BADGE_UNCHANGED) == 0;
    const guint badge = !is_unchanged ? badge_named(keeper, name) : item->is_known ? item->badge : 0;
    item->sequence = sequence;
    item->is_known = TRUE;
    item->is_in_sync = is_in_sync ? 1 : 0;
    item->is_root = is_root ? 1 : 0;
    if (!is_unchanged) item->folder->expected = badge;
    if (badge == item->badge) return;
    item->badge = badge & 0xffU;
    invalidate(keeper, item);
}

static void answered(gpointer data, guint64 sequence, GVariant* answers, gpointer user) {
    TsfBadgeKeeper* keeper = user;
    GPtrArray* batch = data;
    if (batch != NULL) {
        for (guint i = 0; i < batch->len; ++i) {
            TsfItem* item = g_ptr_array_index(batch, i);
            if (answers == NULL) {
                queue_item(keeper, item);
                continue;
            }
            GVariant* answer = g_variant_get_child_value(answers, i);
            take_answer(keeper, item, sequence, answer);
            g_variant_unref(answer);
        }
        g_queue_remove(&keeper->batches, batch);
        g_ptr_array_unref(batch);
    }
    if (answers == NULL) return; /* asked again when the extension answers something else */
    send_batches(keeper);
    if (keeper->menu_waits && g_queue_is_empty(&keeper->batches) && g_queue_is_empty(&keeper->asked)) {
        keeper->menu_waits = FALSE;
        keeper->events->menus_changed(keeper->user);
    }
}

/* --- folders */

static void watch_folder(TsfFolder* folder, gpointer user) {
    TsfBadgeKeeper* keeper = user;
    folder->is_watched = tsf_link_is_watched(keeper->link, folder->uri);
    if (folder->is_watched == folder->is_observed) return;
    folder->is_observed = folder->is_watched;
    tsf_link_observe(keeper->link, folder->uri, folder->is_observed);
}

static void folder_begins(TsfFolder* folder, gpointer user) {
    TsfBadgeKeeper* keeper = user;
    /* What lies in a synced folder is nearly always in step. */
    const TsfItem* itself = tsf_item_table_lookup(keeper->table, folder->uri);
    if (itself != NULL && itself->is_in_sync && itself->badge != 0)
        folder->expected = badge_named(keeper, FINDER_SYNC_BADGE_SYNC);
    watch_folder(folder, keeper);
    tsf_link_set_attentive(keeper->link, TRUE);
}

static void folder_ends(TsfFolder* folder, gpointer user) {
    TsfBadgeKeeper* keeper = user;
    if (folder->is_observed) tsf_link_observe(keeper->link, folder->uri, FALSE);
    if (tsf_item_table_size(keeper->table) == 0) tsf_link_set_attentive(keeper->link, FALSE);
}

/* --- the extension */

static void watch_and_ask(TsfFolder* folder, gpointer user) {
    watch_folder(folder, user);
    ask_for_folder(user, folder, 0);
}

static void begin_folder(TsfFolder* folder, gpointer user) {
    folder->is_observed = FALSE; /* a new extension knows of none */
    folder->is_fading = FALSE;
    folder->expected = 0;
    for (TsfItem* item = folder->first; item != NULL; item = item->next)
        item->sequence = 0;
    watch_and_ask(folder, user);
}

static void directories_changed(gpointer user) {
    TsfBadgeKeeper* keeper = user;
    tsf_item_table_foreach_folder(keeper->table, watch_and_ask, keeper);
}

static void forget(TsfBadgeKeeper* keeper, TsfItem* item) {
    item->is_known = item->is_in_sync = item->is_root = FALSE;
    if (item->badge == 0) return;
    item->badge = 0;
    invalidate(keeper, item);
}

/* Goes on where the last turn stopped: at that item, or at the folder's first one when it has gone since. */
static void forget_folder(TsfFolder* folder, gpointer user) {
    TsfBadgeKeeper* keeper = user;
    if (!folder->is_fading || keeper->is_turn_over) return;
    TsfItem* next = keeper->fading_next;
    TsfItem* item = next != NULL && next->folder == folder ? next : folder->first;
    keeper->fading_next = NULL;
    for (guint count = 1; item != NULL && !keeper->is_turn_over; item = item->next, ++count) {
        forget(keeper, item);
        keeper->is_turn_over = count % clock_step == 0 && g_get_monotonic_time() >= keeper->turn_end;
    }
    if (item != NULL)
        keeper->fading_next = tsf_item_ref(item);
    else
        folder->is_fading = FALSE;
    if (next != NULL) tsf_item_unref(next);
}

static gboolean on_fading_turn(gpointer data) {
    TsfBadgeKeeper* keeper = data;
    keeper->turn_end = g_get_monotonic_time() + turn_budget;
    keeper->is_turn_over = FALSE;
    tsf_item_table_foreach_folder(keeper->table, forget_folder, keeper);
    for (guint count = 1; !keeper->is_turn_over && !g_queue_is_empty(&keeper->asked); ++count) {
        TsfItem* item = g_queue_pop_head(&keeper->asked);
        item->is_asked = FALSE;
        tsf_item_unref(item);
        keeper->is_turn_over = count % clock_step == 0 && g_get_monotonic_time() >= keeper->turn_end;
    }
    if (keeper->is_turn_over) return G_SOURCE_CONTINUE;
    keeper->fading_timer = 0;
    return G_SOURCE_REMOVE;
}

static void stop_fading(TsfBadgeKeeper* keeper) {
    if (keeper->fading_timer != 0) g_source_remove(keeper->fading_timer);
    keeper->fading_timer = 0;
    if (keeper->fading_next != NULL) tsf_item_unref(keeper->fading_next);
    keeper->fading_next = NULL;
}

static void begin_fading(TsfFolder* folder, gpointer user) {
    (void)user;
    folder->is_fading = TRUE;
    folder->expected = 0;
    folder->is_watched = FALSE; /* nothing queues up that nobody answers */
}

static gboolean on_lifetime_over(gpointer data) {
    TsfBadgeKeeper* keeper = data;
    keeper->lifetime_timer = 0;
    stop_fading(keeper);
    tsf_item_table_foreach_folder(keeper->table, begin_fading, keeper);
    keeper->fading_timer = g_timeout_add(0, on_fading_turn, keeper);
    return G_SOURCE_REMOVE;
}

static void appeared(gpointer user) {
    TsfBadgeKeeper* keeper = user;
    if (keeper->lifetime_timer != 0) g_source_remove(keeper->lifetime_timer);
    keeper->lifetime_timer = 0;
    stop_fading(keeper);
    tsf_link_set_attentive(keeper->link, tsf_item_table_size(keeper->table) > 0);
    tsf_item_table_foreach_folder(keeper->table, begin_folder, keeper);
}

static void left(gboolean is_silent, gpointer user) {
    TsfBadgeKeeper* keeper = user;
    /* A silent one has had its time. One that came and left again without a word gives no more of it. */
    if (is_silent && keeper->lifetime_timer != 0) {
        g_source_remove(keeper->lifetime_timer);
        keeper->lifetime_timer = 0;
    }
    if (keeper->lifetime_timer == 0)
        keeper->lifetime_timer = g_timeout_add(is_silent ? 0 : badge_lifetime, on_lifetime_over, keeper);
    keeper->events->menus_changed(keeper->user);
}

static void anything_changed(TsfFolder* folder, gpointer user) { ask_for_folder(user, folder, 0); }

static void badges_changed(guint64 sequence, GVariant* directories, gpointer user) {
    TsfBadgeKeeper* keeper = user;
    if (directories == NULL) {
        tsf_item_table_foreach_folder(keeper->table, anything_changed, keeper);
        return;
    }
    GVariantIter each_directory;
    GVariantIter* items = NULL;
    const char* uri = NULL;
    g_variant_iter_init(&each_directory, directories);
    while (g_variant_iter_next(&each_directory, "(&sas)", &uri, &items)) {
        TsfFolder* folder = tsf_item_table_folder(keeper->table, uri);
        if (folder != NULL && g_variant_iter_n_children(items) == 0) ask_for_folder(keeper, folder, sequence);
        while (g_variant_iter_next(items, "&s", &uri)) {
            TsfItem* item = tsf_item_table_lookup(keeper->table, uri);
            if (item == NULL) continue;
            item->sequence = MAX(item->sequence, sequence);
            ask_for_item(keeper, item);
        }
        g_variant_iter_free(items);
    }
}

static void menus_changed(gpointer user) {
    TsfBadgeKeeper* keeper = user;
    keeper->events->menus_changed(keeper->user);
}

/* --- for the plugin */

static void free_batch(gpointer batch) { g_ptr_array_unref(batch); }
static void free_item(gpointer item) { tsf_item_unref(item); }

TsfBadgeKeeper* tsf_badge_keeper_new(const TsfKeeperEvents* events, gpointer user) {
    static const TsfLinkEvents link_events = {.appeared = appeared,
                                              .left = left,
                                              .answered = answered,
                                              .badges_changed = badges_changed,
                                              .directories_changed = directories_changed,
                                              .menus_changed = menus_changed};
    TsfBadgeKeeper* keeper = g_new0(TsfBadgeKeeper, 1);
    keeper->events = events;
    keeper->user = user;
    keeper->emblems = g_ptr_array_new_with_free_func(g_free);
    keeper->table = tsf_item_table_new(folder_begins, folder_ends, keeper);
    keeper->link = tsf_link_new(&link_events, keeper);
    return keeper;
}

void tsf_badge_keeper_free(TsfBadgeKeeper* keeper) {
    const guint timers[] = {keeper->batch_turn, keeper->invalid_idle, keeper->lifetime_timer};
    for (gsize i = 0; i < G_N_ELEMENTS(timers); ++i)
        if (timers[i] != 0) g_source_remove(timers[i]);
    stop_fading(keeper);
    tsf_link_free(keeper->link);
    tsf_item_table_free(keeper->table);
    g_queue_clear_full(&keeper->asked, free_item);
    g_queue_clear_full(&keeper->invalid, free_item);
    g_queue_clear_full(&keeper->batches, free_batch);
    g_ptr_array_unref(keeper->emblems);
    g_free(keeper);
}

const char* tsf_badge_keeper_emblem(TsfBadgeKeeper* keeper, GObject* file, const char* uri) {
    TsfItem* item = tsf_item_table_attach(keeper->table, file, uri);
    const gboolean is_own_doing = item->was_invalidated ? TRUE : FALSE;
    item->was_invalidated = FALSE;
    /* What the file manager asks for by itself may have changed on the disk. */
    if (!item->is_known || !is_own_doing) ask_for_item(keeper, item);
    /* Most items of a folder have one badge. Whoever opens a large folder is not to see each item without one
     * first: what the last one that was answered for has is shown until the item's own answer comes. */
    if (!item->is_known && item->badge == 0 && tsf_link_is_ready(keeper->link))
        item->badge = item->folder->expected & 0xffU;
    return item->badge != 0 ? g_ptr_array_index(keeper->emblems, item->badge - 1) : NULL;
}

/* A file that the file manager never asked an emblem for, as the folder that a window shows. */
static TsfItem* meet(TsfBadgeKeeper* keeper, GObject* file) {
    char* uri = keeper->events->uri_of(file);
    TsfItem* item = uri != NULL ? tsf_item_table_attach(keeper->table, file, uri) : NULL;
    if (item != NULL && !item->is_known) ask_for_item(keeper, item);
    g_free(uri);
    return item;
}

const char* tsf_badge_keeper_selection_class(TsfBadgeKeeper* keeper, GList* files, gboolean first_exists,
                                             gboolean is_directory) {
    gboolean all_in_sync = TRUE;
    gboolean none_in_sync = TRUE;
    gboolean all_roots = TRUE;
    if (files == NULL || !first_exists) return "nothing";
    const gboolean is_single = files->next == NULL;
    guint unknown = 0;
    for (GList* at = files; at != NULL; at = at->next) {
        const TsfItem* item = tsf_item_table_item_of(keeper->table, at->data);
        if (item == NULL) item = meet(keeper, at->data);
        if (item == NULL) { /* not a local file */
            if (at == files) return "nothing";
            all_in_sync = all_roots = FALSE;
            continue;
        }
        if (!item->is_known && ++unknown >= maximum_unknown) break;
        if (!item->is_known) continue;
        all_in_sync = all_in_sync && item->is_in_sync;
        none_in_sync = none_in_sync && !item->is_in_sync;
        all_roots = all_roots && item->is_root;
        /* Whatever the others are, there is nothing to offer. */
        if (!none_in_sync && (!all_in_sync || (!all_roots && !is_single))) return "nothing";
    }
    if (unknown > 0) {
        keeper->menu_waits = TRUE;
        return NULL;
    }
    if (all_in_sync && is_single)
        return all_roots ? "sync-root" : is_directory ? "synced-folder" : "synced-file";
    if (all_in_sync) return "sync-roots";
    if (!none_in_sync) return "nothing"; /* beside what is not a local file */
    return is_single && is_directory ? "unsynced-folder" : "unsynced-items";
}

TsfLink* tsf_badge_keeper_link(TsfBadgeKeeper* keeper) { return keeper->link; }
