#include "platform/json.h"
#include "snapshot/DSDigest.h"
#include "tests/dirsnapshot/support.h"

#include <gmock/gmock.h>

namespace dirsnapshot {
namespace {

using platform::jsonDescription;
using testing::ElementsAre;

struct Object : testing::Test {
    Object() {
        for (const char* name : {"t/a", "t/.b", "t/d/x", "t/d/y"})
            folder.write(name, "12");
    }

    support::TemporaryFolder folder;
    support::RecordingLog log;
};

TEST_F(Object, ScansCountsAndCopies) {
    std::vector<std::string> seen;
    const ProgressBlock see = [&](const std::string& path) {
        return seen.push_back(path.substr(folder.path().size())), false;
    };
    const auto snapshot = DirSnapshot::initWithDirectoryPath(
        log, folder.path("t"),
        InitializationOptions{{DirSnapshotInitializationUseSHA1Key, true},
                              {DirSnapshotInitializationProgressBlockKey, see}});
    EXPECT_THAT(seen, ElementsAre("/t/.b", "/t/a", "/t/d", "/t/d/x", "/t/d/y"));
    EXPECT_TRUE(snapshot.loaded() && snapshot.usesSHA1());
    EXPECT_EQ(snapshot.scanTotalFileNumber(), 5U);
    EXPECT_EQ(snapshot.countFilesAtPath("/", false, false), 2U);
    EXPECT_EQ(snapshot.countFilesAtPath("/", true, false), 3U);
    EXPECT_EQ(snapshot.countFilesAtPath("/", true, true), 4U);

    const DirSnapshot copy = snapshot;
    EXPECT_EQ(copy.scanTotalFileNumber(), 0U);
    EXPECT_EQ(copy.path(), folder.path("t"));
    EXPECT_EQ(jsonDescription(copy.compareWithSnapshot(snapshot)),
              R"({"DirSnapshotUnchangedPathsKey":["/.b","/a","/d","/d/x","/d/y"]})");
    EXPECT_TRUE(DirSnapshot(log).compareWithSnapshot(snapshot).contains(DirSnapshotDeletedPathsKey));

    const auto scan = [&](const char* key, const InitializationOption& option) {
        return DirSnapshot::initWithDirectoryPath(log, folder.path("t"),
                                                  InitializationOptions{{key, option}});
    };
    const char* progress = DirSnapshotInitializationProgressBlockKey;
    EXPECT_THAT(listing(scan(progress, [](const std::string&) { return true; })), ElementsAre());
    EXPECT_THROW(scan(progress, [](const std::string&) -> bool { throw 1; }), int);
    EXPECT_EQ(listing(scan(DirSnapshotInitializationNoRecursive, true)).size(), 3U);
}

TEST_F(Object, LoadsByTypeAndDescribesItems) {
    folder.write("flat", "2|/f12|2|1600000000|1600000100|2|/o1|255|5|6|2|/l3|3|7|8|");
    const auto snapshot = DirSnapshot::initWithContentsOfFile(log, folder.path("flat"), "/", "sync");
    EXPECT_EQ(snapshot.path(), "/");
    EXPECT_EQ(jsonDescription(*snapshot.attributesOfItemAtPath("/f")),
              R"({"NSFileModificationDate":1600000000,"NSFileSize":12,"NSFileType":"NSFileTypeRegular"})");
    EXPECT_EQ(snapshot.attributesOfItemAtPath("/")->at("NSFileType"), platform::Value("NSFileTypeDirectory"));
    EXPECT_FALSE(snapshot.attributesOfItemAtPath("/missing"));
    EXPECT_FALSE(snapshot.contentsOfDirectoryAtPath("/f"));
    EXPECT_EQ(jsonDescription(*snapshot.contentsOfDirectoryAtPath("/")),
              R"([{"DirSnapshotNodePathKey":"/f","NSFileCreationDate":1600000100,)"
              R"("NSFileModificationDate":1600000000,"NSFileSize":12,"NSFileType":"NSFileTypeRegular"},)"
              R"({"DirSnapshotNodePathKey":"/o"},)"
              R"({"DirSnapshotNodePathKey":"/l","NSFileCreationDate":8,)"
              R"("NSFileModificationDate":7,"NSFileSize":3,"NSFileType":"NSFileTypeSymbolicLink"}])");

    EXPECT_TRUE(snapshot.writeToFile(folder.path("stored"), "sync"));
    EXPECT_TRUE(std::filesystem::exists(folder.path("stored.db")));
    EXPECT_FALSE(std::filesystem::exists(folder.path("stored")));
    EXPECT_EQ(listing(DirSnapshot::initWithContentsOfFile(log, folder.path("stored"), "/", "backup")),
              listing(snapshot));
    EXPECT_FALSE(DirSnapshot::initWithContentsOfFile(log, folder.path("none"), "/", "sync").loaded());
    EXPECT_FALSE(DirSnapshot::initWithContentsOfFile(log, folder.path("flat"), false).path());
}

TEST_F(Object, PrintsPathTimeChildrenAndDigest) {
    DirSnapshot snapshot = emptySnapshot(log);
    snapshot.addItemAtPath("/a", file(1, 5));
    DSNodeComputeHashes(snapshot.nodeAtFullpath("/a")); // what has no digest shows zeros
    testing::internal::CaptureStdout();
    snapshot.debug();
    // SHA-1 of 05 00 00 00 00 00 00 00 01 00 00 00 00 00 00 00 'a'
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "/ 0 1  " + std::string(40, '0') + "\n/a 5 0  15ecfd25ac2324f875344679b4ed8a4cff804b78\n");
    EXPECT_THAT(log.lines(),
                ElementsAre("--------------DEBUG SNAPSHOT START", "--------------DEBUG SNAPSHOT END"));
}

} // namespace
} // namespace dirsnapshot
