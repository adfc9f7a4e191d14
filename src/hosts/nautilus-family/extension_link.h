/* The host core's end of the session bus, in GLib: orders become calls, and what comes back becomes the
 * core's events. The extension is started once, by the bus, when the plugin is loaded.
 *
 * Nothing here waits, and nothing is decided: what an answer means is the core's. Main thread only. */
#ifndef TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_EXTENSION_LINK_H
#define TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_EXTENSION_LINK_H

#include "hosts/core/core.h"
#include "hosts/nautilus-family/description.h"

#include <gio/gio.h>

G_BEGIN_DECLS

typedef struct TsfLink TsfLink;

/* served: the core has taken an event, and may have orders. Called from the main loop only. */
TsfLink* tsf_link_new(TsfCore* core, void (*served)(gpointer user), gpointer user);
/* The core hears of nothing after this. */
void tsf_link_free(TsfLink* link);

/* The file manager was held up for so long, in microseconds. The longest time is told to the extension. */
void tsf_link_held_up(TsfLink* link, gint64 duration);

/* Any order that goes to the extension. */
void tsf_link_carry_out(TsfLink* link, const TsfOrder* order);
/* The menu of a class of selections, av; NULL: there is none. Borrowed. */
GVariant* tsf_link_menu(const TsfLink* link, const char* selection_class);
/* Sends the choice of an item. What becomes of it is told to the person when it fails. uris: as, floating. */
void tsf_link_activate(TsfLink* link, const char* item, GVariant* uris);
/* Asks about an item; see description.h. */
void tsf_link_describe(TsfLink* link, const char* uri, TsfDescribed described, gpointer user);

G_END_DECLS

#endif
