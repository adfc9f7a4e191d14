#include "platform/json.h"
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
        snapshot->addItemAtPath("/discord/f", file(1));
    }
    EXPECT_TRUE(compare().empty());
    current.addItemAtPath("/d/f", file(2));
    current.addItemAtPath("/n/deep/x", fileInfo(platform::NSFileTypeSymbolicLink, 4, 1));
    previous.addItemAtPath("/gone/x", file(1));
    for (const char* neverSynced : {"/d/Caches/x", "/n/part.crdownload", "/discord/Cache/x"})
        current.addItemAtPath(neverSynced, file(1));
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

    const support::TemporaryFolder folder;
    std::filesystem::create_symlink("nowhere", folder / "link"); // still on disk, wherever it leads
    current.setPath(folder.path());
    previous.addItemAtPath("/link", file(1));
    EXPECT_EQ(pathsOf(compare(), DirSnapshotDeletedPathsKey), Strings{"/gone"});
    previous.removeItemAtPath("/link");
    current.setPath("/");
    previous.addItemAtPath("/tmp", directory());
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

} // namespace
} // namespace dirsnapshot
