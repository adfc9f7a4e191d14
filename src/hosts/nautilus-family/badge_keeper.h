/* The host core (hosts/core) in a GLib main loop: file objects of the file manager in, emblems out.
 *
 * The file manager's question about a file is answered at once from what is known; when the answer changes
 * later, the file manager is told to ask again, a few files in each idle turn. File objects are borrowed: an
 * item lives as long as an object stands for it, and several may stand for one.
 *
 * Main thread only. */
#ifndef TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_BADGE_KEEPER_H
#define TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_BADGE_KEEPER_H

#include "hosts/core/core.h"
#include "hosts/nautilus-family/description.h"

#include <gio/gio.h>

G_BEGIN_DECLS

typedef struct TsfBadgeKeeper TsfBadgeKeeper;

typedef struct {
    /* The URI of a file, or NULL when it is not a local one. To be freed by the caller. */
    char* (*uri_of)(GObject* file);
    /* (file, user): the file manager is to ask for the file's emblem again. It must not end a file object. */
    GFunc invalidate;
    /* The menus that were built may be out of date. NULL: the file manager cannot be told so. */
    void (*menus_changed)(gpointer user);
} TsfKeeperEvents;

TsfBadgeKeeper* tsf_badge_keeper_new(const TsfKeeperEvents* events, gpointer user);
/* No event comes after this. */
void tsf_badge_keeper_free(TsfBadgeKeeper* keeper);

/* The name of the emblem that a file has now, NULL for none, and the cause of asking for it. */
const char* tsf_badge_keeper_emblem(TsfBadgeKeeper* keeper, GObject* file, const char* uri);

/* The class of a selection of file objects, by what is known of them: only a file that was never seen is
 * asked for, for the next time. FALSE: something is not known yet; menus_changed comes when it is.
 * is_directory: of the first one. */
gboolean tsf_badge_keeper_selection_class(TsfBadgeKeeper* keeper, GList* files, gboolean first_exists,
                                          gboolean is_directory, TSyncSelectionClass* found);
/* Whether the extension is there and answers. */
gboolean tsf_badge_keeper_is_there(const TsfBadgeKeeper* keeper);
/* The menu of a class of selections, av; NULL: there is none. Borrowed. */
GVariant* tsf_badge_keeper_menu(const TsfBadgeKeeper* keeper, TSyncSelectionClass selection_class);
/* The file manager was held up since then, by g_get_monotonic_time(). */
void tsf_badge_keeper_held_up(TsfBadgeKeeper* keeper, gint64 since);
/* Sends the choice of an item. What becomes of it is told to the person when it fails. uris: as, floating. */
void tsf_badge_keeper_activate(TsfBadgeKeeper* keeper, const char* item, GVariant* uris);
/* Asks the extension about an item, and returns at once. `described` is called once, later, also after the
 * keeper has gone. */
void tsf_badge_keeper_describe(TsfBadgeKeeper* keeper, const char* uri, TsfDescribed described,
                               gpointer user);

G_END_DECLS

#endif
