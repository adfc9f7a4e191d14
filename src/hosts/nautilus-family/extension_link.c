#include "hosts/nautilus-family/extension_link.h"

#include "hosts/nautilus-family/choice.h"
#include "protocol/names.h"

#include <string.h>

/* Milliseconds. A stopped extension is found out, and its badges are gone, within ten seconds of its last
 * answer: one pause and three answers that do not come. */
static const guint answer_time = 2000;
static const guint pause_before_question = 3000;
static const guint flood_pause = 1000;
static const guint maximum_misses = 3;
static const guint maximum_nonsense = 3;
static const guint maximum_signals = 50; /* in one flood_pause: several times what the extension sends */
static const gsize maximum_changes = 4096;
static const gsize maximum_directories = 4096;
static const gsize maximum_menus = 64;

struct TsfLink {
    const TsfLinkEvents* events;
    gpointer user;
    guint references; /* the owner's, and one of each call under way */
    gboolean is_closed;

    GDBusConnection* bus;
    guint name_watch;
    char* owner;      /* unique name; NULL: the extension is not there */
    guint generation; /* what belongs to an earlier one is over */
    guint subscription;

    GHashTable* directories; /* watched, as URIs; NULL: not known */
    GHashTable* menus;       /* selection class -> av; NULL: not known */
    gboolean has_appeared;   /* and the owner of the link knows */
    gboolean is_silent;
    gboolean is_attentive;
    gboolean has_missed_directories; /* the last answer did not come: what is known may be old */
    gboolean has_missed_menus;       /* likewise */
    guint misses;                    /* in a row */
    guint nonsense;                  /* answers that made no sense, since the extension came */
    guint questions;                 /* under way, other than batches */
    guint beat;                      /* timer */
    gint64 last_answer;
    guint signals; /* in the running interval */
    gint64 signal_interval_start;
    guint flood_timer;
};

typedef struct Call Call;
typedef void (*ReplyFunc)(TsfLink* link, Call* call, GVariant* reply);
struct Call {
    TsfLink* link;
    ReplyFunc handle; /* reply: NULL when none came, or when it comes from an earlier time */
    gpointer batch;
    gsize batch_size;
    guint generation;
    guint misses_before;
    gboolean is_question;
};

static void ask_for_life(TsfLink* link);
static void begin(TsfLink* link);

static void link_unref(TsfLink* link) {
    if (--link->references > 0) return;
    g_clear_object(&link->bus);
    g_free(link);
}

/* --- whether it answers */

static void unsubscribe(TsfLink* link) {
    if (link->subscription != 0) g_dbus_connection_signal_unsubscribe(link->bus, link->subscription);
    link->subscription = 0;
    if (link->flood_timer != 0) g_source_remove(link->flood_timer);
    link->flood_timer = 0;
}

static void forget(TsfLink* link) {
    ++link->generation;
    unsubscribe(link);
    if (link->beat != 0) g_source_remove(link->beat);
    link->beat = 0;
    g_clear_pointer(&link->directories, g_hash_table_unref);
    g_clear_pointer(&link->menus, g_hash_table_unref);
    link->has_missed_directories = link->has_missed_menus = FALSE;
    link->misses = link->questions = 0;
    link->is_silent = FALSE;
}

static void leave(TsfLink* link, gboolean is_silent) {
    forget(link);
    link->is_silent = is_silent;
    link->has_appeared = FALSE;
    link->events->left(is_silent, link->user);
}

static gboolean on_beat(gpointer data) {
    TsfLink* link = data;
    const gint64 quiet = (g_get_monotonic_time() - link->last_answer) / 1000;
    link->beat = 0;
    if (!link->is_attentive) return G_SOURCE_REMOVE;
    if (quiet >= pause_before_question)
        ask_for_life(link);
    else
        link->beat = g_timeout_add(pause_before_question - (guint)quiet, on_beat, link);
    return G_SOURCE_REMOVE;
}

static void answer_came(TsfLink* link) {
    link->misses = 0;
    link->last_answer = g_get_monotonic_time();
    if (link->beat == 0 && link->is_attentive)
        link->beat = g_timeout_add(pause_before_question, on_beat, link);
}

static void handle_sign_of_life(TsfLink* link, Call* call, GVariant* reply) {
    (void)call;
    if (reply != NULL) begin(link);
}

static void send_call(TsfLink* link, const char* method, GVariant* arguments, const char* reply_type,
                      ReplyFunc handle, gpointer batch, gint timeout);

