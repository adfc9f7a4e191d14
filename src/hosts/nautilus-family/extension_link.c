#include "hosts/nautilus-family/extension_link.h"

#include "hosts/nautilus-family/choice.h"
#include "protocol/glib_formats.h"

#include <string.h>

struct TsfLink {
    TsfCore* core;
    void (*served)(gpointer user);
    gpointer user;
    guint references; /* the owner's, and one of each call under way */
    gboolean is_closed;

    GDBusConnection* bus;
    guint name_watch;
    char* owner; /* unique name; NULL: the extension is not there */
    guint subscription;
    GHashTable* menus; /* selection class -> av; or NULL */

    gint64 longest; /* us that the file manager was held up */
    gint64 told;    /* of that, to this owner */
};

typedef struct {
    TsfLink* link;
    TsfOrderKind kind;
    guint64 id;
} Call;

static gint64 now_ms(void) { return g_get_monotonic_time() / 1000; }

static void link_unref(TsfLink* link) {
    if (--link->references > 0) return;
    g_clear_object(&link->bus);
    g_free(link);
}

/* --- answers */

/* The arguments are is_set, which makes no difference here (none is an empty list), and the list. */
static void take_directories(TsfLink* link, guint64 call, GVariant* arguments) {
    GVariant* list = g_variant_get_child_value(arguments, 1);
    const gsize count = g_variant_n_children(list);
    const char** uris = count <= TSF_MAXIMUM_DIRECTORIES ? g_variant_get_strv(list, NULL) : NULL;
    tsf_core_directories(link->core, now_ms(), call, uris, count);
    g_free((gpointer)uris);
    g_variant_unref(list);
}

static void take_menus(TsfLink* link, guint64 call, GVariant* arguments) {
    GVariantIter* menus = NULL;
    char* name = NULL;
    GVariant* menu = NULL;
    g_variant_get(arguments, "(" FINDER_SYNC_MENUS_BY_CLASS_OUT ")", &menus);
    if (tsf_core_menus(link->core, now_ms(), call, g_variant_iter_n_children(menus))) {
        g_clear_pointer(&link->menus, g_hash_table_unref);
        link->menus = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, (GDestroyNotify)g_variant_unref);
        while (g_variant_iter_next(menus, FINDER_SYNC_MENUS_ENTRY_READ, &name, &menu))
            g_hash_table_replace(link->menus, name, menu);
    }
    g_variant_iter_free(menus);
}

static void take_badges(TsfLink* link, guint64 call, GVariant* arguments) {
    guint64 sequence = 0;
    GVariant* list = NULL;
    TsfAnswer answers[TSF_MAXIMUM_BATCH];
    g_variant_get(arguments, FINDER_SYNC_BADGES_FOR_ITEMS_OUT_READ, &sequence, &list);
    const gsize count = g_variant_n_children(list);
    for (gsize i = 0; i < MIN(count, TSF_MAXIMUM_BATCH); ++i) {
        gboolean is_in_sync = FALSE;
        gboolean is_root = FALSE;
        g_variant_get_child(list, i, FINDER_SYNC_ANSWER_READ, &answers[i].badge, &is_in_sync, &is_root);
        answers[i].is_in_sync = is_in_sync;
        answers[i].is_root = is_root;
    }
    tsf_core_badges(link->core, now_ms(), call, sequence, answers, count);
    g_variant_unref(list);
}

/* Whether no answer will come, rather than one that makes no sense. */
static gboolean is_lost(const GError* error) {
    char* name = g_dbus_error_get_remote_error(error);
    const gboolean is_not_ready = g_strcmp0(name, FINDER_SYNC_ERROR_NOT_READY) == 0;
    g_free(name);
    return is_not_ready || g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NO_REPLY) ||
           g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER) ||
           g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN) ||
           g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CLOSED);
}

static void on_answer(GObject* source, GAsyncResult* result, gpointer data) {
    Call* call = data;
    TsfLink* link = call->link;
    const gint64 start = g_get_monotonic_time();
    GError* error = NULL;
    GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error);
    if (error != NULL) g_debug("no answer: %s", error->message);
    if (!link->is_closed) {
        if (reply == NULL && !is_lost(error))
            tsf_core_nonsense(link->core, now_ms(), call->id);
        else if (reply != NULL && call->kind == TSF_ASK_DIRECTORIES)
            take_directories(link, call->id, reply);
        else if (reply != NULL && call->kind == TSF_ASK_MENUS)
            take_menus(link, call->id, reply);
        else if (reply != NULL)
            take_badges(link, call->id, reply);
        link->served(link->user);
    }
    if (reply != NULL) g_variant_unref(reply);
    g_clear_error(&error);
    g_free(call);
    tsf_link_held_up(link, g_get_monotonic_time() - start);
    link_unref(link);
}

