#include "hosts/nautilus-family/badge_keeper.h"

#include "hosts/nautilus-family/extension_link.h"

static const gint64 turn_budget = 500; /* us of the core's orders, or of invalidations, in one turn */

/* ms. What only confirms the badges that new items show already waits until no more of them come, but not
 * longer than the other: while a large folder is read, the file manager has its processor to itself. */
static const gint64 lull = 100;
static const gint64 patience = 1000;

struct TsfBadgeKeeper {
    const TsfKeeperEvents* events;
    gpointer user;
    TsfCore* core;
    TsfLink* link;
    GQuark key; /* of the attachment in a file object */
    guint timer;
    gint64 timer_at;    /* ms; INT64_MAX: no timer runs */
    gint64 last_came;   /* ms; the last new item */
    gint64 waits_since; /* ms; orders that can wait do so; 0: none does */
    guint invalid_idle;
    gboolean is_closed;
};

/* A file object that stands for an item; the item's cookie is the first one. */
typedef struct TsfAttachment TsfAttachment;
struct TsfAttachment {
    TsfItem* item;
    GObject* file;
    TsfAttachment* next; /* of the same item */
};

static gint64 now_ms(void) { return g_get_monotonic_time() / 1000; }

/* --- what the core wants */

static gboolean on_invalid_idle(gpointer data) {
    TsfBadgeKeeper* keeper = data;
    const gint64 start = g_get_monotonic_time();
    do {
        TsfItem* item = tsf_core_next_invalid(keeper->core);
        if (item == NULL) {
            keeper->invalid_idle = 0;
            break;
        }
        for (TsfAttachment *at = tsf_item_cookie(item), *next = NULL; at != NULL; at = next) {
            next = at->next;
            keeper->events->invalidate(at->file, keeper->user);
        }
    } while (g_get_monotonic_time() - start < turn_budget);
    tsf_badge_keeper_held_up(keeper, start);
    return keeper->invalid_idle != 0 ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
}

static gboolean on_timer(gpointer data);

/* When there is something to do. */
static gint64 due_at(TsfBadgeKeeper* keeper, gint64 now) {
    const gint64 wakes = tsf_core_wakes(keeper->core, now);
    if (wakes > now || !tsf_core_can_wait(keeper->core)) {
        keeper->waits_since = 0;
        return wakes;
    }
    if (keeper->waits_since == 0) keeper->waits_since = now;
    return MAX(MIN(keeper->last_came + lull, keeper->waits_since + patience), now);
}

/* The main loop comes back then. */
static void arm(TsfBadgeKeeper* keeper) {
    const gint64 now = now_ms();
    const gint64 wakes = due_at(keeper, now);
    if (keeper->invalid_idle == 0 && tsf_core_has_invalid(keeper->core))
        keeper->invalid_idle = g_idle_add(on_invalid_idle, keeper);
    if (wakes == keeper->timer_at || (wakes <= now && keeper->timer_at <= now)) return;
    /* Each new item puts it off: the timer looks again. */
    if (keeper->waits_since != 0 && keeper->timer_at > now && keeper->timer_at <= wakes) return;
    if (keeper->timer != 0) g_source_remove(keeper->timer);
    keeper->timer = wakes == INT64_MAX ? 0 : g_timeout_add((guint)(wakes - now), on_timer, keeper);
    keeper->timer_at = wakes;
}

static void serve(gpointer data) {
    TsfBadgeKeeper* keeper = data;
    const gint64 start = g_get_monotonic_time();
    TsfOrder order;
    for (gint64 now = start; now - start < turn_budget && due_at(keeper, now / 1000) <= now / 1000 &&
                             tsf_core_next(keeper->core, now / 1000, &order);
         now = g_get_monotonic_time())
        if (order.kind == TSF_UPDATE_MENUS && keeper->events->menus_changed != NULL)
            keeper->events->menus_changed(keeper->user);
        else if (order.kind != TSF_GO_ON)
            tsf_link_carry_out(keeper->link, &order);
    arm(keeper);
}

static gboolean on_timer(gpointer data) {
    TsfBadgeKeeper* keeper = data;
    keeper->timer = 0;
    keeper->timer_at = INT64_MAX;
    const gint64 start = g_get_monotonic_time();
    serve(keeper);
    tsf_badge_keeper_held_up(keeper, start);
    return G_SOURCE_REMOVE;
}

/* --- files */

static void detach(gpointer data) {
    TsfAttachment* attachment = data;
    TsfItem* item = attachment->item;
    TsfBadgeKeeper* keeper = tsf_item_host(item);
    TsfAttachment* first = tsf_item_cookie(item);
    TsfAttachment** link = &first;
    while (*link != attachment)
        link = &(*link)->next;
    *link = attachment->next;
    tsf_item_set_cookie(item, first);
    g_free(attachment);
    if (first != NULL || keeper->is_closed) return;
    tsf_item_gone(item);
    arm(keeper);
}

