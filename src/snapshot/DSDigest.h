/* SHA-1 digests (FIPS 180-4) of nodes, built from metadata alone, and of a file's content.
 *
 * The digest of a file, symbolic link or item of another kind covers `modifiedTime` and `size` (each a signed
 * 64-bit little-endian integer) and the bytes of the name. The digest of a directory covers the digests of
 * its children in the order of their names, their number (64-bit little-endian), and the directory's path in
 * its tree ("/" for the root). A path of more than 1,023 bytes is left out of the digest, and one line on
 * standard error says so.
 *
 * The order of names compares bytes as signed numbers, so that bytes from 0x80 stand before all ASCII ones.
 */
#pragma once

#include "snapshot/DSNode.h"

#include <stdint.h>

DS_BEGIN_DECLS

/* Computes the digest of a node and of everything below it, whatever is there already, and returns the node's
 * own, which stays the node's. The children of each directory are put in the order of their names for good.
 * Any depth. */
DS_API uint8_t* DSNodeComputeHashes(DSNode* node) DS_NOTHROW;

/* The first node below `node` with this digest (DSNodeHashLength bytes), or NULL: its children in list order,
 * and, when `recursive` is 1, below each child directory that does not match before its next sibling. A child
 * that has no digest yet gets one. */
DS_API DSNode* DSNodeFindNodeWithHash(DSNode* node, const uint8_t* digest, int32_t recursive) DS_NOTHROW;

/* Writes the SHA-1 of a file's content as 40 lowercase hexadecimal digits and a terminator into `output` (41
 * bytes) and returns 0. When the file cannot be opened or read, `output` is untouched and the result is
 * -0x76. Files of any size; memory use is constant. */
DS_API int SHA1ForFileAtPath(const char* path, char* output) DS_NOTHROW;

DS_END_DECLS
