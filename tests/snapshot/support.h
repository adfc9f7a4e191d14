// What several tests of the engine need.
#pragma once

#include "snapshot/tree/cxx.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

using snapshot::Tree;

inline Tree makeRoot() { return snapshot::emptyTree(); }

// The same numbers in every run: a seed, then numbers below a bound.
class Random {
  public:
    explicit Random(unsigned seed) : _engine(seed) {}
    unsigned operator()(size_t bound) { return static_cast<unsigned>(_engine() % bound); }

  private:
    std::mt19937 _engine;
};

// Takes over a string that the engine returned; "(none)" for NULL.
inline std::string taken(char* text) {
    std::string copy = text != nullptr ? text : "(none)";
    free(text);
    return copy;
}

inline std::vector<DSNode*> childrenOf(const DSNode* node) {
    std::vector<DSNode*> children;
    for (const DSListNode* link = node->children->head; link != nullptr; link = link->next)
        children.push_back(static_cast<DSNode*>(link->value));
    return children;
}

// What lies below a node in list order, each after what it lies in, by its path from there.
using Items = std::vector<std::pair<std::string, DSNode*>>;
inline Items itemsBelow(const DSNode* node, bool onlyInDirectories = false) {
    Items items;
    if (onlyInDirectories && node->type != DSNodeTypeDirectory) return items;
    for (DSNode* child : childrenOf(node)) {
        const std::string path = std::string("/") + child->name;
        items.emplace_back(path, child);
        for (const auto& [below, item] : itemsBelow(child, onlyInDirectories))
            items.emplace_back(path + below, item);
    }
    return items;
}

// One line for each node in list order, "path size type modified started"; "none" without a tree. The root
// shows only when it has values.
inline std::string dump(DSNode* root) {
    if (root == nullptr) return "none\n";
    Items items = itemsBelow(root);
    if (root->size != 0 || root->modifiedTime != 0) items.emplace(items.begin(), "/", root);
    std::string text;
    for (const auto& [path, node] : items)
        text += path + " " + std::to_string(node->size) + " " + std::to_string(node->type) + " " +
                std::to_string(node->modifiedTime) + " " + std::to_string(node->startedTime) + "\n";
    return text;
}

// The tree of the format pages: /a.txt, /d, /d/b.
inline Tree exampleTree() {
    Tree root = makeRoot();
    DSNodeCreateWithParent(root.get(), "a.txt", 12, 1600000000, 1600000100, DSNodeTypeFile);
    DSNode* d = DSNodeCreateWithParent(root.get(), "d", 96, 1600000000, 1600000000, DSNodeTypeDirectory);
    DSNodeCreateWithParent(d, "b", 0, 1600000200, 1600000200, DSNodeTypeFile);
    return root;
}

inline void store(const std::string& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary) << bytes;
}

// What a call writes to standard error.
template <typename Call>
std::string messagesOf(Call call) {
    testing::internal::CaptureStderr();
    call();
    return testing::internal::GetCapturedStderr();
}

// The tree of a load, then what it writes to standard error.
template <typename Load>
std::string outcomeOf(Load load) {
    std::string tree;
    const std::string messages = messagesOf([&] { tree = dump(Tree(load()).get()); });
    return tree + messages;
}

// Each test works in a folder of its own, so that messages can name files without a folder.
class InNewFolder : public testing::Test {
  protected:
    InNewFolder() { std::filesystem::current_path(_folder.path()); }
    ~InNewFolder() override { std::filesystem::current_path("/"); }

    static size_t filesHere() {
        auto files = std::filesystem::directory_iterator(".");
        return static_cast<size_t>(std::distance(begin(files), end(files)));
    }

  private:
    support::TemporaryFolder _folder;
};
