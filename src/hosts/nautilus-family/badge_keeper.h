/* The badges of the files that the file manager shows.
 *
 * The file manager's question about a file is answered at once from what is known; what is not known yet is
 * asked for in batches, and the file manager is told to ask again when the answer has come, a few files in
 * each idle turn. The folders of the files that exist are the ones that the extension is told about. When the
 * extension leaves, its last badges stay for badge_lifetime and then go.
 *
 * Main thread only. */
#ifndef TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_BADGE_KEEPER_H
#define TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_BADGE_KEEPER_H

#include "hosts/nautilus-family/extension_link.h"

G_BEGIN_DECLS

typedef struct TsfBadgeKeeper TsfBadgeKeeper;

typedef struct {
    /* The URI of a file, or NULL when it is not a local one. To be freed by the caller. */
    char* (*uri_of)(GObject* file);
    /* (file, user): the file manager is to ask for the file's emblem anew. */
    GFunc invalidate;
    /* The menus that were built may be out of date. */
    void (*menus_changed)(gpointer user);
} TsfKeeperEvents;

TsfBadgeKeeper* tsf_badge_keeper_new(const TsfKeeperEvents* events, gpointer user);
void tsf_badge_keeper_free(TsfBadgeKeeper* keeper);

/* The name of the emblem that a file has now, NULL for none, and the cause of asking for it. */
const char* tsf_badge_keeper_emblem(TsfBadgeKeeper* keeper, GObject* file, const char* uri);

/* The class of a selection of file objects, by what is known of them: nothing is asked, only a file that was
 * never seen is asked for, for the next time. NULL: something is not known yet; menus_changed comes when it
 * is. is_directory: of the first one. */
const char* tsf_badge_keeper_selection_class(TsfBadgeKeeper* keeper, GList* files, gboolean first_exists,
                                             gboolean is_directory);
/* The link, for the menus and for an activation. Borrowed. */
TsfLink* tsf_badge_keeper_link(TsfBadgeKeeper* keeper);

G_END_DECLS

#endif
