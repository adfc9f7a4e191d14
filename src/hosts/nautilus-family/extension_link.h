/* The plugin's end of the session bus: whether the extension is there and answers, and what it says.
 *
 * Nothing here waits. An extension that misses three answers in a row, or answers what makes no sense, is not
 * asked again until it is back: a stopped one is back when it answers the one question left with it, any
 * other when its bus name gets a new owner. It is started once, by the bus, when the plugin is loaded.
 *
 * Events come from the main loop, never from within a call of this interface. Main thread only. */
#ifndef TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_EXTENSION_LINK_H
#define TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_EXTENSION_LINK_H

#include <gio/gio.h>

G_BEGIN_DECLS

typedef struct TsfLink TsfLink;

typedef struct {
    /* The extension is there, its tables are known, and nothing that it said before counts any more. */
    void (*appeared)(gpointer user);
    /* It has left the bus, or is_silent: it does not answer. */
    void (*left)(gboolean is_silent, gpointer user);
    /* The answer to one batch, a(sbb); NULL: none came. */
    void (*answered)(gpointer batch, guint64 sequence, GVariant* answers, gpointer user);
    /* directories: a(sas) as in the signal; NULL: any item of any folder may have another badge. */
    void (*badges_changed)(guint64 sequence, GVariant* directories, gpointer user);
    void (*directories_changed)(gpointer user);
    void (*menus_changed)(gpointer user);
} TsfLinkEvents;

/* The events' table must outlive the link. */
TsfLink* tsf_link_new(const TsfLinkEvents* events, gpointer user);
/* No event comes after this, and batches that are under way are not answered. */
void tsf_link_free(TsfLink* link);

/* Whether it is there, from the event of its coming to that of its leaving. */
gboolean tsf_link_has_appeared(const TsfLink* link);
/* Whether a batch may be sent now. */
gboolean tsf_link_is_ready(const TsfLink* link);
/* While somebody looks at badges, an extension that has stopped must be noticed: it is then asked now and
 * again when nothing else is. */
void tsf_link_set_attentive(TsfLink* link, gboolean is_attentive);
/* Whether the extension watches a directory, or one above it. False while it is not there. */
gboolean tsf_link_is_watched(const TsfLink* link, const char* uri);

/* uris: as, floating. Answered once by the event, unless the link is freed. Only while ready. */
void tsf_link_ask_badges(TsfLink* link, GVariant* uris, gpointer batch);
void tsf_link_observe(TsfLink* link, const char* uri, gboolean begins);
/* The menu of a class of selections, av; NULL: there is none. Borrowed. */
GVariant* tsf_link_menu(const TsfLink* link, const char* selection_class);
/* Sends the choice of an item. What becomes of it is told to the person when it fails. uris: as, floating. */
void tsf_link_activate(TsfLink* link, const char* item, GVariant* uris);

G_END_DECLS

#endif