static void answer_missed(TsfLink* link, const Call* call, gboolean is_late) {
    /* Calls that waited side by side miss one answer together. */
    if (is_late && call->misses_before == link->misses) ++link->misses;
    if (!is_late) ++link->nonsense;
    if (link->misses >= maximum_misses || link->nonsense >= maximum_nonsense) {
        leave(link, TRUE);
        /* This one waits as long as it takes. An extension that talks nonsense is not asked even that. */
        if (link->nonsense < maximum_nonsense)
            send_call(link, "BadgesForItems", g_variant_new("(@as)", g_variant_new_strv(NULL, 0)),
                      "(ta(sbb))", handle_sign_of_life, NULL, G_MAXINT);
    } else if (link->questions == 0) {
        ask_for_life(link);
    }
}

/* --- calls */

static void call_done(GObject* source, GAsyncResult* result, gpointer data) {
    Call* call = data;
    TsfLink* link = call->link;
    GError* error = NULL;
    GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error);
    const gboolean is_current = call->generation == link->generation && !link->is_closed;
    if (is_current) {
        if (call->is_question) --link->questions;
        if (reply != NULL) answer_came(link);
    }
    if (!link->is_closed) call->handle(link, call, is_current ? reply : NULL);
    /* An extension that has left is told by the watch of its name. */
    if (is_current && reply == NULL && !g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NO_REPLY) &&
        !g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER) &&
        !g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN) &&
        !g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CLOSED)) {
        g_debug("no answer: %s", error->message);
        answer_missed(link, call, g_error_matches(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT));
    }
    if (reply != NULL) g_variant_unref(reply);
    g_clear_error(&error);
    g_free(call);
    link_unref(link);
}

static void send_call(TsfLink* link, const char* method, GVariant* arguments, const char* reply_type,
                      ReplyFunc handle, gpointer batch, gint timeout) {
    Call* call = g_new0(Call, 1);
    *call = (Call){link, handle, batch, 0, link->generation, link->misses, batch == NULL};
    if (batch != NULL) {
        GVariant* uris = g_variant_get_child_value(arguments, 0);
        call->batch_size = g_variant_n_children(uris);
        g_variant_unref(uris);
    }
    ++link->references;
    if (call->is_question) ++link->questions;
    g_dbus_connection_call(link->bus, link->owner, FINDER_SYNC_OBJECT_PATH, FINDER_SYNC_INTERFACE, method,
                           arguments, G_VARIANT_TYPE(reply_type), G_DBUS_CALL_FLAGS_NO_AUTO_START, timeout,
                           NULL, call_done, call);
}

static void take_directories(TsfLink* link, GVariant* arguments) {
    gboolean is_set = FALSE;
    GVariantIter* uris = NULL;
    char* uri = NULL;
    g_clear_pointer(&link->directories, g_hash_table_unref);
    link->directories = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, NULL);
    g_variant_get(arguments, "(bas)", &is_set, &uris);
    while (g_variant_iter_next(uris, "s", &uri)) {
        gsize length = strlen(uri);
        while (length > strlen("file:///") && uri[length - 1] == '/')
            uri[--length] = '\0';
        g_hash_table_add(link->directories, uri);
    }
    g_variant_iter_free(uris);
}

/* Whether the last value of an answer is a list that one may go through at once. */
static gboolean is_short(GVariant* arguments, gsize maximum) {
    GVariant* list = g_variant_get_child_value(arguments, g_variant_n_children(arguments) - 1);
    const gboolean fits = g_variant_n_children(list) <= maximum;
    g_variant_unref(list);
    return fits;
}

static void handle_directories(TsfLink* link, Call* call, GVariant* reply) {
    const gboolean was_missed = link->has_missed_directories;
    if (call->generation == link->generation) link->has_missed_directories = reply == NULL;
    if (reply == NULL) return;
    if (!is_short(reply, maximum_directories)) {
        answer_missed(link, call, FALSE);
        return;
    }
    take_directories(link, reply);
    if (!link->has_appeared) {
        link->has_appeared = TRUE;
        link->events->appeared(link->user);
    } else {
        link->events->directories_changed(link->user);
    }
    if (was_missed) ask_for_life(link); /* for what else was missed */
}

static void handle_menus(TsfLink* link, Call* call, GVariant* reply) {
    const gboolean was_missed = link->has_missed_menus;
    if (call->generation == link->generation) link->has_missed_menus = reply == NULL;
    if (reply == NULL) return;
    if (!is_short(reply, maximum_menus)) {
        answer_missed(link, call, FALSE);
        return;
    }
    g_clear_pointer(&link->menus, g_hash_table_unref);
    link->menus = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, (GDestroyNotify)g_variant_unref);
    GVariantIter* menus = NULL;
    char* name = NULL;
    GVariant* menu = NULL;
    g_variant_get(reply, "(a{sav})", &menus);
    while (g_variant_iter_next(menus, "{s@av}", &name, &menu))
        g_hash_table_replace(link->menus, name, menu);
    g_variant_iter_free(menus);
    link->events->menus_changed(link->user);
    if (was_missed) ask_for_life(link);
}

