#include "snapshot/DSCompare.h"
#include "snapshot/DSDigest.h"
#include "snapshot/lookup.h"
#include "snapshot/tree_builder.h"
#include "tests/snapshot/support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>

using namespace snapshot;

namespace {

TEST(Tree, KeepsFieldsAndPaths) {
    Tree root = makeRoot();
    DSNode* directory = DSNodeCreateWithParent(root.get(), "a", 7, 1, 2, DSNodeTypeDirectory);
    DSNode* file = DSNodeCreate("b.txt", 10, 3, 4, DSNodeTypeFile);
    DSNodeAppendChild(file, directory);
    EXPECT_EQ(file->size, 10);
    EXPECT_EQ(file->modifiedTime, 3);
    EXPECT_EQ(file->startedTime, 4);
    EXPECT_EQ(file->type, DSNodeTypeFile);
    EXPECT_EQ(file->parent, directory);
    EXPECT_EQ(file->hash, nullptr);
    EXPECT_EQ(file->children->count, 0U);
    EXPECT_EQ(DSNodeGetDepth(file), 2U);
    EXPECT_EQ(taken(DSNodeCreateStringWithFullPath(root.get())), "/");
    EXPECT_EQ(taken(DSNodeCreateStringWithFullPath(file)), "/a/b.txt");
    EXPECT_EQ(taken(DSNodeCreateStringWithFullPathAndBasePath(file, "/base")), "/base/a/b.txt");
    EXPECT_EQ(taken(DSNodeCreateStringWithFullPathAndBasePath(file, "/base/")), "/base/a/b.txt");
    EXPECT_EQ(taken(DSNodeCreateStringWithFullPathAndBasePath(root.get(), "/base")), "/base/");
    DSNodeCreateWithParent(root.get(), "link", 20, 0, 0, DSNodeTypeSymlink);
    DSNode* below = DSNodeCreateWithParent(directory, "c", 0, 0, 0, DSNodeTypeDirectory);
    DSNodeCreateWithParent(below, "d", 5, 0, 0, DSNodeTypeFile);
    EXPECT_EQ(DSNodeTotalSize(root.get()), 15);
}

TEST(Tree, FindsByPath) {
    Tree root = makeRoot();
    DSNode* file = _find("/x/y/z.txt", root.get(), 1, DSNodeTypeSymlink);
    EXPECT_EQ(file->type, DSNodeTypeSymlink);
    EXPECT_EQ(file->parent->type, DSNodeTypeDirectory);
    EXPECT_EQ(_find("/x/y/z.txt", root.get(), 1, DSNodeTypeFile)->type, DSNodeTypeSymlink);
    EXPECT_EQ(DSNodeFindWithFullPath("/x/y/z.txt/", root.get()), file);
    EXPECT_EQ(DSNodeFindWithFullPath("/", root.get()), root.get());
    for (const char* path : {"x/y", "", "/x/q", "//x", "/x//"})
        EXPECT_EQ(DSNodeFindWithFullPath(path, root.get()), nullptr) << path;
    EXPECT_EQ(DSNodeFindWithFullPath("/x", nullptr), nullptr);
    DSNode* unnamed = _find("//", root.get(), 1, DSNodeTypeFile);
    EXPECT_EQ(DSNodeFindWithFullPath("//", root.get()), unnamed);
    EXPECT_STREQ(unnamed->name, "");
}

// The builder gives what a lookup with creation gives, for paths in any order.
TEST(Tree, BuilderFollowsLookup) {
    Tree built = makeRoot();
    Tree looked = makeRoot();
    TreeBuilder builder(built.get());
    Random random(4);
    const char* names[] = {"a", "ab", "b", "", "a.b"};
    for (int i = 0; i < 3000; i++) {
        std::string path = "/";
        for (unsigned depth = random(5); depth > 0; depth--)
            path.append(names[random(5)]).append("/");
        if (random(2) == 0 && path.size() > 1) path.pop_back();
        if (random(8) == 0) path += std::to_string(random(40)); // large directories
        auto type = static_cast<uint8_t>(1 + random(3));
        DSNode* node = builder.findOrCreate(path, type);
        DSNode* same = path.empty() ? nullptr : _find(path.c_str(), looked.get(), 1, type);
        ASSERT_EQ(node == nullptr, same == nullptr) << path;
        if (node == nullptr) continue;
        ASSERT_EQ(node, path == "/" ? built.get() : DSNodeFindWithFullPath(path.c_str(), built.get()));
    }
    EXPECT_EQ(builder.findOrCreate("a/b", 2), nullptr);
    EXPECT_EQ(builder.findOrCreate(std::string_view("/a\0b", 4), 2), nullptr);
    EXPECT_EQ(dump(built.get()), dump(looked.get()));
}

TEST(Tree, RefusesPathsThatDoNotFit) {
    Tree root = makeRoot();
    std::string longest = "/" + std::string(1022, 'x');
    DSNode* node = _find(longest.c_str(), root.get(), 1, DSNodeTypeDirectory);
    EXPECT_EQ(taken(DSNodeCreateStringWithFullPath(node)), longest);
    DSNode* below = DSNodeCreateWithParent(node, "", 0, 0, 0, DSNodeTypeFile);
    testing::internal::CaptureStderr();
    EXPECT_EQ(taken(DSNodeCreateStringWithFullPath(below)), "(none)");
    EXPECT_EQ(taken(DSNodeCreateStringWithFullPathAndBasePath(node, "b")), "(none)");
    EXPECT_EQ(_find((longest + "/y").c_str(), root.get(), 1, DSNodeTypeFile), nullptr);
    EXPECT_EQ(TreeBuilder(root.get()).findOrCreate(longest + "/y", DSNodeTypeFile), nullptr);
    std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::ranges::count(said, '\n'), 4) << said;
}

