#include "bench/snapshot/slow_disk.h"
#include "snapshot/DSFlatFile.h"
#include "snapshot/DSQuickLook.h"
#include "snapshot/DSSnapshot.h"
#include "snapshot/tree/Evidence.h"
#include "tests/snapshot/support.h"

#include <sys/stat.h>

#include <chrono>
#include <fcntl.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using snapshot::Evidence;

std::string withoutAccessTimes(const std::string& lines) {
    std::string text;
    size_t start = 0;
    for (size_t end = 0; (end = lines.find('\n', start)) != std::string::npos; start = end + 1)
        text += lines.substr(start, lines.rfind(' ', end) - start) + "\n";
    return text;
}

// A directory, the tree and the evidence of the looks at it.
class QuickLookTest : public InNewFolder {
  protected:
    std::string look(int32_t kind = DSQuickLookItems) {
        _result = DSNodeLookAgain(_tree.get(), _evidence.get(), _path.c_str(), kind);
        // As if the look had been long after the last change, so that its evidence is believed; a later
        // change still shows, since the file system's clock has ticked.
        _evidence->begun += 10'000'000'000;
        waitForTick();
        return withoutAccessTimes(dump(_tree.get()));
    }
    std::string scanned() const {
        return withoutAccessTimes(dump(Tree(DSNodeCreateDirectorySnapshot(_path.c_str())).get()));
    }
    uint64_t directoriesRead() const { return DSEvidenceDirectoriesRead(_evidence.get()); }

    static void waitForTick() {
        const auto stampOf = [] {
            std::ofstream("../probe") << "x";
            return fs::last_write_time("../probe");
        };
        const auto first = stampOf();
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (stampOf() == first)
            ASSERT_LT(std::chrono::steady_clock::now(), end);
    }

    QuickLookTest() {
        fs::create_directory("t");
        fs::current_path("t");
        _path = fs::current_path();
    }

    std::string _path;
    Tree _tree = makeRoot();
    Evidence _evidence{DSEvidenceCreate()};
    int _result = 0;
};

TEST_F(QuickLookTest, FindsWhatAScanFindsAfterRandomChanges) {
    Random random(7);
    const auto folder = [&] {
        std::string path = ".";
        for (unsigned depth = random(4); depth > 0; depth--)
            path += "/d" + std::to_string(random(3));
        std::error_code error;
        fs::create_directories(path, error);
        return path;
    };
    for (int round = 0; round < 150; round++) {
        for (unsigned edits = random(4); edits > 0; edits--) {
            const std::string path = folder() + "/" + "abcd\xFF"[random(5)];
            std::error_code error;
            switch (random(6)) {
            case 0:
                fs::remove_all(path, error);
                break;
            case 1:
                fs::rename(path, folder() + "/" + "abcd"[random(4)], error);
                break;
            case 2:
                fs::create_directory(path, error);
                break;
            case 3:
                fs::create_symlink("nowhere", path, error);
                break;
            default:
                store(path, std::string(random(30), 'x'));
            }
        }
        // Every third time so slow that several threads ask ahead of the walk.
        bench::setTimeOfAnswer(std::chrono::microseconds(round % 3 == 0 ? 70 : 0));
        const std::string found = look();
        bench::setTimeOfAnswer({});
        ASSERT_EQ(found, scanned()) << round;
        ASSERT_EQ(_result, 0);
        if (random(8) == 0) { // by way of the files
            ASSERT_EQ(DSNodeSaveSnapshot(_tree.get(), "../store"), 0);
            ASSERT_EQ(DSEvidenceSave(_evidence.get(), "../evidence"), 0);
            _tree.reset(DSNodeLoadSnapshot("../store", "flat"));
            _evidence.reset(DSEvidenceLoad("../evidence", _tree.get()));
            ASSERT_FALSE(_evidence->records.empty());
        }
    }
    look();
    look();
    EXPECT_EQ(directoriesRead(), 0U);
}

TEST_F(QuickLookTest, ReadsOnlyWhatMayDiffer) {
    fs::create_directories("a/b/c");
    fs::create_directories("z");
    store("a/b/f", "one");
    DSNodeLookAgain(_tree.get(), _evidence.get(), _path.c_str(), DSQuickLookItems);
    EXPECT_EQ(directoriesRead(), 5U);
    waitForTick();
    DSNodeLookAgain(_tree.get(), _evidence.get(), _path.c_str(), DSQuickLookItems);
    EXPECT_EQ(directoriesRead(), 5U) << "what is younger than two seconds is believed";
    look();

    store("a/b/f", "three"); // in place: not seen by a look at the structure, but by the next one
    store("z/new", "");
    EXPECT_NE(look(DSQuickLookStructure), scanned());
    EXPECT_EQ(directoriesRead(), 1U);
    EXPECT_NE(DSNodeFindWithFullPath("/z/new", _tree.get()), nullptr);
    EXPECT_EQ(DSNodeFindWithFullPath("/a/b/f", _tree.get())->size, 3);
    EXPECT_EQ(look(), scanned());
    EXPECT_EQ(directoriesRead(), 0U);

    fs::remove_all("a/b");
    fs::create_directories("a/b/c"); // another one of the same name
    EXPECT_EQ(look(DSQuickLookStructure), scanned());
}

