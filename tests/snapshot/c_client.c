/* The public headers, as a C program uses them with the shared library. */
#include "snapshot/DSCompare.h"
#include "snapshot/DSDatabase.h"
#include "snapshot/DSDifferences.h"
#include "snapshot/DSDigest.h"
#include "snapshot/DSExclusion.h"
#include "snapshot/DSFlatFile.h"
#include "snapshot/DSSnapshot.h"

int main(void) {
    DSNode* root = DSNodeCreate("/", 0, 0, 0, DSNodeTypeDirectory);
    DSNode* child = DSNodeCreateWithParent(root, "Caches", 0, 1, 2, DSNodeTypeDirectory);
    int works = root->children->head->value == child && DSNodeComputeHashes(root) == root->hash &&
                checkForExclusion(child->name, "", "") == 1;
    DSNodeDestroy(root);
    return works ? 0 : 1;
}
