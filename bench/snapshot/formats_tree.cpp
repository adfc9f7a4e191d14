#include "bench/snapshot/formats_tree.h"

#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace bench {

namespace {

class Generator {
  public:
    explicit Generator(unsigned seed) : _random(seed) {}

    DSNode* tree(unsigned files, unsigned directories) {
        DSNode* root = DSNodeCreate("/", 0, 0, 0, DSNodeTypeDirectory);
        std::vector<std::pair<DSNode*, unsigned>> all{{root, 0}}; // with their depth
        std::vector<size_t> open{0};                              // those that may get directories
        for (unsigned i = 0; i < directories; i++) {
            auto [parent, depth] = all[open[below(open.size())]];
            all.emplace_back(item(parent, i, DSNodeTypeDirectory), depth + 1);
            if (depth + 1 < 7) open.push_back(all.size() - 1);
        }
        for (unsigned i = 0; i < files; i++) {
            size_t at = 0;
            if (directories > 0) { // every directory gets a file, and some get many
                double share = static_cast<double>(below(1'000'000)) / 1e6;
                at = 1 + (i < directories ? i : static_cast<size_t>(share * share * directories));
            }
            item(all[at].first, i, DSNodeTypeFile);
        }
        for (auto [directory, depth] : all)
            DSListSort(directory->children, [](const void* a, const void* b) {
                return strcmp(static_cast<const DSNode*>(a)->name, static_cast<const DSNode*>(b)->name);
            });
        return root;
    }

  private:
    size_t below(size_t bound) { return _random() % bound; }

    DSNode* item(DSNode* parent, unsigned number, uint8_t type) {
        static constexpr char kBytes[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-.";
        char tail[16];
        auto tailLength = static_cast<size_t>(snprintf(tail, sizeof tail, "~%x", number)); // unique
        size_t length = 8 + below(23);
        std::string name(1, kBytes[below(52)]);
        while (name.size() + tailLength < length)
            name += kBytes[below(sizeof kBytes - 1)];
        name += tail;
        int64_t size = type == DSNodeTypeDirectory ? 4096 : static_cast<int64_t>(below(1 << below(24)));
        auto modified = static_cast<int64_t>(1'400'000'000 + below(300'000'000));
        return DSNodeCreateWithParent(parent, name.c_str(), size, modified, modified + 1000, type);
    }

    std::mt19937_64 _random;
};

} // namespace

DSNode* treeA() { return Generator(1).tree(200'000, 20'000); }
DSNode* treeB() { return Generator(2).tree(100'000, 0); }
DSNode* treeC() { return Generator(3).tree(909'000, 91'000); }

unsigned itemsBelow(const DSNode* root) {
    unsigned count = 0;
    std::vector<const DSNode*> left{root};
    while (!left.empty()) {
        const DSNode* node = left.back();
        left.pop_back();
        count += static_cast<unsigned>(node->children->count);
        for (uint64_t i = 0; i < node->children->count; i++)
            left.push_back(static_cast<const DSNode*>(node->children->items[i]->value));
    }
    return count;
}

} // namespace bench
