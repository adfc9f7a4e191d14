/* Nemo. */
#ifndef TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_SHIM_NEMO_H
#define TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_SHIM_NEMO_H

#include <libnemo-extension/nemo-extension-types.h>
#include <libnemo-extension/nemo-file-info.h>
#include <libnemo-extension/nemo-info-provider.h>
#include <libnemo-extension/nemo-menu-provider.h>
#include <libnemo-extension/nemo-menu.h>

#define FM(name) nemo_##name
#define FM_T(name) Nemo##name
#define FM_C(name) NEMO_##name
#define FM_INTERFACE(name) Nemo##name##Interface
/* The window that a menu function is given, followed by the rest of its parameters. */
#define FM_WINDOW G_GNUC_UNUSED GtkWidget *window,

#endif
