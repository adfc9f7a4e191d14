// A tree driven by random operations beside a plain model of it, compared after each step.

#include "snapshot/DSDigest.h"
#include "snapshot/lookup.h"
#include "tests/snapshot/support.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace snapshot;

namespace {

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
    for (size_t i = 0; i < model.children.size(); i++, link = link->next) {
        ASSERT_EQ(node->children->items[i], link);
        const auto* child = static_cast<DSNode*>(link->value);
        ASSERT_EQ(child->parent, node);
        expectSame(child, model.children[i]);
    }
    ASSERT_EQ(link, nullptr);
    ASSERT_TRUE(node->children->tail == nullptr || node->children->tail->next == nullptr);
    auto first = [&](const Model& child) {
        return std::ranges::find(model.children, child.name, &Model::name) - model.children.begin();
    };
    for (const Model& child : model.children)
        ASSERT_EQ(findChild(node, child.name), node->children->items[first(child)]->value);
    ASSERT_EQ(findChild(node, "no such name"), nullptr);
}

class TreeModel : public testing::TestWithParam<unsigned> {
  protected:
    // A random place: the node and its model. Equal names are told apart by walking positions.
    void pick() {
        node = tree.get();
        model = &top;
        owner = nullptr;
        while (!model->children.empty() && random(4) != 0) {
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
        switch (random(10)) {
        case 0: // create along a path below the root
        case 1: {
            std::string path = "/" + name + "/" + someName();
            _find(path.c_str(), tree.get(), 1, type)->size = size;
            Model* at = &top;
            for (const std::string& part : {name, path.substr(name.size() + 2)}) {
                auto found = std::ranges::find(at->children, part, &Model::name);
                if (found == at->children.end()) {
                    at->children.push_back({part, 0, at == &top ? uint8_t{DSNodeTypeDirectory} : type});
                    found = at->children.end() - 1;
                }
                at = &*found;
            }
            at->size = size;
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
        case 4: { // move: a copy of what was there goes to the end of the root
            if (owner == nullptr) break;
            DSNode* copy = DSNodeCopy(node);
            Model moved = *model;
            DSNodeDestroy(node);
            forget();
            DSNodeAppendChild(copy, tree.get());
            top.children.push_back(std::move(moved));
            break;
        }
        case 5: // detach and append again
            if (owner == nullptr) break;
            DSListRemoveValue(node->parent->children, node);
            DSNodeAppendChild(node, node->parent);
            std::rotate(owner->children.begin() + (model - owner->children.data()),
                        owner->children.begin() + (model - owner->children.data()) + 1,
                        owner->children.end());
            break;
        case 6: // put in order
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

INSTANTIATE_TEST_SUITE_P(Names, TreeModel, testing::Values(3, 40, 5000));

} // namespace
