// The tree and its lists: single cases, then random operations beside a plain model.
#include "snapshot/DSCompare.h"
#include "snapshot/DSDigest.h"
#include "snapshot/tree/TreeBuilder.h"
#include "snapshot/tree/lookup.h"
#include "tests/snapshot/support.h"

#include <algorithm>
#include <cstring>
#include <map>

using namespace snapshot;

namespace {

std::string freed;

void noteFreed(void* value) { freed += static_cast<char*>(value); }
int byText(const void* a, const void* b) {
    return strcmp(static_cast<const char*>(a), static_cast<const char*>(b));
}
void* secondByte(void* value) { return static_cast<char*>(value) + 1; }

std::string valuesOf(DSList* list) {
    std::string values;
    DSListIterator* iterator = DSListIteratorCreate(list);
    while (DSListIteratorHasNext(iterator) != 0)
        values += static_cast<char*>(DSListIteratorNext(iterator));
    DSListIteratorDestroy(iterator);
    return values;
}

TEST(List, RemovesByIdentitySortsCopiesAndFrees) {
    char c[] = "cx", a[] = "ay", otherA[] = "ay", b[] = "bz", x[] = "x";
    DSList* list = DSListCreate();
    DSListSort(list, byText);
    for (char* value : {c, a, otherA, b, a})
        DSListAppendValue(list, value);
    DSListSetFreeCallback(list, noteFreed);
    for (char* value : {x, otherA}) // one is not in the list
        DSListRemoveValue(list, value);
    EXPECT_EQ(list->items[1]->value, a);
    DSListRemoveValue(list, a); // of two the first
    EXPECT_EQ(valuesOf(list), "cxbzay");
    EXPECT_EQ(list->tail->value, a);
    DSListSort(list, byText);
    EXPECT_EQ(valuesOf(list), "aybzcx");
    list->copyCallback = secondByte;
    DSList* copy = DSListCopy(list);
    EXPECT_EQ(valuesOf(copy), "yzx");
    EXPECT_EQ(copy->copyCallback, secondByte);
    EXPECT_EQ(copy->freeCallback, nullptr);
    DSListDestroy(copy);
    EXPECT_EQ(DSListCopy(nullptr), nullptr);
    DSListAppendValue(list, nullptr); // is kept, and never handed to the callback
    EXPECT_EQ(freed, "");
    DSListDestroy(list);
    EXPECT_EQ(freed, "aybzcx");
}

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

    EXPECT_EQ(taken(DSNodeCreateStringWithFullPath(root.get())), "/");
    EXPECT_EQ(taken(DSNodeCreateStringWithFullPath(file)), "/x/y/z.txt");
    for (const char* base : {"/base", "/base/"})
        EXPECT_EQ(taken(DSNodeCreateStringWithFullPathAndBasePath(file, base)), "/base/x/y/z.txt");
    EXPECT_EQ(taken(DSNodeCreateStringWithFullPathAndBasePath(root.get(), "/base")), "/base/");
    file->size = 20; // a link, and so not counted
    DSNodeCreateWithParent(file->parent, "f", 10, 0, 0, DSNodeTypeFile);
    DSNodeCreateWithParent(root.get(), "g", 5, 0, 0, DSNodeTypeFile);
    EXPECT_EQ(DSNodeTotalSize(root.get()), 15);
    for (const std::string name : {"a longer name", "a name that is longer still", "z"}) {
        DSNodeSetName(file, name.c_str());
        EXPECT_EQ(DSNodeFindWithFullPath(("/x/y/" + name).c_str(), root.get()), file);
    }