/* The item that a file stands for; NULL: no memory. A file that has got another URI stands for another item
 * from now on. */
static TsfItem* attach(TsfBadgeKeeper* keeper, GObject* file, const char* uri) {
    TsfAttachment* attachment = g_object_get_qdata(file, keeper->key);
    if (attachment != NULL && g_str_equal(tsf_item_uri(attachment->item), uri)) return attachment->item;
    if (attachment != NULL) g_object_set_qdata(file, keeper->key, NULL);
    TsfItem* item = tsf_core_item(keeper->core, uri);
    if (item == NULL) return NULL;
    keeper->last_came = now_ms();
    attachment = g_new(TsfAttachment, 1);
    *attachment = (TsfAttachment){item, file, tsf_item_cookie(item)};
    tsf_item_set_cookie(item, attachment);
    g_object_set_qdata_full(file, keeper->key, attachment, detach);
    return item;
}

static void detach_all(TsfItem* item, void* data) {
    const TsfBadgeKeeper* keeper = data;
    TsfAttachment* attachment = NULL;
    while ((attachment = tsf_item_cookie(item)) != NULL)
        g_object_set_qdata(attachment->file, keeper->key, NULL);
}

/* The item of a file, even of one whose emblem the file manager never asked for, such as the folder that a
 * window shows; NULL: not a local one. */
static TsfItem* item_of(TsfBadgeKeeper* keeper, GObject* file) {
    const TsfAttachment* attachment = g_object_get_qdata(file, keeper->key);
    if (attachment != NULL) return attachment->item;
    char* uri = keeper->events->uri_of(file);
    TsfItem* item = uri != NULL ? attach(keeper, file, uri) : NULL;
    g_free(uri);
    return item;
}

/* --- for the plugin */

TsfBadgeKeeper* tsf_badge_keeper_new(const TsfKeeperEvents* events, gpointer user) {
    TsfBadgeKeeper* keeper = g_new0(TsfBadgeKeeper, 1);
    keeper->events = events;
    keeper->user = user;
    keeper->key = g_quark_from_static_string("tsyncfinder-item");
    keeper->timer_at = INT64_MAX;
    keeper->core = tsf_core_new(keeper);
    if (keeper->core == NULL) g_error("no memory"); /* as GLib does */
    keeper->link = tsf_link_new(keeper->core, serve, keeper);
    return keeper;
}

void tsf_badge_keeper_free(TsfBadgeKeeper* keeper) {
    keeper->is_closed = TRUE;
    if (keeper->timer != 0) g_source_remove(keeper->timer);
    if (keeper->invalid_idle != 0) g_source_remove(keeper->invalid_idle);
    tsf_link_free(keeper->link);
    tsf_core_foreach_item(keeper->core, detach_all, keeper);
    tsf_core_free(keeper->core);
    g_free(keeper);
}

const char* tsf_badge_keeper_emblem(TsfBadgeKeeper* keeper, GObject* file, const char* uri) {
    TsfItem* item = attach(keeper, file, uri);
    if (item == NULL) return NULL;
    const char* emblem = tsf_item_emblem(item);
    arm(keeper); /* in another turn: many files come in one, and the first answer matters most */
    return emblem;
}

gboolean tsf_badge_keeper_selection_class(TsfBadgeKeeper* keeper, GList* files, gboolean first_exists,
                                          gboolean is_directory, TSyncSelectionClass* found) {
    TsfSelection selection;
    tsf_selection_begin(&selection, first_exists, is_directory);
    for (GList* at = files; at != NULL; at = at->next)
        if (!tsf_selection_add(&selection, item_of(keeper, at->data))) break;
    const gboolean is_known = tsf_selection_class(keeper->core, &selection, found);
    arm(keeper);
    return is_known;
}

gboolean tsf_badge_keeper_is_there(const TsfBadgeKeeper* keeper) {
    return tsf_core_state(keeper->core) == TSF_THERE;
}

GVariant* tsf_badge_keeper_menu(const TsfBadgeKeeper* keeper, TSyncSelectionClass selection_class) {
    return tsf_link_menu(keeper->link, tsyncSelectionClassName(selection_class));
}

void tsf_badge_keeper_held_up(TsfBadgeKeeper* keeper, gint64 since) {
    tsf_link_held_up(keeper->link, g_get_monotonic_time() - since);
}

void tsf_badge_keeper_activate(TsfBadgeKeeper* keeper, const char* item, GVariant* uris) {
    tsf_link_activate(keeper->link, item, uris);
}

void tsf_badge_keeper_describe(TsfBadgeKeeper* keeper, const char* uri, TsfDescribed described,
                               gpointer user) {
    tsf_link_describe(keeper->link, uri, described, user);
}
