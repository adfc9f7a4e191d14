/* What the extension says about an item, in the person's language.
 *
 * Main thread only. */
#ifndef TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_DESCRIPTION_H
#define TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_DESCRIPTION_H

#include <gio/gio.h>

G_BEGIN_DECLS

/* Labels and texts by turns, NULL at the end; borrowed. An extension that does not answer has one label, "".
 */
typedef void (*TsfDescribed)(const char* const* rows, gpointer user);

/* Returns at once; `described` is called once, later. extension: its unique name on the bus. bus: NULL while
 * the extension is not there. */
void tsf_ask_description(GDBusConnection* bus, const char* extension, const char* uri, TsfDescribed described,
                         gpointer user);

G_END_DECLS

#endif
