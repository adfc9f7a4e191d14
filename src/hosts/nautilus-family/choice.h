/* The choice of a menu item on its way to the extension, with the display of this file manager and the right
 * to come to its front.
 *
 * What the extension makes of it is the extension's to tell; a choice that does not get there is told to the
 * person by a notification of the file manager. Returns at once. Main thread only. */
#ifndef TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_CHOICE_H
#define TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_CHOICE_H

#include <gio/gio.h>

G_BEGIN_DECLS

/* extension: its unique name on the bus. bus: NULL while the extension is not there. uris: as, floating. */
void tsf_send_choice(GDBusConnection* bus, const char* extension, const char* item, GVariant* uris);

G_END_DECLS

#endif
