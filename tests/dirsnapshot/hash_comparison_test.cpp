#include "platform/json.h"
#include "snapshot/exclusion/scan_utils.h"
#include "tests/dirsnapshot/support.h"

#include <gmock/gmock.h>

namespace dirsnapshot {
namespace {

using Strings = std::vector<std::string>;

Strings pathsOf(const platform::Dictionary& result, const char* key) {
    Strings paths;
    if (const platform::Value* items = platform::find(result, key))
        for (const platform::Value& item : *items->array())
            paths.push_back(*platform::find(*item.dictionary(), DirSnapshotNodePathKey)->string());
    return paths;
}

struct HashComparison : testing::Test {
    support::RecordingLog log;
    DirSnapshot current = emptySnapshot(log);
    DirSnapshot previous = emptySnapshot(log);

    platform::Dictionary compare(bool ignoreDeleted = false, const Strings& exclusions = {}) {
        return *current.compareWithSnapshotUsingHashes(&previous, ignoreDeleted, exclusions);
    }
};

TEST_F(HashComparison, GivesEachDifferenceAsAnItem) {
    for (DirSnapshot* snapshot : {&current, &previous}) {
        snapshot->setPath("/nowhere-at-all");
        snapshot->addItemAtPath("/d/f", file(1));
        snapshot->addItemAtPath("/same", file(1));
    }
    EXPECT_TRUE(compare().empty());
    current.addItemAtPath("/d/f", file(2));
    current.addItemAtPath("/n/deep/x", fileInfo(platform::NSFileTypeSymbolicLink, 4, 1));
    previous.addItemAtPath("/gone/x", file(1));
    const platform::Dictionary result = compare();
    EXPECT_EQ(platform::jsonDescription(result.at(DirSnapshotModifiedPathsKey)),
              R"([{"DirSnapshotNodePathKey":"/d/f","NSFileSize":2,"NSFileType":"NSFileTypeRegular"}])");
    EXPECT_EQ(pathsOf(result, DirSnapshotAddedPathsKey), (Strings{"/n", "/n/deep", "/n/deep/x"}));
    EXPECT_EQ(pathsOf(result, DirSnapshotDeletedPathsKey), Strings{"/gone"});
    EXPECT_FALSE(compare(true).contains(DirSnapshotDeletedPathsKey));
    EXPECT_EQ(pathsOf(compare(false, {"n", "/nowhere-at-all/d/f/"}), DirSnapshotAddedPathsKey), Strings{});
    EXPECT_FALSE(compare(false, {"/nowhere-at-all/d/f/"}).contains(DirSnapshotModifiedPathsKey));
    EXPECT_FALSE(current.compareWithSnapshotUsingHashes(nullptr, false, {}));

    const auto part = current.compareWithSnapshotUsingHashes(&previous, "/nowhere-at-all/d",
                                                             "/nowhere-at-all/missing", false, {});
    EXPECT_EQ(pathsOf(*part, DirSnapshotAddedPathsKey), Strings{"/d/f"});

    current.setPath("/");
    previous.addItemAtPath("/tmp", directory()); // still on disk
    EXPECT_EQ(pathsOf(compare(), DirSnapshotDeletedPathsKey), Strings{"/gone"});
}

// Trees that no scan makes: longer paths than the engine has, and a file that has children in any order.
TEST_F(HashComparison, BearsDamagedTrees) {
    DSNode* node = current.nodeAtFullpath("/");
    for (int i = 0; i < 2000; ++i)
        node = DSNodeCreateWithParent(node, "n", 0, 1, 1, DSNodeTypeDirectory);
    testing::internal::CaptureStderr();
    const Strings added = pathsOf(compare(), DirSnapshotAddedPathsKey);
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(std::pair(added.size(), added.back().size()), std::pair(511UL, 1022UL));

    current = emptySnapshot(log);
    for (auto [snapshot, kind, size] :
         {std::tuple(&current, DSNodeTypeFile, 2), {&previous, DSNodeTypeDirectory, 1}}) {
        DSNode* f = DSNodeCreateWithParent(snapshot->nodeAtFullpath("/"), "f", 0, 1, 1, DSNodeTypeDirectory);
        for (const char* name : {"z", "a"})
            DSNodeCreateWithParent(f, name, size, 1, 1, DSNodeTypeFile);
        f->type = static_cast<std::uint8_t>(kind);
    }
    const auto part = DirSnapshot::compareWithSnapshotUsingHashes(
        current.nodeAtFullpath("/f"), previous.nodeAtFullpath("/f"), true, {}, "");
    EXPECT_EQ(pathsOf(part, DirSnapshotModifiedPathsKey), (Strings{"/f/z", "/f/a"}));
}

// What the comparison is to find, from its definition: no order, no digests, one item at a time.
struct Oracle {
    std::set<std::string> missing;
    std::set<std::string> modified;

    static bool isExcluded(const std::string& path) {
        const std::string name = path.substr(path.rfind('/') + 1);
        return checkForExclusion(name.c_str(), "", "") != 0 || name == "nm" || path == "/a/b";
    }
    Oracle(const Sizes& from, const Sizes& other, bool addWhole) {
        for (const auto& [path, size] : from) {
            const auto counterpart = other.find(path);
            bool isSkipped = isExcluded(path);
            for (const std::string& directory : above(path))
                isSkipped |= isExcluded(directory) || (!addWhole && !other.contains(directory));
            if (isSkipped) continue;
            if (counterpart == other.end())
                missing.insert(path);
            else if (size >= 0 && counterpart->second != size)
                modified.insert(path);
        }
    }
};

TEST_F(HashComparison, AgreesWithItsDefinitionOnRandomTrees) {
    std::mt19937 random(11);
    const Strings names{"a", "b", "Caches", "Z", "\xC3\xA9", "c.crdownload", "nm"};
    std::size_t differences = 0;
    for (int round = 0; round < 400; ++round) {
        DirSnapshot* snapshots[2] = {&current, &previous};
        for (DirSnapshot* snapshot : snapshots) {
            *snapshot = emptySnapshot(log);
            snapshot->setPath("/base");
        }
        for (int i = 0; i < 30; ++i) {
            std::string path;
            for (auto depth = 1 + random() % 3; depth > 0; --depth)
                path += "/" + names[random() % names.size()];
            const auto where = random() % 6; // mostly in both
            const auto size = static_cast<std::int64_t>(random() % 3);
            for (unsigned side = 0; side < 2; ++side)
                if (where != side && !isBelowAFile(*snapshots[side], path))
                    snapshots[side]->addItemAtPath(path, file(random() % 5 == 0 ? size + 10 : size));
        }
        const Oracle forward(sizesOf(current), sizesOf(previous), true);
        const Oracle backward(sizesOf(previous), sizesOf(current), false);
        const auto result = compare(false, {"nm", "/base/a/b"});
        const auto found = [&](const char* key) {
            const Strings paths = pathsOf(result, key);
            const std::set<std::string> set(paths.begin(), paths.end());
            EXPECT_EQ(set.size(), paths.size());
            return set;
        };
        ASSERT_EQ(found(DirSnapshotAddedPathsKey), forward.missing) << round;
        ASSERT_EQ(found(DirSnapshotModifiedPathsKey), forward.modified) << round;
        ASSERT_EQ(found(DirSnapshotDeletedPathsKey), backward.missing) << round;
        differences += forward.missing.size() + forward.modified.size() + backward.missing.size();
    }
    EXPECT_GT(differences, 500U);
}

} // namespace
} // namespace dirsnapshot