TEST(Tree, AnyDepth) {
    constexpr uint32_t depth = 100'000;
    Tree root = makeRoot();
    DSNode* node = root.get();
    for (uint32_t i = 0; i < depth; i++)
        node = DSNodeCreateWithParent(node, "d", 0, 0, 0, DSNodeTypeDirectory);
    DSNodeCreateWithParent(node, "f", 9, 0, 0, DSNodeTypeFile);
    EXPECT_EQ(DSNodeGetDepth(node), depth);
    EXPECT_EQ(DSNodeTotalSize(root.get()), 9);
    Tree copy(DSNodeCopy(root.get()));
    EXPECT_EQ(DSNodeTotalSize(copy.get()), 9);
    testing::internal::CaptureStderr();
    EXPECT_EQ(taken(DSNodeCreateStringWithFullPath(node)), "(none)");
    DSNodeComputeHashes(root.get());
    DSNodeComputeHashes(copy.get());
    EXPECT_EQ(DSNodeFindNodeWithHash(copy.get(), node->hash, 1)->type, DSNodeTypeDirectory);
    char** added = nullptr;
    uint64_t count = 0;
    DSNodeCompareSnapshots(root.get(), nullptr, &added, &count, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(count, 511U); // /d/d/… up to 1,022 bytes; the rest is refused as one
    for (uint64_t i = 0; i < count; i++)
        free(added[i]);
    free(static_cast<void*>(added));
    std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::ranges::count(said, '\n'), 4) << said;
}

TEST(Tree, LargeDirectories) {
    constexpr unsigned count = 100'000;
    std::vector<unsigned> order(count);
    std::iota(order.begin(), order.end(), 0);
    std::ranges::shuffle(order, std::mt19937(7));
    Tree root = makeRoot();
    DSNode* directory = DSNodeCreateWithParent(root.get(), "d", 0, 0, 0, DSNodeTypeDirectory);
    std::vector<DSNode*> nodes;
    for (unsigned number : order)
        nodes.push_back(
            DSNodeCreateWithParent(directory, std::to_string(number).c_str(), 0, 0, 0, DSNodeTypeFile));
    auto find = [&](unsigned i) {
        return DSNodeFindWithFullPath(("/d/" + std::to_string(order[i])).c_str(), root.get());
    };
    for (unsigned i = 0; i < count; i++)
        ASSERT_EQ(find(i), nodes[i]);
    Tree copy(DSNodeCopy(root.get()));
    DSNodeComputeHashes(copy.get());
    char** paths[3];
    uint64_t counts[3];
    DSNodeCompareSnapshots(root.get(), copy.get(), &paths[0], &counts[0], &paths[1], &counts[1], &paths[2],
                           &counts[2]);
    EXPECT_EQ(counts[0] + counts[1] + counts[2], 0U);
    for (char** array : paths)
        free(static_cast<void*>(array));
    DSNode* survivor = childrenOf(childrenOf(copy.get())[0])[count / 2]; // of a tree that goes before it
    DSListRemoveValue(survivor->parent->children, survivor);
    survivor->parent = nullptr;
    copy.reset();
    EXPECT_NE(DSNodeFindWithFullPath(("/d/" + std::string(survivor->name)).c_str(), root.get()), nullptr);
    DSNodeDestroy(survivor);
    DSNodeSetName(nodes[17], "renamed");
    EXPECT_EQ(find(17), nullptr);
    EXPECT_EQ(DSNodeFindWithFullPath("/d/renamed", root.get()), nodes[17]);
    std::vector<unsigned> left(count); // positions, in the order of their removal
    std::iota(left.begin(), left.end(), 0);
    std::ranges::shuffle(left, std::mt19937(8));
    while (left.size() > 3) {
        DSNodeDestroy(nodes[left.back()]);
        if (left.back() != 17) {
            ASSERT_EQ(find(left.back()), nullptr);
        }
        left.pop_back();
    }
    std::ranges::sort(left);
    EXPECT_EQ(childrenOf(directory), (std::vector<DSNode*>{nodes[left[0]], nodes[left[1]], nodes[left[2]]}));
}

} // namespace