static void handle_life(TsfLink* link, Call* call, GVariant* reply) {
    if (reply == NULL || !link->has_appeared) return;
    if (!is_short(reply, 0)) {
        answer_missed(link, call, FALSE);
        return;
    }
    /* What missed its answer meanwhile may be asked again. */
    guint64 sequence = 0;
    GVariant* answers = NULL;
    g_variant_get(reply, "(t@a(sbb))", &sequence, &answers);
    link->events->answered(NULL, sequence, answers, link->user);
    g_variant_unref(answers);
}

static void ask_directories(TsfLink* link) {
    send_call(link, "WatchedDirectories", NULL, "(bas)", handle_directories, NULL, (gint)answer_time);
}

static void ask_menus(TsfLink* link) {
    send_call(link, "MenusByClass", NULL, "(a{sav})", handle_menus, NULL, (gint)answer_time);
}

/* A question that goes the same way as a batch; or for what is missing yet. */
static void ask_for_life(TsfLink* link) {
    if (link->directories == NULL || link->has_missed_directories)
        ask_directories(link);
    else if (link->menus == NULL || link->has_missed_menus)
        ask_menus(link);
    else
        send_call(link, "BadgesForItems", g_variant_new("(@as)", g_variant_new_strv(NULL, 0)), "(ta(sbb))",
                  handle_life, NULL, (gint)answer_time);
}

static void handle_batch(TsfLink* link, Call* call, GVariant* reply) {
    guint64 sequence = 0;
    GVariant* answers = NULL;
    if (reply != NULL) g_variant_get(reply, "(t@a(sbb))", &sequence, &answers);
    const gboolean makes_sense = answers == NULL || g_variant_n_children(answers) == call->batch_size;
    link->events->answered(call->batch, sequence, makes_sense ? answers : NULL, link->user);
    if (answers != NULL) g_variant_unref(answers);
    if (!makes_sense) answer_missed(link, call, FALSE);
}

/* --- signals */

static void subscribe(TsfLink* link);

static gboolean on_flood_over(gpointer data) {
    TsfLink* link = data;
    link->flood_timer = 0;
    subscribe(link);
    ask_directories(link);
    ask_menus(link);
    link->events->badges_changed(0, NULL, link->user);
    return G_SOURCE_REMOVE;
}

/* An extension that floods, by many signals or by a huge one, is not listened to for a while; then everything
 * may have changed. */
static gboolean is_flood(TsfLink* link, gboolean is_huge) {
    const gint64 now = g_get_monotonic_time();
    if (now - link->signal_interval_start > (gint64)flood_pause * 1000) {
        link->signal_interval_start = now;
        link->signals = 0;
    }
    if (++link->signals <= maximum_signals && !is_huge) return FALSE;
    if (link->flood_timer == 0) {
        g_debug("the extension sends too many signals");
        unsubscribe(link);
        link->flood_timer = g_timeout_add(flood_pause, on_flood_over, link);
    }
    return TRUE;
}

static gsize count_changes(GVariant* arguments) {
    GVariant* directories = g_variant_get_child_value(arguments, 1);
    gsize changes = g_variant_n_children(directories);
    for (gsize i = 0; i < g_variant_n_children(directories) && changes <= maximum_changes; ++i) {
        GVariant* items = NULL;
        g_variant_get_child(directories, i, "(&s@as)", NULL, &items);
        changes += g_variant_n_children(items);
        g_variant_unref(items);
    }
    g_variant_unref(directories);
    return changes;
}

static void on_signal(GDBusConnection* bus, const char* sender, const char* path, const char* interface,
                      const char* member, GVariant* arguments, gpointer data) {
    (void)bus, (void)sender, (void)path, (void)interface;
    TsfLink* link = data;
    const gboolean is_badges =
        strcmp(member, "BadgesChanged") == 0 && g_variant_is_of_type(arguments, G_VARIANT_TYPE("(ta(sas))"));
    const gboolean is_directories =
        strcmp(member, "DirectoriesChanged") == 0 && g_variant_is_of_type(arguments, G_VARIANT_TYPE("(bas)"));
    const gboolean is_huge = (is_badges && count_changes(arguments) > maximum_changes) ||
                             (is_directories && !is_short(arguments, maximum_directories));
    if (is_flood(link, is_huge) || !link->has_appeared) return;
    if (is_badges) {
        guint64 sequence = 0;
        GVariant* directories = NULL;
        g_variant_get(arguments, "(t@a(sas))", &sequence, &directories);
        link->events->badges_changed(sequence, directories, link->user);
        g_variant_unref(directories);
    } else if (is_directories) {
        take_directories(link, arguments);
        link->events->directories_changed(link->user);
    } else if (strcmp(member, "MenusChanged") == 0) {
        ask_menus(link);
    }
}

