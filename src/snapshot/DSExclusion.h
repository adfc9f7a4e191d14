/* Which items are never reported as changes.
 *
 * A pure function of its arguments; may be called from any thread. */
#pragma once

#include "snapshot/export.h"

DS_BEGIN_DECLS

/* 1 when an item is excluded by its name and the names of the directories above it, else 0. The names are
 * compared as exact byte strings. A missing parent or grandparent is the empty string, never NULL; a NULL
 * name is excluded. Allocates nothing. */
DS_API int checkForExclusion(const char* name, const char* parentName,
                             const char* grandparentName) DS_NOTHROW;

DS_END_DECLS
