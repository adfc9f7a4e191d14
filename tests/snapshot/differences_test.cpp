#include "snapshot/DSDifferences.h"
#include "snapshot/tree/Evidence.h"
#include "tests/snapshot/support.h"

#include <cstring>
#include <map>
#include <set>
#include <sstream>

using namespace snapshot;

namespace {

// A tree of words "PATH,TYPE,SIZE,TIME,INODE,BIRTH,CONTENT", each after what it lies in; what is left out is
// 0. Content is a letter.
struct Side {
    explicit Side(const std::string& words) {
        std::istringstream all(words);
        std::map<const DSNode*, EvidenceRecord> records;
        for (std::string word; all >> word;) {
            std::istringstream fields(word);
            std::vector<std::string> field;
            for (std::string each; std::getline(fields, each, ',');)
                field.push_back(each);
            field.resize(7, "0");
            const size_t slash = field[0].rfind('/');
            const std::string above = slash == 0 ? "/" : field[0].substr(0, slash);
            DSNode* node = DSNodeCreateWithParent(
                DSNodeFindWithFullPath(above.c_str(), root.get()), field[0].c_str() + slash + 1,
                std::stoi(field[2]), std::stoi(field[3]), 0, static_cast<uint8_t>(std::stoi(field[1])));
            records[node].inode = std::stoul(field[4]);
            records[node].modified = std::stol(field[3]);
            records[node].born = std::stol(field[5]);
            if (field[6] != "0") contents[node].fill(static_cast<uint8_t>(field[6][0]));
        }
        evidence.records.emplace_back();
        for (const auto& [path, node] : itemsBelow(root.get())) {
            evidence.records.push_back(records[node]);
            evidence.records.back().check = checkOfNode(*node);
        }
    }
    Tree root = makeRoot();
    DSEvidence evidence;
    std::map<const DSNode*, std::array<uint8_t, DSNodeHashLength>> contents;
};

std::string told(const DSDifference& difference) {
    static constexpr const char* kKinds[] = {"", "A", "D", "M", "R", "?"};
    std::string text = kKinds[difference.kind];
    for (uint32_t bit : {DSFieldType, DSFieldSize, DSFieldModifiedTime, DSFieldContent})
        if ((difference.fields & bit) != 0) text += "tsm?c"[bit == 8 ? 4 : bit / 2];
    if (difference.movedBy != 0) text += "?icanm"[difference.movedBy];
    text += " ";
    if (difference.previousPath != nullptr) text += std::string(difference.previousPath) + ">";
    return text + difference.path + "\n";
}

std::string differences(const DSNode* current, const DSNode* previous, const DSDifferenceOptions& options) {
    std::string text;
    DSNodeEnumerateDifferences(
        current, previous, &options,
        [](const DSDifference* difference, void* context) {
            *static_cast<std::string*>(context) += told(*difference);
            return 0;
        },
        &text);
    return text;
}

constexpr uint32_t kMetadata = DSFieldType | DSFieldSize | DSFieldModifiedTime;

TEST(Differences, NamesFieldsAndWhatMoved) {
    struct Case {
        const char* what;
        const char* previous;
        const char* current;
        const char* expected;
        uint32_t fields = kMetadata;
        bool hasEvidence = false;
        bool hasContent = false;
    };
    const Case cases[] = {
        {"fields", "/a,2,1,1 /b,2,1,2 /d,1,1,1 /k,2,1,1 /l,3,2,2",
         "/a,2,2,1 /b,2,1,1 /d,1,9,9 /k,1,1,1 /l,3,2,2", "Ms /a\nMm /b\nMt /k\n"},
        {"fewer fields", "/a,2,1,1 /b,2,1,2", "/a,2,2,2 /b,2,1,1", "Ms /a\n", DSFieldSize},
        {"contents", "/a,2,1,1,0,0,x /b,2,1,1,0,0,x /c,2,1,1,0,0,x /e,2,0,1 /f,2,1,1,0,0,x /g,2,1,1 /l,3,1,1",
         "/a,2,1,1,0,0,x /b,2,1,1,0,0,y /c,2,2,1,0,0,z /e,2,0,1 /f,2,1,2 /g,2,1,1,0,0,x /l,3,1,1",
         "Mc /b\nMsc /c\nMm /f\n? /g\n", kMetadata | DSFieldContent, false, true},
        {"by inode, and the inode again for another item",
         "/a,2,1,1,7,3 /b,2,1,1,8,3 /c,2,1,1,9,3 /d,1,1,1,10,3",
         "/n,2,1,1,7,3 /o,2,5,5,8,3 /p,2,5,5,9,6 /q,2,4,4,10,3",
         "Ri /a>/n\nRsmi /b>/o\nA /p\nA /q\nD /c\nD /d\n", kMetadata, true},
        {"by inode without births", "/a,2,1,1,7 /b,2,2,1,8", "/n,2,1,1,7 /o,2,2,5,8",
         "Ri /a>/n\nA /o\nD /b\n", kMetadata, true},
        {"two names of a file", "/a,2,1,1,7,1 /b,2,1,1,7,1 /k,2,1,1,8,1",
         "/k,2,1,1,8,1 /l,2,1,1,8,1 /m,2,1,1,7,1 /n,2,1,1,7,1", "A /l\nRi /a>/m\nRi /b>/n\n", kMetadata,
         true},
        {"a directory takes along what is in it",
         "/d,1,1,1,7,1 /d/e,1,1,1,8,1 /d/e/f,2,1,1,9,1 /d/g,2,1,1,10,1 /d/h,2,1,1,11,1 /d/i,2,1,1,12,1 "
         "/d/j,2,1,1,13,1",
         "/n,1,2,2,7,1 /n/e,1,1,1,8,1 /n/e/f,2,1,2,9,1 /n/g,2,1,1,10,1 /n/h,2,1,9,20,9 /n/k,2,3,1,21,1 "
         "/z,2,1,1,12,1",
         "Ri /d>/n\nRmi /d/e/f>/n/e/f\nRmn /d/h>/n/h\nA /n/k\nRi /d/i>/z\nD /d/j\n", kMetadata, true},
        {"a directory that moved into one that moved",
         "/a,1,1,1,7,1 /a/f,2,1,1,8,1 /b,1,1,1,9,1 /b/g,2,1,1,10,1",
         "/z,1,1,1,9,1 /z/g,2,1,1,10,1 /z/y,1,1,1,7,1 /z/y/f,2,1,1,8,1", "Ri /b>/z\nRi /a>/z/y\n", kMetadata,
         true},
        {"by attributes, unless two are alike", "/a,2,1,1 /b,2,2,2 /c,2,2,2 /e,3,1,1",
         "/m,2,1,1 /n,2,2,2 /o,3,1,2", "Ra /a>/m\nA /n\nA /o\nD /b\nD /c\nD /e\n"},
        {"a directory by attributes has a name in common", "/a,1,4,1 /a/x,2,1,1 /b,1,4,2 /b/y,2,1,2 /c,1,4,3",
         "/m,1,4,1 /m/x,2,9,9 /n,1,4,2 /n/z,2,8,8 /o,1,4,3",
         "Ra /a>/m\nRsmn /a/x>/m/x\nA /n\nA /n/z\nRa /c>/o\nD /b\nD /b/y\n"},
        {"by most of the items",
         "/a,1,4,1 /a/s,1,4,1 /a/s/x,2,1,1 /a/y,2,2,2 /a/z,2,3,3 /b,1,4,4 /b/p,2,4,4 /b/q,2,5,5",
         "/m,1,4,8 /m/s,1,4,9 /m/s/x,2,1,1 /m/y,2,2,2 /n,1,4,9 /n/p,2,4,4",
         "Rm /a>/m\nA /n\nRa /b/p>/n/p\nD /a/z\nD /b\nD /b/q\n"},
        {"by contents, its own name first",
         "/d,1,1,1 /d/x,2,1,1,0,0,p /d/y,2,1,1,0,0,p /v,2,0,1,0,0,e /w,2,1,5,0,0,s",
         "/e,1,1,2 /e/y,2,1,3,0,0,p /f,2,1,4,0,0,p /v2,2,0,9,0,0,e /w2,2,1,5,0,0,t",
         "A /e\nRmc /d/y>/e/y\nRmc /d/x>/f\nA /v2\nA /w2\nD /d\nD /v\nD /w\n", kMetadata | DSFieldContent,
         false, true},
    };
    for (const Case& each : cases) {
        const Side previous(each.previous);
        const Side current(each.current);
        const Side* sides[] = {&current, &previous};
        DSDifferenceOptions options{each.fields, 0, 1, nullptr, nullptr, nullptr, static_cast<void*>(sides)};
        if (each.hasEvidence) {
            options.currentEvidence = &current.evidence;
            options.previousEvidence = &previous.evidence;
        }
        if (each.hasContent)
            options.content = [](const DSNode* node, int32_t isPrevious, const char* path, void* context) {
                const Side& side = *static_cast<const Side**>(context)[isPrevious];
                EXPECT_EQ(DSNodeFindWithFullPath(path, side.root.get()), node);
                const auto found = side.contents.find(node);
                return found != side.contents.end() ? found->second.data() : nullptr;
            };
        EXPECT_EQ(differences(current.root.get(), previous.root.get(), options), each.expected) << each.what;
    }
}

// Whatever is taken for moved: what is told turns the one tree into the other.
TEST(Differences, LeadFromOneTreeToTheOther) {
    Random random(5);
    for (int round = 0; round < 300; round++) {
        std::map<std::string, std::string> before{{"", ",1"}}; // words behind the paths
        unsigned inode = 1;
        const auto anyOf = [&](const std::map<std::string, std::string>& items, bool onlyDirectories) {
            while (true) {
                const auto at = std::next(items.begin(), static_cast<ptrdiff_t>(random(items.size())));
                if (!onlyDirectories || at->second.starts_with(",1")) return at->first;
            }
        };
        const auto grow = [&](std::map<std::string, std::string>& items) {
            const std::string type = random(3) == 0 ? ",1" : ",2";
            items.emplace(anyOf(items, true) + "/" + std::to_string(random(9)),
                          type + "," + std::to_string(random(3)) + "," + std::to_string(random(4)) + "," +
                              std::to_string(inode++) + ",1");
        };
        for (unsigned i = random(40); i > 0; i--)
            grow(before);
        auto after = before;
        for (unsigned i = random(8); i > 0; i--) {
            const std::string from = anyOf(after, false);
            const std::string to = anyOf(after, true) + "/" + "mnopq"[random(5)];
            if (to.starts_with(from + "/") || from.empty() || after.contains(to)) continue;
            std::map<std::string, std::string> moved;
            for (const auto& [path, words] : after)
                moved.emplace(path == from || path.starts_with(from + "/") ? to + path.substr(from.size())
                                                                           : path,
                              words);
            after = moved;
            grow(after);
        }
        const auto wordsOf = [](const std::map<std::string, std::string>& items) {
            std::string words;
            for (const auto& [path, rest] : items)
                if (!path.empty()) words += path + rest + " ";
            return words;
        };
        const Side previous(wordsOf(before));
        const Side current(wordsOf(after));
        DSDifferenceOptions options{kMetadata, 0, 1, nullptr, nullptr, nullptr, nullptr};
        if (round % 2 == 0) {
            options.currentEvidence = &current.evidence;
            options.previousEvidence = &previous.evidence;
        }
        std::set<std::string> found;
        std::set<std::string> deleted;
        std::map<std::string, std::string> moves;
        const std::string all = differences(current.root.get(), previous.root.get(), options);
        std::istringstream lines(all);
        for (std::string kind, path; lines >> kind >> path;) {
            if (kind[0] == 'A') found.insert(path);
            if (kind[0] == 'D') deleted.insert(path);
            if (kind[0] == 'R')
                moves.emplace(path.substr(0, path.find('>')), path.substr(path.find('>') + 1));
        }
        for (const auto& [path, words] : before) {
            if (path.empty() || deleted.contains(path)) continue;
            std::string above = path;
            while (!above.empty() && !moves.contains(above))
                above.resize(above.rfind('/'));
            EXPECT_TRUE(found.insert((above.empty() ? "" : moves[above]) + path.substr(above.size())).second);
        }
        std::set<std::string> expected;
        for (const auto& [path, words] : after)
            if (!path.empty()) expected.insert(path);
        ASSERT_EQ(found, expected) << round << "\n"
                                   << wordsOf(before) << "\n"
                                   << wordsOf(after) << "\n"
                                   << all;
    }
}

} // namespace
