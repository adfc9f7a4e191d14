#include "tests/dirsnapshot/support.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

namespace dirsnapshot {
namespace {

using testing::ElementsAre;

class Object : public testing::Test {
  protected:
    Object() {
        folder = (std::filesystem::temp_directory_path() / "object-XXXXXX").string();
        if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("no temporary directory");
        std::filesystem::create_directories(folder + "/t/d");
        for (const char* name : {"/t/a", "/t/.b", "/t/d/x", "/t/d/y"})
            std::ofstream(folder + name) << "12";
    }
    ~Object() override { std::filesystem::remove_all(folder); }

    support::RecordingLog log;
    std::string folder;
};

TEST_F(Object, ScansCountsAndCopies) {
    std::vector<std::string> seen;
    const ProgressBlock see = [&](const std::string& path) {
        return seen.push_back(path.substr(folder.size())), false;
    };
    const auto snapshot = DirSnapshot::initWithDirectoryPath(
        log, folder + "/t",
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
    EXPECT_EQ(copy.path(), folder + "/t");
    const platform::Dictionary same = copy.compareWithSnapshot(snapshot);
    ASSERT_EQ(same.size(), 1U);
    EXPECT_EQ(same.at(DirSnapshotUnchangedPathsKey),
              platform::Value(platform::Array{"/.b", "/a", "/d", "/d/x", "/d/y"}));
    EXPECT_EQ(DirSnapshot(log).compareWithSnapshot(snapshot).count(DirSnapshotDeletedPathsKey), 1U);

    const auto scan = [&](const char* key, const InitializationOption& option) {
        return DirSnapshot::initWithDirectoryPath(log, folder + "/t", InitializationOptions{{key, option}});
    };
    const char* progress = DirSnapshotInitializationProgressBlockKey;
    EXPECT_THAT(listing(scan(progress, [](const std::string&) { return true; })), ElementsAre());
    EXPECT_THROW(scan(progress, [](const std::string&) -> bool { throw 1; }), int);
    EXPECT_EQ(listing(scan(DirSnapshotInitializationNoRecursive, true)).size(), 3U);
}

TEST_F(Object, LoadsByTypeAndDescribesItems) {
    std::ofstream(folder + "/flat") << "2|/f12|2|1600000000|1600000100|2|/o1|255|5|6|2|/l3|3|7|8|";
    const auto snapshot = DirSnapshot::initWithContentsOfFile(log, folder + "/flat", "/", "sync");
    EXPECT_EQ(snapshot.path(), "/");
    EXPECT_EQ(*snapshot.attributesOfItemAtPath("/f"),
              (platform::Dictionary{{"NSFileType", "NSFileTypeRegular"},
                                    {"NSFileModificationDate", std::int64_t{1600000000}},
                                    {"NSFileSize", 12}}));
    EXPECT_EQ(snapshot.attributesOfItemAtPath("/")->at("NSFileType"), platform::Value("NSFileTypeDirectory"));
    EXPECT_FALSE(snapshot.attributesOfItemAtPath("/missing"));
    EXPECT_FALSE(snapshot.contentsOfDirectoryAtPath("/f"));
    EXPECT_EQ(snapshot.contentsOfDirectoryAtPath("/"),
              (platform::Array{platform::Dictionary{{"DirSnapshotNodePathKey", "/f"},
                                                    {"NSFileType", "NSFileTypeRegular"},
                                                    {"NSFileSize", 12},
                                                    {"NSFileModificationDate", std::int64_t{1600000000}},
                                                    {"NSFileCreationDate", std::int64_t{1600000100}}},
                               platform::Dictionary{{"DirSnapshotNodePathKey", "/o"}},
                               platform::Dictionary{{"DirSnapshotNodePathKey", "/l"},
                                                    {"NSFileType", "NSFileTypeSymbolicLink"},
                                                    {"NSFileSize", 3},
                                                    {"NSFileModificationDate", 7},
                                                    {"NSFileCreationDate", 8}}}));

    EXPECT_TRUE(snapshot.writeToFile(folder + "/stored", "sync"));
    EXPECT_TRUE(std::filesystem::exists(folder + "/stored.db"));
    EXPECT_FALSE(std::filesystem::exists(folder + "/stored"));
    EXPECT_EQ(listing(DirSnapshot::initWithContentsOfFile(log, folder + "/stored", "/", "backup")),
              listing(snapshot));
    EXPECT_FALSE(DirSnapshot::initWithContentsOfFile(log, folder + "/none", "/", "sync").loaded());
    EXPECT_FALSE(DirSnapshot::initWithContentsOfFile(log, folder + "/flat", false).path());
}

TEST_F(Object, PrintsPathTimeChildrenAndDigest) {
    DirSnapshot snapshot = emptySnapshot(log);
    snapshot.addItemAtPath("/a", file(1, 5));
    testing::internal::CaptureStdout();
    snapshot.debug();
    const std::string zeros(40, '0');
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "/ 0 1  " + zeros + "\n/a 5 0  " + zeros + "\n");
    EXPECT_THAT(log.lines(),
                ElementsAre("--------------DEBUG SNAPSHOT START", "--------------DEBUG SNAPSHOT END"));
    snapshot.computeHash();
    testing::internal::CaptureStdout();
    snapshot.printAll(snapshot.nodeAtFullpath("/a"));
    // SHA-1 of 05 00 00 00 00 00 00 00 01 00 00 00 00 00 00 00 'a'
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "/a 5 0  15ecfd25ac2324f875344679b4ed8a4cff804b78\n");
}

} // namespace
} // namespace dirsnapshot