static void subscribe(TsfLink* link) {
    link->subscription = g_dbus_connection_signal_subscribe(link->bus, link->owner, FINDER_SYNC_INTERFACE,
                                                            NULL, FINDER_SYNC_OBJECT_PATH, NULL,
                                                            G_DBUS_SIGNAL_FLAGS_NONE, on_signal, link, NULL);
}

/* --- coming and going */

static void begin(TsfLink* link) {
    forget(link);
    link->has_appeared = FALSE;
    subscribe(link);
    ask_directories(link);
    ask_menus(link);
}

static void on_name_appeared(GDBusConnection* bus, const char* name, const char* owner, gpointer data) {
    (void)bus, (void)name;
    TsfLink* link = data;
    g_free(link->owner);
    link->owner = g_strdup(owner);
    link->nonsense = 0;
    begin(link);
}

static void on_name_vanished(GDBusConnection* bus, const char* name, gpointer data) {
    (void)bus, (void)name;
    TsfLink* link = data;
    if (link->owner == NULL) return;
    const gboolean was_silent = link->is_silent;
    g_clear_pointer(&link->owner, g_free);
    if (was_silent)
        forget(link);
    else
        leave(link, FALSE);
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

TsfLink* tsf_link_new(const TsfLinkEvents* events, gpointer user) {
    TsfLink* link = g_new0(TsfLink, 1);
    link->events = events;
    link->user = user;
    link->references = 2;
    g_bus_get(G_BUS_TYPE_SESSION, NULL, on_bus, link);
    return link;
}

void tsf_link_free(TsfLink* link) {
    link->is_closed = TRUE;
    if (link->name_watch != 0) g_bus_unwatch_name(link->name_watch);
    forget(link);
    g_clear_pointer(&link->owner, g_free);
    link_unref(link);
}

/* --- for the owner */

gboolean tsf_link_has_appeared(const TsfLink* link) { return link->has_appeared; }

gboolean tsf_link_is_ready(const TsfLink* link) { return link->has_appeared && link->misses == 0; }

void tsf_link_set_attentive(TsfLink* link, gboolean is_attentive) {
    link->is_attentive = is_attentive;
    if (is_attentive && link->has_appeared && link->beat == 0)
        link->beat = g_timeout_add(pause_before_question, on_beat, link);
}

gboolean tsf_link_is_watched(const TsfLink* link, const char* uri) {
    if (link->directories == NULL || g_hash_table_size(link->directories) == 0) return FALSE;
    char* directory = g_strdup(uri);
    const gsize shortest = strlen("file:///");
    gboolean is_watched = g_hash_table_contains(link->directories, directory);
    while (!is_watched && strlen(directory) > shortest) {
        char* slash = strrchr(directory, '/');
        if (slash == NULL) break;
        slash[(gsize)(slash - directory) < shortest ? 1 : 0] = '\0';
        is_watched = g_hash_table_contains(link->directories, directory);
    }
    g_free(directory);
    return is_watched;
}

void tsf_link_ask_badges(TsfLink* link, GVariant* uris, gpointer batch) {
    send_call(link, "BadgesForItems", g_variant_new("(@as)", uris), "(ta(sbb))", handle_batch, batch,
              (gint)answer_time);
}

void tsf_link_observe(TsfLink* link, const char* uri, gboolean begins) {
    if (!link->has_appeared) return;
    g_dbus_connection_call(link->bus, link->owner, FINDER_SYNC_OBJECT_PATH, FINDER_SYNC_INTERFACE,
                           begins ? "BeginObserving" : "EndObserving", g_variant_new("(s)", uri), NULL,
                           G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, NULL, NULL, NULL);
}

GVariant* tsf_link_menu(const TsfLink* link, const char* selection_class) {
    return link->menus != NULL ? g_hash_table_lookup(link->menus, selection_class) : NULL;
}

void tsf_link_activate(TsfLink* link, const char* item, GVariant* uris) {
    tsf_send_choice(link->has_appeared ? link->bus : NULL, link->owner, item, uris);
}