/* --- signals */

static gsize count_changes(GVariant* directories) {
    gsize changes = g_variant_n_children(directories);
    for (gsize i = 0; i < g_variant_n_children(directories) && changes <= TSF_MAXIMUM_CHANGES; ++i) {
        GVariant* items = NULL;
        g_variant_get_child(directories, i, FINDER_SYNC_CHANGE_READ_PACKED, NULL, &items);
        changes += g_variant_n_children(items);
        g_variant_unref(items);
    }
    return changes;
}

static void take_changes(TsfLink* link, guint64 sequence, GVariant* directories) {
    GVariantIter each_directory;
    GVariantIter* items = NULL;
    const char* uri = NULL;
    g_variant_iter_init(&each_directory, directories);
    while (g_variant_iter_next(&each_directory, FINDER_SYNC_CHANGE_READ, &uri, &items)) {
        if (g_variant_iter_n_children(items) == 0) tsf_core_directory_changed(link->core, sequence, uri);
        while (g_variant_iter_next(items, "&s", &uri))
            tsf_core_item_changed(link->core, sequence, uri);
        g_variant_iter_free(items);
    }
}

static gboolean is_signal(const char* member, GVariant* arguments, const char* name, const char* types) {
    return strcmp(member, name) == 0 && g_variant_is_of_type(arguments, G_VARIANT_TYPE(types));
}

// NOLINTNEXTLINE(readability-function-size): the library's parameters
static void on_signal(GDBusConnection* bus, const char* sender, const char* path, const char* interface,
                      const char* member, GVariant* arguments, gpointer data) {
    (void)bus, (void)sender, (void)path, (void)interface;
    TsfLink* link = data;
    const gint64 start = g_get_monotonic_time();
    const gint64 now = start / 1000;
    if (is_signal(member, arguments, FINDER_SYNC_BADGES_CHANGED, "(" FINDER_SYNC_BADGES_CHANGED_TYPES ")")) {
        guint64 sequence = 0;
        GVariant* directories = NULL;
        g_variant_get(arguments, FINDER_SYNC_BADGES_CHANGED_READ, &sequence, &directories);
        if (tsf_core_heard(link->core, now, count_changes(directories)))
            take_changes(link, sequence, directories);
        g_variant_unref(directories);
    } else if (is_signal(member, arguments, FINDER_SYNC_DIRECTORIES_CHANGED,
                         "(" FINDER_SYNC_DIRECTORIES_CHANGED_TYPES ")")) {
        GVariant* uris = g_variant_get_child_value(arguments, 1);
        if (tsf_core_heard(link->core, now, g_variant_n_children(uris))) take_directories(link, 0, arguments);
        g_variant_unref(uris);
    } else if (tsf_core_heard(link->core, now, 0) && strcmp(member, FINDER_SYNC_MENUS_CHANGED) == 0) {
        tsf_core_menus_changed(link->core);
    }
    link->served(link->user);
    tsf_link_held_up(link, g_get_monotonic_time() - start);
}

static void stop_listening(TsfLink* link) {
    if (link->subscription != 0) g_dbus_connection_signal_unsubscribe(link->bus, link->subscription);
    link->subscription = 0;
}

/* --- orders */

static void send(TsfLink* link, const char* method, GVariant* arguments, const char* reply_type,
                 const TsfOrder* order) {
    Call* call = NULL;
    if (reply_type != NULL) {
        call = g_new(Call, 1);
        *call = (Call){link, order->kind, order->call};
        ++link->references;
    }
    g_dbus_connection_call(link->bus, link->owner, FINDER_SYNC_OBJECT_PATH, FINDER_SYNC_INTERFACE, method,
                           arguments, reply_type != NULL ? G_VARIANT_TYPE(reply_type) : NULL,
                           G_DBUS_CALL_FLAGS_NO_AUTO_START, G_MAXINT, NULL, call != NULL ? on_answer : NULL,
                           call);
}

static GVariant* uris_of(const TsfOrder* order) {
    const char* uris[TSF_MAXIMUM_BATCH];
    for (gsize i = 0; i < order->count; ++i)
        uris[i] = tsf_item_uri(order->items[i]);
    GVariant* list = g_variant_new_strv(uris, (gssize)order->count);
    return g_variant_new_tuple(&list, 1);
}

