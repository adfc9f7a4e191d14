/* The structures of names.h as format strings of GLib's GVariant functions: "&" before a type borrows the
 * text instead of copying it, "@" takes that part as it is instead of unpacking it. Without those signs each
 * is the signature in names.h, which a test checks. Source: GLib, "GVariant Format Strings". */
#ifndef TSYNCFINDER_PROTOCOL_GLIB_FORMATS_H
#define TSYNCFINDER_PROTOCOL_GLIB_FORMATS_H

#include "protocol/names.h"

#define FINDER_SYNC_BADGES_FOR_ITEMS_OUT_READ "(t@a(" FINDER_SYNC_ANSWER_FIELDS "))"
#define FINDER_SYNC_ANSWER_READ "(&sbb)"
#define FINDER_SYNC_MENUS_ENTRY_READ "{s@av}"
#define FINDER_SYNC_MENU_ITEM_READ "(&s&s&s&sbb@av)"
#define FINDER_SYNC_BADGES_CHANGED_READ "(t@a(" FINDER_SYNC_CHANGE_FIELDS "))"
#define FINDER_SYNC_CHANGE_READ "(&sas)"
#define FINDER_SYNC_CHANGE_READ_PACKED "(&s@as)"
#define FINDER_SYNC_DESCRIPTION_READ "(&s&s^a&s)"
#define FINDER_SYNC_ACTIVATE_IN_WRITE                                                                        \
    "(s@as" FINDER_SYNC_ACTIVATE_ENVIRONMENT "s@" FINDER_SYNC_ACTIVATE_OPTIONS ")"

#endif