// So many items that threads of their own ask for them, which go about in the tree.
TEST_F(QuickLookTest, FindsWhatAScanFindsInALargeTree) {
    for (int i = 0; i < 30; i++) {
        const std::string folder = "d" + std::to_string(i);
        fs::create_directories(folder + "/m/e");
        for (int j = 0; j < 30; j++)
            for (const char* name : {"/a", "/m/x", "/m/e/b"})
                store(folder + name + std::to_string(j), "x");
    }
    look();
    store("d3/m/e/b7", "in place");
    store("d5/m/new", "");
    fs::remove_all("d7/m");
    fs::rename("d9/m", "d9/was");
    fs::create_directory_symlink("was", "d9/m"); // by which all that was there is still found
    fs::remove("d11/a3");
    fs::create_directory("d11/a3"); // of another kind
    const fs::path before = fs::current_path();
    EXPECT_EQ(look(), scanned());
    EXPECT_EQ(directoriesRead(), 7U); // in d5, d7, d9 and d11 one each, and the three that are new there
    look(DSQuickLookStructure);
    store("d13/m/e/new", "");
    EXPECT_EQ(look(DSQuickLookStructure), scanned());
    EXPECT_EQ(directoriesRead(), 1U);
    EXPECT_EQ(fs::current_path(), before);

    // The same directory by a path with which what is deepest is too long by one byte.
    const std::string deep =
        std::string(200, 'p') + "/" + std::string(200, 'q') + "/" + std::string(200, 'r');
    fs::create_directories(deep + "/" + std::string(200, 's'));
    store(deep + "/" + std::string(200, 's') + "/f", "");
    ASSERT_EQ(look(), scanned());
    std::string longer = fs::path(_path).parent_path() / "";
    longer.resize(1024 - 4 * 201 - 2, 't');
    fs::rename(_path, longer);
    _path = longer;
    EXPECT_EQ(look(), scanned());
    EXPECT_EQ(_result, -1);
}

TEST_F(QuickLookTest, TakesOnlyEvidenceOfItsTree) {
    store("f", "x");
    fs::create_directory("d");
    timespec times[2] = {{5, 0}, {1, 2}};
    utimensat(AT_FDCWD, "f", times, 0);
    look();
    struct stat file, folder;
    ASSERT_TRUE(stat("f", &file) == 0 && stat("d", &folder) == 0);
    ASSERT_EQ(DSEvidenceSave(_evidence.get(), "../e"), 0);
    const std::string bytes = support::contentOf("../e");
    const auto number = [&](size_t at, size_t length = 8) {
        uint64_t value = 0;
        for (size_t i = length; i-- > 0;)
            value = value << 8 | static_cast<uint8_t>(bytes[at + i]);
        return value;
    };
    ASSERT_EQ(bytes.size(), 24U + 3 * 48);
    EXPECT_EQ(bytes.substr(0, 8), "dsevid2\n");
    EXPECT_EQ(number(16), 3U);
    EXPECT_EQ(number(24 + 40, 4), 3U); // the root's sub-tree
    EXPECT_EQ(number(72 + 8), folder.st_ino);
    EXPECT_EQ(number(120), file.st_dev);
    EXPECT_EQ(number(120 + 8), file.st_ino);
    EXPECT_EQ(number(120 + 16), 1'000'000'002U);
    EXPECT_EQ(number(120 + 40, 4), 1U);
    // FNV-1a of 66, 02, 01 and seven zeros, 01 and seven zeros
    EXPECT_EQ(number(120 + 44, 4), 0x414bf821U);

    const auto isTaken = [&](const std::string& content, const DSNode* root) {
        store("../e", content);
        return !Evidence(DSEvidenceLoad("../e", root))->records.empty();
    };
    EXPECT_TRUE(isTaken(bytes, _tree.get()));
    for (size_t length : {0U, 8U, 24U, 72U, 167U})
        EXPECT_FALSE(isTaken(bytes.substr(0, length), _tree.get())) << length;
    std::string wrong = bytes;
    wrong[24 + 40] = 2;
    EXPECT_FALSE(isTaken(wrong, _tree.get()));
    wrong = bytes;
    wrong[16 + 7] = '\x7F'; // more records than there is memory for
    EXPECT_FALSE(isTaken(wrong, _tree.get()));
    EXPECT_FALSE(isTaken(bytes, makeRoot().get()));
    EXPECT_FALSE(isTaken(bytes, nullptr));
    EXPECT_EQ(DSEvidenceSave(_evidence.get(), nullptr), -1);
    EXPECT_EQ(DSEvidenceSave(nullptr, "../e"), -1);
    EXPECT_EQ(DSNodeLookAgain(_tree.get(), nullptr, _path.c_str(), DSQuickLookItems), -1);
    Tree other(DSNodeCopy(_tree.get()));
    DSNodeFindWithFullPath("/f", other.get())->size = 2;
    EXPECT_FALSE(isTaken(bytes, other.get()));
    DSNodeCreateWithParent(DSNodeFindWithFullPath("/d", _tree.get()), "more", 0, 0, 0, DSNodeTypeFile);
    EXPECT_FALSE(isTaken(bytes, _tree.get()));
}

} // namespace
