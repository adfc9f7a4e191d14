// What the tests of both stores share.
#pragma once

#include "snapshot/DSNode.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <unistd.h>

using Tree = std::unique_ptr<DSNode, decltype(&DSNodeDestroy)>;

inline Tree own(DSNode* node) { return {node, DSNodeDestroy}; }

// One line for each node in list order, "path size type modified started"; "none" without a tree. The root
// shows only when it has values.
inline std::string dump(const DSNode* node, const std::string& path = "") {
    if (node == nullptr) return "none";
    std::string text;
    if (!path.empty() || node->size != 0 || node->modifiedTime != 0)
        text = (path.empty() ? "/" : path) + " " + std::to_string(node->size) + " " +
               std::to_string(node->type) + " " + std::to_string(node->modifiedTime) + " " +
               std::to_string(node->startedTime) + "\n";
    for (uint64_t i = 0; i < node->children->count; i++) {
        const auto* child = static_cast<const DSNode*>(node->children->items[i]->value);
        text += dump(child, path + "/" + child->name);
    }
    return text;
}

// The tree of the format pages: /a.txt, /d, /d/b.
inline Tree exampleTree() {
    DSNode* root = DSNodeCreate("/", 0, 0, 0, DSNodeTypeDirectory);
    DSNodeCreateWithParent(root, "a.txt", 12, 1600000000, 1600000100, DSNodeTypeFile);
    DSNode* d = DSNodeCreateWithParent(root, "d", 96, 1600000000, 1600000000, DSNodeTypeDirectory);
    DSNodeCreateWithParent(d, "b", 0, 1600000200, 1600000200, DSNodeTypeFile);
    return own(root);
}

inline std::string contents(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
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

// Each test works in a new folder of its own, so that messages can name files without a folder.
class InNewFolder : public testing::Test {
  protected:
    InNewFolder() {
        // In memory where that is possible: the database waits for its disk after each commit.
        std::string name = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        name += "/formats-XXXXXX";
        _folder = mkdtemp(name.data());
        std::filesystem::current_path(_folder);
    }
    ~InNewFolder() override {
        std::filesystem::current_path("/");
        std::filesystem::remove_all(_folder);
    }

    static size_t filesHere() {
        auto files = std::filesystem::directory_iterator(".");
        return static_cast<size_t>(std::distance(begin(files), end(files)));
    }

  private:
    std::filesystem::path _folder;
};
