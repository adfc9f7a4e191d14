/* Nautilus 43 and later: the menu functions take no window. */
#ifndef TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_SHIM_NAUTILUS_H
#define TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_SHIM_NAUTILUS_H

#include <nautilus-extension.h>

#define FM(name) nautilus_##name
#define FM_T(name) Nautilus##name
#define FM_C(name) NAUTILUS_##name
#define FM_INTERFACE(name) Nautilus##name##Interface
/* The window that a menu function is given, followed by the rest of its parameters. */
#define FM_WINDOW

#endif