    const std::string longest = "/" + std::string(1022, 'x');
    DSNode* atLimit = _find(longest.c_str(), root.get(), 1, DSNodeTypeDirectory);
    EXPECT_EQ(taken(DSNodeCreateStringWithFullPath(atLimit)), longest);
    const DSNode* below = DSNodeCreateWithParent(atLimit, "", 0, 0, 0, DSNodeTypeFile);
    const std::string said = messagesOf([&] {
        EXPECT_EQ(taken(DSNodeCreateStringWithFullPath(below)), "(none)");
        EXPECT_EQ(taken(DSNodeCreateStringWithFullPathAndBasePath(atLimit, "b")), "(none)");
        EXPECT_EQ(_find((longest + "/").c_str(), root.get(), 1, DSNodeTypeFile), nullptr);
    });
    EXPECT_EQ(std::ranges::count(said, '\n'), 3) << said;
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

TEST(Tree, AnyDepth) {
    constexpr uint32_t depth = 100'000;
    Tree root = makeRoot();
    DSNode* node = root.get();
    for (uint32_t i = 0; i < depth; i++)
        node = DSNodeCreateWithParent(node, "d", 0, 0, 0, DSNodeTypeDirectory);
    DSNodeCreateWithParent(node, "f", 9, 0, 0, DSNodeTypeFile);
    EXPECT_EQ(DSNodeGetDepth(node), depth);
    Tree copy(DSNodeCopy(root.get()));
    EXPECT_EQ(DSNodeTotalSize(copy.get()), 9);
    char** added = nullptr;
    uint64_t count = 0;
    const std::string said = messagesOf([&] {
        DSNodeComputeHashes(root.get());
        DSNodeComputeHashes(copy.get());
        EXPECT_NE(DSNodeFindNodeWithHash(copy.get(), node->hash, 1), nullptr);
        DSNodeCompareSnapshots(root.get(), nullptr, &added, &count, nullptr, nullptr, nullptr, nullptr);
    });
    EXPECT_EQ(std::ranges::count(said, '\n'), 3) << said;
    EXPECT_EQ(count, 511U); // /d/d/… up to 1,022 bytes; the rest is refused as one
    for (uint64_t i = 0; i < count; i++)
        free(added[i]);
    free(static_cast<void*>(added));
}

// The children of a directory, beside a plain list of their names and sizes.
class ChildrenModel : public testing::TestWithParam<unsigned> {
  protected:
    static std::string keyOf(std::string name) { // the order of names: bytes as signed
        for (char& byte : name)
            byte = static_cast<char>(byte ^ '\x80');
        return name;
    }
    static int downwards(const void* first, const void* second) {
        const auto pairOf = [](const void* node) {
            return std::pair(std::string(static_cast<const DSNode*>(node)->name),
                             static_cast<const DSNode*>(node)->size);
        };
        const auto order = pairOf(second) <=> pairOf(first);
        return order < 0 ? -1 : order > 0 ? 1 : 0;
    }
    void expectSame() const {
        const DSList* list = tree->children;
        ASSERT_EQ(list->count, model.size());
        const DSListNode* link = list->head;
        std::map<std::string, const DSNode*> first;
        for (size_t i = 0; i < model.size(); i++, link = link->next) {
            ASSERT_EQ(list->items[i], link);
            const auto* child = static_cast<DSNode*>(link->value);
            ASSERT_EQ(child->parent, tree.get());
            ASSERT_EQ(std::pair(std::string(child->name), child->size), model[i]);
            first.emplace(child->name, child);
        }
        ASSERT_EQ(link, nullptr);
        ASSERT_EQ(list->tail, model.empty() ? nullptr : list->items[model.size() - 1]);
        for (const auto& [name, child] : first)
            ASSERT_EQ(findChild(tree.get(), name), child);
        ASSERT_EQ(findChild(tree.get(), "no such name"), nullptr);
    }
    std::string someName() {
        static const char* const odd[] = {"\xc3\xa9", "Z", "a|b", "\xff", " "};
        return random(6) == 0 ? odd[random(5)] : "n" + std::to_string(random(GetParam()));
    }

    Random random{GetParam()};
    Tree tree = makeRoot();
    std::vector<std::pair<std::string, int64_t>> model;
};

// The parameter is how many names there are: few make repeated names, many make large directories.
TEST_P(ChildrenModel, FollowsPlainList) {
    for (int step = 0; step < 3000; step++) {
        const std::string name = someName();
        const int64_t size = random(100);
        const auto at = model.begin() + (model.empty() ? 0 : random(model.size()));
        DSNode* node =
            model.empty() ? nullptr : childAt(tree.get(), static_cast<uint64_t>(at - model.begin()));
        // It grows first, so that there is an index of names, and stays small in the end.
        const unsigned action = random(10);
        switch (model.empty() || step < 300                            ? 9
                : step > 500 && model.size() > random(8) && action > 5 ? 2
                                                                       : action) {
        case 0: // find or create
        case 1: {
            findOrAppendChild(tree.get(), name, DSNodeTypeFile)->size = size;
            const auto found = std::ranges::find(model, name, [](const auto& child) { return child.first; });
            if (found == model.end())
                model.emplace_back(name, size);
            else
                found->second = size;
            break;
        }
        case 2: // remove
            DSNodeDestroy(node);
            model.erase(at);
            break;
        case 3: // rename
            DSNodeSetName(node, name.c_str());
            at->first = name;
            break;
        case 4: { // move to the end, itself or as a copy
            DSNode* moving = random(2) == 0 ? DSNodeCopy(node) : node;
            if (moving == node)
                DSListRemoveValue(tree->children, node);
            else
                DSNodeDestroy(node);
            DSNodeAppendChild(moving, tree.get());
            std::rotate(at, at + 1, model.end());
            break;
        }
        case 5: // put in order, or in another one
            if (random(2) == 0) {
                DSListSort(tree->children, downwards);
                std::ranges::sort(model, std::greater<>());
                break;
            }
            DSNodeComputeHashes(tree.get());
            std::ranges::stable_sort(model, {}, [](const auto& child) { return keyOf(child.first); });
            break;
        default:
            DSNodeCreateWithParent(tree.get(), name.c_str(), size, 0, 0, DSNodeTypeFile);
            model.emplace_back(name, size);
        }
        expectSame();
        if (HasFatalFailure()) return;
    }
    EXPECT_EQ(dump(Tree(DSNodeCopy(tree.get())).get()), dump(tree.get()));
    const auto children = childrenOf(tree.get());
    DSListDestroy(tree->children); // is emptied, and stays the tree's
    model.clear();
    for (DSNode* child : children) {
        DSNodeAppendChild(child, tree.get());
        model.emplace_back(child->name, child->size);
    }
    expectSame();
}

INSTANTIATE_TEST_SUITE_P(Names, ChildrenModel, testing::Values(3, 5000));

} // namespace
