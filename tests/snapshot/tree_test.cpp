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

TEST(Tree, GivesPathsAndFindsByThem) {
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
    EXPECT_STREQ(_find("//", root.get(), 1, DSNodeTypeFile)->name, "");

    EXPECT_EQ(DSNodeGetDepth(file), 3U);
    EXPECT_EQ(taken(DSNodeCreateStringWithFullPath(root.get())), "/");
    EXPECT_EQ(taken(DSNodeCreateStringWithFullPath(file)), "/x/y/z.txt");
    for (const char* base : {"/base", "/base/"})
        EXPECT_EQ(taken(DSNodeCreateStringWithFullPathAndBasePath(file, base)), "/base/x/y/z.txt");
    EXPECT_EQ(taken(DSNodeCreateStringWithFullPathAndBasePath(root.get(), "/base")), "/base/");
    file->size = 20; // a link, and so not counted
    DSNodeCreateWithParent(file->parent, "f", 10, 0, 0, DSNodeTypeFile);
    DSNodeCreateWithParent(root.get(), "g", 5, 0, 0, DSNodeTypeFile);
    EXPECT_EQ(DSNodeTotalSize(root.get()), 15);
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
        _find(path.c_str(), looked.get(), 1, type);
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
