#include "snapshot/DSNode.h"
#include "snapshot/lookup.h"
#include "snapshot/tree_builder.h"

#include <gtest/gtest.h>

TEST(Tree, Smoke) {
    DSNode* root = DSNodeCreate("/", 0, 0, 0, DSNodeTypeDirectory);
    snapshot::TreeBuilder builder(root);
    for (int i = 0; i < 100000; i++) {
        std::string path = "/d/" + std::to_string(i * 7919 % 100000);
        DSNode* n = builder.findOrCreate(path, 2);
        ASSERT_NE(n, nullptr);
        ASSERT_EQ(n, DSNodeFindWithFullPath(path.c_str(), root));
    }
    DSNode* copy = DSNodeCopy(root);
    DSNode* d = DSNodeFindWithFullPath("/d/", copy);
    ASSERT_EQ(d->children->count, 100000u);
    while (d->children->count > 10)
        DSNodeDestroy(static_cast<DSNode*>(d->children->items[d->children->count / 3]->value));
    DSNodeDestroy(copy);
    DSNodeDestroy(root);
}
