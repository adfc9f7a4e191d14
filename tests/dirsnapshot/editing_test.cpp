#include "tests/dirsnapshot/support.h"

#include <gmock/gmock.h>

namespace dirsnapshot {
namespace {

using testing::ElementsAre;

// A snapshot whose directory on disk holds /a/b of 3 bytes and /a/c/d of 4.
struct Editing : testing::Test {
    Editing() {
        folder.write("a/b", "123");
        folder.write("a/c/d", "1234");
        snapshot.setPath(folder.path());
    }
    std::string digestOf(const std::string& path) const {
        return {reinterpret_cast<const char*>(snapshot.nodeAtFullpath(path)->hash), DSNodeHashLength};
    }

    support::TemporaryFolder folder;
    support::RecordingLog log;
    DirSnapshot snapshot = emptySnapshot(log);
};

TEST_F(Editing, MakesTheDirectoriesOnTheWayAndUpdatesWhatIsThere) {
    snapshot.addItemAtPath("/a/b/c.txt", {{platform::NSFileType, platform::NSFileTypeRegular},
                                          {platform::NSFileSize, 5.9},
                                          {platform::NSFileModificationDate, -1.5},
                                          {platform::NSFileCreationDate, 0x1p63}});
    EXPECT_THAT(listing(snapshot), ElementsAre("/a/", "/a/b/", "/a/b/c.txt 5"));
    const DSNode* node = snapshot.nodeAtFullpath("/a/b/c.txt");
    EXPECT_EQ(node->modifiedTime, -1);
    EXPECT_EQ(node->startedTime, INT64_MAX);
    EXPECT_GT(node->parent->modifiedTime, 1600000000);
    EXPECT_EQ(std::tuple(node->parent->size, node->parent->startedTime), std::tuple(0, 0));
    snapshot.addItemAtPath("//a/./b/c.txt/", fileInfo(platform::NSFileTypeDirectory, 7, 9));
    EXPECT_EQ(std::tuple(node->size, node->modifiedTime, node->startedTime, node->type),
              std::tuple(7, 9, INT64_MAX, DSNodeTypeFile));
}

TEST_F(Editing, MovesBehindItsNewSiblingsWithItsDigests) {
    for (const char* path : {"/a/x/deep", "/a/z"})
        snapshot.addItemAtPath(path, file(3));
    snapshot.computeHash();
    const std::string digest = digestOf("/a/x/deep");
    snapshot.moveItemAtPath("/a/none", "/b"); // which is not there
    snapshot.moveItemAtPath("/a/x", "/a/y");
    EXPECT_THAT(listing(snapshot), ElementsAre("/a/", "/a/z 3", "/a/y/", "/a/y/deep 3"));
    EXPECT_EQ(digestOf("/a/y/deep"), digest);
    snapshot.nodeAtFullpath("/a")->size = 42; // refreshed on the way to a directory that is missing
    snapshot.moveItemAtPath("/a/y", "/a/n/y");
    EXPECT_THAT(listing(snapshot), ElementsAre("/a/", "/a/z 3", "/a/n/", "/a/n/y/", "/a/n/y/deep 3"));
    EXPECT_EQ(snapshot.nodeAtFullpath("/a")->size, 0);
    snapshot.removeItemAtPath("/a/n");
    snapshot.addPartial(snapshot, "/a/all"); // as it was before
    EXPECT_THAT(listing(snapshot), ElementsAre("/a/", "/a/z 3", "/a/all/", "/a/all/a/", "/a/all/a/z 3"));
    snapshot.moveItemAtPath("/a/all", "/a/allies"); // not inside what it begins with
    EXPECT_THAT(listing(snapshot),
                ElementsAre("/a/", "/a/z 3", "/a/allies/", "/a/allies/a/", "/a/allies/a/z 3"));
}

TEST_F(Editing, RefusesWithTwoLinesInTheLog) {
    snapshot.addItemAtPath("/a/b", file(1));
    const auto before = listing(snapshot);
    DirSnapshot none(log);
    const std::string tooLong = "/" + std::string(1100, 'x');
    const std::vector<std::function<void()>> edits = {
        [&] { snapshot.moveItemAtPath("/a", "/a/b/c"); },
        [&] { snapshot.moveItemAtPath("/", "/c"); },
        [&] { snapshot.moveItemAtPath("/a", "/"); },
        [&] { snapshot.removeItemAtPath("/"); },
        [&] { snapshot.reloadSnapshotPart(folder.path("missing/part")); },
        [&] { snapshot.addItemAtPath("relative", file(1)); },
        [&] { snapshot.addItemAtPath(tooLong, file(1)); },
        [&] { none.addItemAtPath("/a", file(1)); },
        [&] { none.moveItemAtPath("/a", "/b"); },
        [&] { none.removeItemAtPath("/a"); },
        [&] { none.addPartial(snapshot, "/"); },
        [&] { none.reloadSnapshotPart("/a"); }};
    for (const auto& edit : edits) {
        edit();
        const auto lines = log.take();
        ASSERT_EQ(lines.size(), 2U) << (&edit - edits.data());
        EXPECT_THAT(lines[0], testing::AnyOf("ERROR! -> Can't add item in remote snapshot",
                                             "ERROR! -> Can't move node in remote snapshot",
                                             "Can't remove item from snapshot",
                                             "Can't scan a part of the snapshot again"));
    }
    EXPECT_EQ(listing(snapshot), before);
    EXPECT_FALSE(none.loaded());
}

TEST_F(Editing, GraftsAPartOntoWhatIsThere) {
    for (const char* path : {"/a/b", "/a/c/d/e", "/t/c/x"})
        snapshot.addItemAtPath(path, file(3));
    snapshot.addItemAtPath("/t/b", file(9));
    EXPECT_FALSE(snapshot.subDirsnapshotAtPath("/a/x"));
    EXPECT_THAT(listing(*snapshot.subDirsnapshotAtPath("/a", true)), ElementsAre("/b 3", "/c/"));
    snapshot.addPartial(*snapshot.subDirsnapshotAtPath("/a"), "/t");
    EXPECT_THAT(listing(*snapshot.subDirsnapshotAtPath("/t")),
                ElementsAre("/c/", "/c/x 3", "/c/d/", "/c/d/e 3", "/b 3"));
}

// Names that a stored snapshot may hold and no file system has.
TEST_F(Editing, GraftsNoNameThatLeadsElsewhere) {
    folder.write("foreign",
                 "3|//a5|2|1|2|4|/d/.5|2|1|2|5|/d/..9|1|1|2|7|/d/../q5|2|1|2|5|/d//x5|2|1|2|4|/d/z7|2|1|2|");
    const auto foreign = DirSnapshot::initWithContentsOfFile(log, folder.path("foreign"), "/", "other");
    snapshot.addItemAtPath("/base", fileInfo(platform::NSFileTypeDirectory, 3, 1));
    snapshot.addPartial(foreign, "/base");
    EXPECT_THAT(listing(snapshot), ElementsAre("/base/", "/base/d/", "/base/d/z 7"));
    EXPECT_EQ(snapshot.nodeAtFullpath("/base")->size, 3);
    EXPECT_EQ(log.count("ERROR! -> Can't add item in remote snapshot"), 4U);
}

TEST_F(Editing, ScansAPartAnewUnderItsName) {
    snapshot.addItemAtPath("/a/old", file(1));
    snapshot.addItemAtPath("/z", file(2));
    snapshot.reloadSnapshotPart(folder.path("./a/."));
    EXPECT_EQ(snapshot.contentsOfDirectoryAtPath("/")->size(), 2U);
    EXPECT_EQ(listing(snapshot)[0], "/z 2");
    EXPECT_EQ(snapshot.nodeAtFullpath("/a/c/d")->size, 4);
    snapshot.reloadSnapshotPart(folder.path());
    EXPECT_EQ(snapshot.nodeAtFullpath("/z"), nullptr);
}

} // namespace
} // namespace dirsnapshot
