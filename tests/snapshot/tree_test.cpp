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

struct Model {
    std::string name;
    int64_t size = 0;
    uint8_t type = DSNodeTypeDirectory;
    std::vector<Model> children = {};
};

std::string keyOf(const std::string& name) { // the order of names: bytes as signed
    std::string key = name;
    for (char& byte : key)
        byte = static_cast<char>(byte ^ '\x80');
    return key;
}

void sortAll(Model& model) {
    if (model.type != DSNodeTypeDirectory) return;
    std::ranges::stable_sort(model.children, {}, [](const Model& child) { return keyOf(child.name); });
    for (Model& child : model.children)
        sortAll(child);
}

void expectSame(const DSNode* node, const Model& model) {
    ASSERT_EQ(node->name, model.name);
    ASSERT_EQ(node->size, model.size);
    ASSERT_EQ(node->type, model.type);
    ASSERT_EQ(node->children->count, model.children.size());
    const DSListNode* link = node->children->head;
    std::map<std::string_view, const DSNode*> first;
    for (size_t i = 0; i < model.children.size(); i++, link = link->next) {
        ASSERT_EQ(node->children->items[i], link);
        const auto* child = static_cast<DSNode*>(link->value);
        ASSERT_EQ(child->parent, node);
        expectSame(child, model.children[i]);
        first.emplace(model.children[i].name, child);
    }
    ASSERT_EQ(link, nullptr);
    ASSERT_TRUE(node->children->tail == nullptr || node->children->tail->next == nullptr);
    for (const auto& [name, child] : first)
        ASSERT_EQ(findChild(node, name), child);
    ASSERT_EQ(findChild(node, "no such name"), nullptr);
}

class TreeModel : public testing::TestWithParam<unsigned> {
  protected:
    // A random place: the node and its model. Equal names are told apart by walking positions.
    void pick() {
        node = tree.get();
        model = &top;
        owner = nullptr;
        while (!model->children.empty() && random(2) == 0) {
            owner = model;
            size_t at = random(model->children.size());
            node = static_cast<DSNode*>(node->children->items[at]->value);
            model = &model->children[at];
        }
    }
    void forget() {
        owner->children.erase(owner->children.begin() + (model - owner->children.data()));
        model = nullptr;
    }
    std::string someName() {
        static const char* const odd[] = {"\xc3\xa9", "Z", "a|b", "\xff", " "};
        return random(6) == 0 ? odd[random(5)] : "n" + std::to_string(random(GetParam()));
    }

    Random random{GetParam()};
    Tree tree = makeRoot();
    Model top{"/"};
    DSNode* node = nullptr;
    Model* model = nullptr;
    Model* owner = nullptr;
};

// The parameter is how many names there are: few make repeated names, many make large directories.
TEST_P(TreeModel, FollowsPlainModel) {
    for (int step = 0; step < 1500; step++) {
        pick();
        std::string name = someName();
        auto size = static_cast<int64_t>(random(100));
        auto type = static_cast<uint8_t>(1 + random(3));
        switch (step < 300 ? 9 : random(10)) { // grows first, so that the index of the root's names does
        case 0:                                // find or create
        case 1: {
            findOrAppendChild(node, name, type)->size = size;
            auto found = std::ranges::find(model->children, name, &Model::name);
            if (found == model->children.end()) found = model->children.insert(found, {name, 0, type});
            found->size = size;
            break;
        }
        case 2: // remove
            if (owner == nullptr) break;
            DSNodeDestroy(node);
            forget();
            break;
        case 3: // rename
            if (owner == nullptr) break;
            DSNodeSetName(node, name.c_str());
            model->name = name;
            break;
        case 4: { // move to the end of the root, itself or as a copy
            if (owner == nullptr) break;
            DSNode* moving = random(2) == 0 ? DSNodeCopy(node) : node;
            if (moving == node)
                DSListRemoveValue(node->parent->children, node);
            else
                DSNodeDestroy(node);
            DSNodeAppendChild(moving, tree.get());
            Model moved = *model;
            forget();
            top.children.push_back(std::move(moved));
            break;
        }
        case 5: // put in order
            if (step % 20 != 0) break;
            DSNodeComputeHashes(tree.get());
            sortAll(top);
            break;
        default:
            DSNodeCreateWithParent(node, name.c_str(), size, 0, 0, type);
            model->children.push_back({name, size, type});
        }
        expectSame(tree.get(), top);
        if (HasFatalFailure()) return;
    }
    Tree copy(DSNodeCopy(tree.get()));
    expectSame(copy.get(), top);
}

INSTANTIATE_TEST_SUITE_P(Names, TreeModel, testing::Values(3, 5000));

} // namespace