void tsf_link_carry_out(TsfLink* link, const TsfOrder* order) {
    switch (order->kind) {
    case TSF_GO_ON:
    case TSF_UPDATE_MENUS:
        break;
    case TSF_LISTEN:
        link->subscription = g_dbus_connection_signal_subscribe(
            link->bus, link->owner, FINDER_SYNC_INTERFACE, NULL, FINDER_SYNC_OBJECT_PATH, NULL,
            G_DBUS_SIGNAL_FLAGS_NONE, on_signal, link, NULL);
        break;
    case TSF_STOP_LISTENING:
        stop_listening(link);
        break;
    case TSF_BEGIN_OBSERVING:
        send(link, FINDER_SYNC_BEGIN_OBSERVING,
             g_variant_new("(" FINDER_SYNC_BEGIN_OBSERVING_IN ")", order->uri), NULL, order);
        break;
    case TSF_END_OBSERVING:
        send(link, FINDER_SYNC_END_OBSERVING, g_variant_new("(" FINDER_SYNC_END_OBSERVING_IN ")", order->uri),
             NULL, order);
        break;
    case TSF_ASK_DIRECTORIES:
        send(link, FINDER_SYNC_WATCHED_DIRECTORIES, NULL, "(" FINDER_SYNC_WATCHED_DIRECTORIES_OUT ")", order);
        break;
    case TSF_ASK_MENUS:
        send(link, FINDER_SYNC_MENUS_BY_CLASS, NULL, "(" FINDER_SYNC_MENUS_BY_CLASS_OUT ")", order);
        break;
    case TSF_ASK_BADGES:
        send(link, FINDER_SYNC_BADGES_FOR_ITEMS, uris_of(order), "(" FINDER_SYNC_BADGES_FOR_ITEMS_OUT ")",
             order);
        break;
    }
}

/* --- coming and going */

static void on_name_appeared(GDBusConnection* bus, const char* name, const char* owner, gpointer data) {
    (void)bus, (void)name;
    TsfLink* link = data;
    stop_listening(link);
    g_free(link->owner);
    link->owner = g_strdup(owner);
    link->told = 0;
    tsf_core_extension_came(link->core, now_ms());
    link->served(link->user);
}

static void on_name_vanished(GDBusConnection* bus, const char* name, gpointer data) {
    (void)bus, (void)name;
    TsfLink* link = data;
    if (link->owner == NULL) return;
    stop_listening(link);
    g_clear_pointer(&link->owner, g_free);
    tsf_core_extension_left(link->core, now_ms());
    link->served(link->user);
}

static void on_bus(GObject* source, GAsyncResult* result, gpointer data) {
    (void)source;
    TsfLink* link = data;
    link->bus = g_bus_get_finish(result, NULL);
    if (link->bus != NULL && !link->is_closed)
        link->name_watch = g_bus_watch_name_on_connection(link->bus, FINDER_SYNC_BUS_NAME,
                                                          G_BUS_NAME_WATCHER_FLAGS_AUTO_START,
                                                          on_name_appeared, on_name_vanished, link, NULL);
    link_unref(link);
}

TsfLink* tsf_link_new(TsfCore* core, void (*served)(gpointer user), gpointer user) {
    TsfLink* link = g_new0(TsfLink, 1);
    link->core = core;
    link->served = served;
    link->user = user;
    link->references = 2;
    g_bus_get(G_BUS_TYPE_SESSION, NULL, on_bus, link);
    return link;
}

void tsf_link_free(TsfLink* link) {
    link->is_closed = TRUE;
    if (link->name_watch != 0) g_bus_unwatch_name(link->name_watch);
    stop_listening(link);
    g_clear_pointer(&link->owner, g_free);
    g_clear_pointer(&link->menus, g_hash_table_unref);
    link_unref(link);
}

/* --- for the owner */

void tsf_link_held_up(TsfLink* link, gint64 duration) {
    link->longest = MAX(link->longest, duration);
    if (link->owner == NULL || link->is_closed || link->longest < MAX(FINDER_SYNC_LONG_TURN, 2 * link->told))
        return;
    link->told = link->longest;
    send(link, FINDER_SYNC_TELL_LONGEST,
         g_variant_new("(" FINDER_SYNC_TELL_LONGEST_IN ")", (guint64)link->longest), NULL, NULL);
}

GVariant* tsf_link_menu(const TsfLink* link, const char* selection_class) {
    return tsf_core_has_menus(link->core) ? g_hash_table_lookup(link->menus, selection_class) : NULL;
}

void tsf_link_activate(TsfLink* link, const char* item, GVariant* uris) {
    const gboolean is_there = tsf_core_state(link->core) == TSF_THERE;
    tsf_send_choice(is_there ? link->bus : NULL, link->owner, item, uris);
}

void tsf_link_describe(TsfLink* link, const char* uri, TsfDescribed described, gpointer user) {
    const gboolean is_there = tsf_core_state(link->core) == TSF_THERE;
    tsf_ask_description(is_there ? link->bus : NULL, link->owner, uri, described, user);
}
