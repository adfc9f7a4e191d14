#include "snapshot/DSFlatFile.h"
#include "snapshot/stores/flat_file.h"
#include "tests/snapshot/support.h"

#include <sys/stat.h>
#include <sys/xattr.h>

#include <algorithm>
#include <cstring>

namespace {

using namespace std::string_literals;

constexpr const char* kExample =
    "6|/a.txt12|2|1600000000|1600000100|2|/d96|1|1600000000|1600000000|4|/d/b0|2|1600000200|1600000200|";

class FlatFile : public InNewFolder {
  protected:
    static std::string load(const std::string& bytes, bool withDigests = false) {
        store("s", bytes);
        return outcomeOf([&] { return DSNodeLoadSnapshotWithSHA1("s", withDigests ? 1 : 0); });
    }
};

TEST_F(FlatFile, WritesTheseBytes) {
    Tree tree = exampleTree();
    EXPECT_EQ(DSNodeSaveSnapshot(tree.get(), "s"), 0);
    EXPECT_EQ(support::contentOf("s"), kExample);
    EXPECT_EQ(filesHere(), 1U);

    Tree odd = Tree(DSNodeCreate("/", 7, 8, 9, DSNodeTypeDirectory));
    DSNodeCreateWithParent(odd.get(), "a|b ", -1, INT64_MIN, INT64_MAX, DSNodeTypeOther);
    DSNode* file = DSNodeCreateWithParent(odd.get(), "\xFF\n", 1, 2, 3, DSNodeTypeSymlink);
    DSNodeCreateWithParent(file, "not below a directory", 0, 0, 0, DSNodeTypeFile);
    FILE* stream = fopen("t", "w");
    snapshot::_saveSnapshot("/p", odd.get(), stream);
    fclose(stream);
    EXPECT_EQ(
        support::contentOf("t"),
        "7|/p/a|b 18446744073709551615|255|-9223372036854775808|9223372036854775807|5|/p/\xFF\n1|3|2|3|");
}

TEST_F(FlatFile, LeavesOutPathsThatAreTooLong) {
    Tree root = makeRoot();
    std::string longest(1022, 'x');
    DSNode* kept = DSNodeCreateWithParent(root.get(), longest.c_str(), 1, 2, 3, DSNodeTypeDirectory);
    DSNodeCreateWithParent(kept, "", 4, 5, 6, DSNodeTypeFile);
    DSNodeCreateWithParent(root.get(), "z", 4, 5, 6, DSNodeTypeFile);
    std::string messages = messagesOf([&] { EXPECT_EQ(DSNodeSaveSnapshot(root.get(), "s"), 0); });
    EXPECT_EQ(support::contentOf("s"), "1023|/" + longest + "1|1|2|3|2|/z4|2|5|6|");
    EXPECT_EQ(std::count(messages.begin(), messages.end(), '\n'), 1) << messages;
}

TEST_F(FlatFile, EveryOddInputHasItsOutcome) {
    const std::string unread = "none\nUnable to read from s. ";
    const std::string noNumber = unread + "Read 0 bytes. \n";
    const std::string noPath = "Unable to read path from snapshot.\n";
    const std::string noInfo = "none\nUnable to info for path /a.\nCurrently read values: ";
    const std::string good = "2|/z9|2|1|2|";
    const std::string goodLine = "/z 9 2 1 2\n";
    const std::pair<std::string, std::string> cases[] = {
        // bytes, and the tree with the messages
        {kExample, "/a.txt 12 2 1600000000 1600000100\n/d 96 1 1600000000 1600000000\n/d/b 0 2 1600000200 "
                   "1600000200\n"},
        {" \n", ""},
        {"4|/x/y5|2|1|2|", "/x 0 1 0 0\n/x/y 5 2 1 2\n"},
        {" 2|/a 5|\n2|\t1|\r2|\n", "/a 5 2 1 2\n"},
        {"+2|/a+5|+2|-1|-2|", "/a 5 2 -1 -2\n"},
        {"002|/a05|2|1|2|", "/a 5 2 1 2\n"},
        {good + "2|/a99999999999999999999|2|-9223372036854775809|2|",
         goodLine + "/a 9223372036854775807 2 -9223372036854775808 2\n"},
        {good + "2|/a99999999999999999999|2|1|2|", goodLine + "/a 9223372036854775807 2 1 2\n"},
        {"2|/a-9223372036854775808|257|1|2|2|/b1|-1|1|2|2|/c1|99999999999999999999|1|2|",
         "/a -9223372036854775808 1 1 2\n/b 1 255 1 2\n/c 1 255 1 2\n"},
        {"2/a5|2|1|2|", "/a 5 2 1 2\n"},
        {"2|/a5|2|1|2 " + good, "/a 5 2 1 2\n" + goodLine},
        {"5|/a|b 1|2|3|4|", "/a|b  1 2 3 4\n"},
        {"1|/5|2|1|2|3|/a/6|1|1|2|2|/a7|2|3|4|3|//b8|2|5|6|",
         "/ 5 1 1 2\n/a 7 1 3 4\n/ 0 1 0 0\n//b 8 2 5 6\n"},
        {"2|/a5|2|1|2|4|/",
         "/a 5 2 1 2\nLoaded path \"/\" whose length is 1 which is different from expected 4. Aborting.\n"},
        {good + "2|", goodLine + noPath},
        {good + "x", noNumber},
        {"+", noNumber},
        {"\0"s, noNumber},
        {"0|5|2|1|2|", unread + "A path of 0 bytes is refused.\n"},
        {"-2|/a5|2|1|2|", unread + "A path of -2 bytes is refused.\n"},
        {"1024|/" + std::string(1023, 'x') + "5|2|1|2|", unread + "A path of 1024 bytes is refused.\n"},
        {"1023|/" + std::string(1022, 'x') + "5|2|1|2|", "/" + std::string(1022, 'x') + " 5 2 1 2\n"},
        {"99999999999999999999|/a", unread + "A path of 9999999999999999999 bytes is refused.\n"},
        {good + "2|ab5|2|1|2|", goodLine + noPath},
        {good + "3|/\0b5|2|1|2|"s,
         goodLine + "Loaded path \"/\" whose length is 1 which is different from expected 3. Aborting.\n"},
        {"2|/a5|2|1|2\0"s, noNumber},
        {good + "2|/a5|2|x", noInfo + "5, 2, 0, 0\n"},
        {good + "2|/a5 |2|1|2|", noInfo + "5, 0, 0, 0\n"},
        {"2|/a12|2|16000000002|/b0|2|1|2|", noInfo + "12, 2, 16000000002, 0\n"},
        {"2|/a5|2|1|-", "Read 0 bytes for length for path /a.\n"},
    };
    for (const auto& [bytes, outcome] : cases)
        EXPECT_EQ(load(bytes), outcome) << bytes;
    EXPECT_EQ(outcomeOf([] { return DSNodeLoadSnapshot("no file", "other"); }), "none\n");
    EXPECT_EQ(outcomeOf([] { return DSNodeLoadSnapshot(".", nullptr); }),
              "none\nUnable to read from .. Read 0 bytes. \n");
}

TEST_F(FlatFile, EveryTruncationKeepsTheWholeRecordsAndSaysSo) {
    const std::string bytes = "2|/a5|2|1|2|2|/d0|1|3|4|4|/d/b6|3|7|8|";
    const struct {
        size_t end; // of the record; its last delimiter may be missing
        const char* line;
    } records[] = {{12, "/a 5 2 1 2\n"}, {24, "/d 0 1 3 4\n"}, {38, "/d/b 6 3 7 8\n"}};
    for (size_t kept = 0; kept <= bytes.size(); kept++) {
        std::string tree;
        bool isWhole = kept == 0;
        for (const auto& [end, line] : records) {
            if (kept >= end) tree += line;
            isWhole = isWhole || kept == end;
        }
        const std::string outcome = load(bytes.substr(0, kept));
        ASSERT_TRUE(outcome.starts_with(tree)) << kept << ": " << outcome;
        const std::string said = outcome.substr(tree.size());
        EXPECT_TRUE(isWhole ? said.empty() : said[0] != '/' && said.find('\n') + 1 == said.size())
            << kept << said;
    }
}

TEST_F(FlatFile, SkipsDigests) {
    const std::string digest(40, 'f');
    EXPECT_EQ(load("2|/a5|2|1|2|" + digest + "|2|/b6|2|1|2|" + digest, true), "/a 5 2 1 2\n/b 6 2 1 2\n");
}

// Records that do not end where a piece of the file that is read or written at a time does; one in seven is
// as the writer writes it.
TEST_F(FlatFile, RecordsGoAcrossTheEndsOfTheBuffer) {
    std::string bytes;
    std::string plain;
    std::string tree;
    for (int i = 100000; i < 160000; i++) {
        const std::string start = "7|/" + std::to_string(i) + std::to_string(i) + "|2|";
        bytes += start + std::string(static_cast<size_t>(i % 7), '0') + "1|2|";
        plain += start + "1|2|";
        tree += "/" + std::to_string(i) + " " + std::to_string(i) + " 2 1 2\n";
    }
    EXPECT_EQ(load(bytes), tree);
    EXPECT_EQ(DSNodeSaveSnapshot(Tree(DSNodeLoadSnapshot("s", "other")).get(), "s"), 0);
    EXPECT_EQ(support::contentOf("s"), plain);
}

TEST_F(FlatFile, ReplacesTheTargetOrWritesIntoIt) {
    Tree tree = exampleTree();
    auto statusOf = [](const char* path) {
        struct stat status {};
        EXPECT_EQ(stat(path, &status), 0);
        return status;
    };
    auto modeOf = [&](const char* path) { return statusOf(path).st_mode & 07777; };
    mode_t mask = umask(027);
    EXPECT_EQ(DSNodeSaveSnapshot(tree.get(), "new"), 0);
    umask(mask);
    EXPECT_EQ(modeOf("new"), 0640U);

    store("old", "longer than nothing");
    const bool isGiven = chown("old", 2, 3) == 0; // else the writer's, who may not give it away
    chmod("old", 0604);
    const auto old = statusOf("old");
    EXPECT_EQ(DSNodeSaveSnapshot(tree.get(), "old"), 0);
    EXPECT_EQ(modeOf("old"), 0604U);
    EXPECT_NE(statusOf("old").st_ino, old.st_ino);
    EXPECT_EQ(statusOf("old").st_uid == 2 && statusOf("old").st_gid == 3, isGiven);

    // An attribute, and the access list "u::rw-,u:2:r--,g::r--,m::r--,o::---" (acl(5), as the kernel stores
    // it).
    const std::string list("\2\0\0\0\1\0\6\0\xFF\xFF\xFF\xFF\2\0\4\0\2\0\0\0\4\0\4\0\xFF\xFF\xFF\xFF"
                           "\x10\0\4\0\xFF\xFF\xFF\xFF\x20\0\0\0\xFF\xFF\xFF\xFF",
                           44);
    for (const auto& [name, value] :
         {std::pair<const char*, std::string>("user.note", "kept"), {"system.posix_acl_access", list}}) {
        char kept[100];
        ASSERT_EQ(setxattr("old", name, value.data(), value.size(), 0), 0) << strerror(errno);
        EXPECT_EQ(DSNodeSaveSnapshot(tree.get(), "old"), 0);
        ASSERT_EQ(getxattr("old", name, kept, sizeof kept), static_cast<ssize_t>(value.size())) << name;
        EXPECT_EQ(std::string(kept, value.size()), value);
    }
    EXPECT_EQ(modeOf("old"), 0640U);
    ASSERT_EQ(setxattr(".", "system.posix_acl_default", list.data(), list.size(), 0), 0) << strerror(errno);
    EXPECT_EQ(DSNodeSaveSnapshot(tree.get(), "new"), 0);
    EXPECT_LT(getxattr("new", "system.posix_acl_access", nullptr, 0), 0) << "the list is for new files";

    for (const char* name : {"symbolic", "hard"}) {
        store("target", "x");
        if (strcmp(name, "hard") == 0)
            std::filesystem::create_hard_link("target", name);
        else
            std::filesystem::create_symlink("target", name);
        EXPECT_EQ(DSNodeSaveSnapshot(tree.get(), name), 0);
        EXPECT_EQ(support::contentOf("target"), kExample);
    }
    EXPECT_TRUE(std::filesystem::is_symlink("symbolic"));
    chmod(".", 0777);
    chmod("old", 0666);
    const auto others = statusOf("old"); // whose owner a new file cannot be given
    const bool isSomebody = isGiven && seteuid(65534) == 0;
    EXPECT_EQ(DSNodeSaveSnapshot(tree.get(), "old"), 0);
    EXPECT_EQ(statusOf("old").st_ino == others.st_ino, isSomebody);
    if (isSomebody) {
        ASSERT_EQ(seteuid(0), 0);
    }
    EXPECT_EQ(filesHere(), 5U);

    EXPECT_EQ(DSNodeSaveSnapshot(tree.get(), "no/folder"), 0);
    EXPECT_EQ(DSNodeSaveSnapshot(tree.get(), "."), 0);
    EXPECT_EQ(DSNodeSaveSnapshot(tree.get(), "/dev/full"), EOF);
    EXPECT_EQ(DSNodeSaveSnapshot(nullptr, "old"), EOF);
    EXPECT_EQ(support::contentOf("old"), kExample);
}

} // namespace
