/* The public headers, as a C program uses them with the shared library. */
#include "snapshot/DSCompare.h"
#include "snapshot/DSDatabase.h"
#include "snapshot/DSDigest.h"
#include "snapshot/DSExclusion.h"
#include "snapshot/DSFlatFile.h"
#include "snapshot/DSSnapshot.h"

#include <stdlib.h>
#include <string.h>

int main(void) {
    DSNode* before = DSNodeCreate("/", 0, 0, 0, DSNodeTypeDirectory);
    DSNode* now = DSNodeCopy(before);
    DSNodeCreateWithParent(now, "Caches", 0, 1, 2, DSNodeTypeDirectory);
    char** added = NULL;
    uint64_t count = 0;
    DSNodeCompareSnapshots(now, before, &added, &count, NULL, NULL, NULL, NULL);
    int works = count == 1 && strcmp(added[0], "/Caches") == 0 && DSNodeComputeHashes(now) == now->hash &&
                DSNodeFindWithFullPath(added[0], now) == now->children->head->value &&
                checkForExclusion(added[0] + 1, "", "") == 1;
    free(added[0]);
    free(added);
    DSNodeDestroy(before);
    DSNodeDestroy(now);
    return works ? 0 : 1;
}
