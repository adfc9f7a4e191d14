#include "snapshot/DSDifferences.h"
#include "snapshot/DSDigest.h"
#include "snapshot/compare/compare.h"
#include "tests/snapshot/support.h"

#include <cstring>

using namespace snapshot;

namespace {

using Paths = std::vector<std::string>;

struct Changes {
    Paths added, deleted, modified, unchanged;
    bool operator==(const Changes&) const = default;
};

Paths takenPaths(char** array, uint64_t count) {
    Paths paths;
    for (uint64_t i = 0; i < count; i++)
        paths.push_back(taken(array[i]));
    free(static_cast<void*>(array));
    return paths;
}

Changes compare(const Tree& current, const Tree& previous, bool withUnchanged) {
    char** arrays[4] = {};
    uint64_t counts[4] = {};
    DSNodeCompareSnapshotsWithSHA1(current.get(), previous.get(), &arrays[0], &counts[0], &arrays[1],
                                   &counts[1], &arrays[2], &counts[2], withUnchanged ? &arrays[3] : nullptr,
                                   withUnchanged ? &counts[3] : nullptr, 1);
    return {takenPaths(arrays[0], counts[0]), takenPaths(arrays[1], counts[1]),
            takenPaths(arrays[2], counts[2]), takenPaths(arrays[3], counts[3])};
}

// The same one by one, in which each tree's own order is kept.
Changes enumerated(const Tree& current, const Tree& previous) {
    Changes changes;
    const DSDifferenceOptions options{DSFieldModifiedTime, 1, 0, nullptr, nullptr, nullptr, nullptr};
    DSNodeEnumerateDifferences(
        current.get(), previous.get(), &options,
        [](const DSDifference* difference, void* context) {
            auto& to = *static_cast<Changes*>(context);
            (difference->kind == DSDifferenceAdded     ? to.added
             : difference->kind == DSDifferenceDeleted ? to.deleted
                                                       : to.modified)
                .emplace_back(difference->path);
            return 0;
        },
        &changes);
    return changes;
}

Changes expected(const Tree& current, const Tree& previous, bool withUnchanged) {
    Changes changes;
    for (const auto& [path, node] : itemsBelow(current.get(), true)) {
        const DSNode* old = DSNodeFindWithFullPath(path.c_str(), previous.get());
        if (old == nullptr) {
            changes.added.push_back(path);
            continue;
        }
        bool same =
            node->type == DSNodeTypeDirectory || (node->type == DSNodeTypeFile && node->size == old->size &&
                                                  node->modifiedTime == old->modifiedTime);
        if (withUnchanged && same)
            changes.unchanged.push_back(path);
        else if (node->modifiedTime > old->modifiedTime)
            changes.modified.push_back(path);
    }
    for (const auto& [path, node] : itemsBelow(previous.get(), true))
        if (DSNodeFindWithFullPath(path.c_str(), current.get()) == nullptr) changes.deleted.push_back(path);
    return changes;
}

TEST(Compare, FollowsSetDifference) {
    Random random(11);
    auto grow = [&](const Tree& root, unsigned items, unsigned names, bool inOrder) {
        std::vector<DSNode*> directories{root.get()};
        for (unsigned i = 0; i < items; i++) {
            DSNode* parent = directories[random(directories.size())];
            std::string name = inOrder ? std::to_string(1000 + i) : std::to_string(random(names));
            if (random(9) == 0) name = "\xc3\xa9" + name; // ordered differently as signed and unsigned
            auto type = static_cast<uint8_t>(random(3) == 0 ? 1 : 1 + random(3));
            DSNode* node = DSNodeCreateWithParent(parent, name.c_str(), random(2), random(3), 0, type);
            if (random(8) != 0 && type == DSNodeTypeDirectory) directories.push_back(node);
            if (random(50) == 0) directories.push_back(node); // children below what is not a directory
        }
    };
    for (int round = 0; round < 400; round++) {
        unsigned names = round % 3 == 0 ? 4 : 60;
        bool inOrder = round % 4 == 1;
        Tree previous = makeRoot();
        grow(previous, random(120), names, inOrder);
        Tree current(DSNodeCopy(previous.get()));
        for (unsigned i = random(10); i > 0; i--) { // remove and touch some
            const Items all = itemsBelow(current.get(), true);
            if (all.empty()) break;
            DSNode* node = all[random(all.size())].second;
            if (random(2) == 0)
                DSNodeDestroy(node);
            else
                node->modifiedTime++;
        }
        grow(current, random(20), names, false);
        for (int hashed = 0; hashed < 3; hashed++) { // none, one, both trees put in the order of digests
            if (hashed > 0) DSNodeComputeHashes(hashed == 1 ? current.get() : previous.get());
            Changes changes = expected(current, previous, true);
            ASSERT_EQ(compare(current, previous, true), changes) << round;
            changes.unchanged.clear();
            ASSERT_EQ(enumerated(current, previous), changes) << round;
            ASSERT_EQ(compare(current, previous, false), expected(current, previous, false)) << round;
        }
    }
}

TEST(Compare, FillsTheArraysThatAreAskedFor) {
    const Tree before = exampleTree();
    const Tree now(DSNodeCopy(before.get()));
    DSNodeDestroy(DSNodeFindWithFullPath("/d", now.get()));
    char** deleted = nullptr;
    uint64_t untouched = 77;
    uint64_t count = 0;
    DSNodeCompareSnapshots(now.get(), before.get(), nullptr, &untouched, &deleted, &count, nullptr, nullptr);
    EXPECT_EQ(untouched, 77U);
    EXPECT_EQ(takenPaths(deleted, count), (Paths{"/d", "/d/b"}));

    char** kept = static_cast<char**>(malloc(sizeof(char*))); // a caller's array, which grows
    kept[0] = strdup("/kept");
    uint64_t capacity = count = 1;
    _findChanges(now.get(), before.get(), nullptr, nullptr, nullptr, &kept, &capacity, &count, nullptr,
                 nullptr, nullptr);
    EXPECT_EQ(capacity, 11U);
    EXPECT_EQ(takenPaths(kept, count), (Paths{"/kept", "/d", "/d/b"}));
}

} // namespace
