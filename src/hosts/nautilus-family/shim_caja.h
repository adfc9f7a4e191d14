/* Caja: its interfaces end in Iface. */
#ifndef TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_SHIM_CAJA_H
#define TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_SHIM_CAJA_H

#include <libcaja-extension/caja-extension-types.h>
#include <libcaja-extension/caja-file-info.h>
#include <libcaja-extension/caja-info-provider.h>
#include <libcaja-extension/caja-menu-provider.h>
#include <libcaja-extension/caja-menu.h>

#define FM(name) caja_##name
#define FM_T(name) Caja##name
#define FM_C(name) CAJA_##name
#define FM_INTERFACE(name) Caja##name##Iface
/* The window that a menu function is given, followed by the rest of its parameters. */
#define FM_WINDOW G_GNUC_UNUSED GtkWidget *window,
/* It asks for buttons of its toolbar too. */
#define FM_HAS_TOOLBAR

#endif
