#include "service/plan.h"
#include "tests/service/PairModel.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>

namespace service {
namespace {

Shape shapeOf(char letter) {
    if (letter == '-') return Shape::absent;
    if (letter == '?') return Shape::unknown;
    return letter >= '0' && letter <= '9' ? Shape::file : Shape::folder;
}

std::optional<Identity> identityOf(char letter) {
    if (letter >= 'a') return std::nullopt;
    return Identity{static_cast<std::uint64_t>(letter), 0};
}

// Words: a name, then what was agreed, is here and is there, a letter each: "-" nothing, "?" unknown, a digit
// a file of that content, "D" to "F" a folder. Content and identity go together, so that an equal letter
// elsewhere is a moved item; a small letter is a folder without an identity.
std::vector<Name> namesOf(const std::string& words) {
    std::vector<Name> names;
    std::istringstream all(words);
    for (std::string path, states; all >> path >> states;) {
        Name name;
        name.path = path;
        const char agreed = states[0];
        if (agreed != '-') {
            Agreed before;
            before.shape = shapeOf(agreed);
            before.digest = PairModel::digestOf(agreed);
            before.identity = {identityOf(agreed), identityOf(agreed)};
            name.agreed = std::move(before);
        }
        for (std::size_t side = 0; side < 2; ++side) {
            const char letter = states[side + 1];
            Seen& seen = name.seen[side];
            seen.shape = shapeOf(letter);
            if (seen.shape == Shape::absent || seen.shape == Shape::unknown) continue;
            seen.identity = identityOf(letter);
            if (seen.shape == Shape::file) seen.digest = PairModel::digestOf(letter);
            seen.differs = letter != agreed;
        }
        names.push_back(std::move(name));
    }
    return names;
}

std::string wordOf(const Operation& operation) {
    static const char* const words[] = {"put",   "folder", "trash",  "move",  "respell", "aside",
                                        "carry", "agree",  "forget", "learn", "hold"};
    std::string text = words[static_cast<std::size_t>(operation.what)];
    text += operation.side == Side::here ? " here " : " there ";
    text += operation.path;
    if (!operation.to.empty()) text += " > " + operation.to;
    if (operation.replaces) text += " replacing";
    return text;
}

std::string wordsOf(const std::vector<Operation>& operations) {
    std::string words;
    for (const Operation& operation : operations)
        words += (words.empty() ? "" : ", ") + wordOf(operation);
    return words;
}

TEST(Plan, DoesWhatEachCaseAsksFor) {
    const struct {
        const char *name, *names, *operations;
    } cases[] = {
        {"nothing new", "f 111 g DDD", ""},
        {"new here", "f -1-", "put there f"},
        {"new there, in a folder", "g --D g/f --1", "folder here g, put here g/f"},
        {"changed", "f 121 g 112", "put there f replacing, put here g replacing"},
        {"deleted here", "f 1-1", "trash there f"},
        {"deleted there", "f 11-", "trash here f"},
        {"an edit beats a deletion", "f 12- g 1-2", "put there f, put here g"},
        {"both new and equal", "f -11", "agree here f"},
        {"both changed", "f 123", "aside here f, put here f"},
        {"gone on both", "f 1--", "forget here f"},
        {"a folder goes in one piece", "g D-D g/f 1-1 g/k 2--", "trash there g"},
        {"a folder with something new in it stays, with that only", "g D-D g/f 1-1 g/k --2",
         "folder here g, trash there g/f, put here g/k"},
        {"the same the other way round", "g DD- g/f 11- g/k 12-",
         "folder there g, trash here g/f, put there g/k"},
        {"a folder with something unknown in it is left as it is", "g D-D g/f 1-1 g/k --?",
         "trash there g/f, hold there g/k, hold there g"},
        {"nothing follows from unknown", "g D?D g/f 1-2 h --?", "hold here g, hold there h"},
        {"a file became a folder", "g 1D1 g/f -2-", "trash there g, folder there g, put there g/f"},
        {"a folder became a file", "g D1D g/f 2-2", "trash there g, put there g"},
        {"a folder became a file, and got something new there", "g D1D g/f 2-3",
         "aside here g, folder here g, put here g/f"},
        {"a folder with changes in it, and a file of its name there", "g DD1 g/f 22- g/k 34-",
         "trash here g/f, aside here g, put here g"},
        {"two kinds at one name", "g -D1 g/f -2-", "aside here g, put here g"},
        {"moved here", "a 1-1 b -1-", "move there a > b"},
        {"moved there", "a 11- b --1", "move here a > b"},
        {"moved here, changed there", "a 1-2 b -1-", "move there a > b"},
        {"moved here, deleted there", "a 1-- b -1-", "forget here a, put there b"},
        {"moved into a new folder", "a 1-1 g -D- g/a -1-", "folder there g, move there a > g/a"},
        {"moved to two places: the storage's counts next", "a 1-- b -1- c --1", "carry here a > b"},
        {"the target is taken: the old one goes, both new ones stay", "a 1-1 b -12",
         "trash there a, aside here b, put here b"},
        {"saved by way of a copy: no move, the name stays in place", "a 121 b -1-",
         "put there a replacing, put there b"},
        {"two names swapped", "a 121 b 212",
         "move there b > .tsyncquenz-moving-0, move there a > b, move there .tsyncquenz-moving-0 > a"},
        {"a row of names moved on", "l1 1-1 l2 212 l3 323 l4 -3-",
         "move there l3 > l4, move there l2 > l3, move there l1 > l2"},
        {"over a known name that was deleted there: no move", "a 1-1 b 21-", "trash there a, put there b"},
        {"no move out of what is unknown", "g D?D g/f 1-1 h -1-", "hold here g, put there h"},
        {"nothing is carried to below what is unknown", "a 1-- c --1 g -D? g/b -1-",
         "forget here a, put here c, hold there g"},
        {"nothing is carried to below a file", "a 1-- c --1 g 2D2 g/b -1-",
         "forget here a, put here c, trash there g, folder there g, put there g/b"},
        {"a folder with a change in it there moves item by item", "g D-D g/f 1-2 h -D- h/f -1-",
         "folder there h, move there g/f > h/f"},
        {"a folder moved in one piece", "g D-D g/f 1-1 h -D- h/f -1-", "move there g > h"},
        {"a folder that holds something new there moves item by item", "g D-D g/f 1-1 g/k --2 h -D- h/f -1-",
         "folder there h, move there g/f > h/f"},
    };
    for (const auto& [name, names, operations] : cases)
        EXPECT_EQ(wordsOf(plan(namesOf(names))), operations) << name;
}

TEST(Plan, AsksForDigestsOnlyWhereTheyDecide) {
    std::vector<Name> names = namesOf("a -12");
    names[0].seen[1].digest.reset();
    EXPECT_EQ(wordsOf(plan(names)), "learn there a");
    names[0].seen[0].size = 5;
    names[0].seen[1].size = 6;
    EXPECT_EQ(wordsOf(plan(names)), "aside here a, put here a");

    names = namesOf("a 1-1 b -1-"); // a name, and a number of an inode, used again
    names[1].seen[0].digest.reset();
    EXPECT_EQ(wordsOf(plan(names)), "learn here b");

    names = namesOf("a 1-1 b -1-"); // any two empty files are equal
    names[0].agreed->empty = true;
    names[1].seen[0].identity.reset();
    EXPECT_EQ(wordsOf(plan(names)), "trash there a, put there b");

    names = namesOf("a 1-- b -11"); // a storage that knows neither digests nor items
    names[1].seen[1].digest.reset();
    names[1].seen[1].identity.reset();
    names[0].agreed->record[1] = names[1].seen[1].record = 77;
    EXPECT_EQ(wordsOf(plan(names)), "carry here a > b");
}

TEST(Plan, FollowsANameThatIsWrittenAnew) {
    std::vector<Name> names = namesOf("readme 111");
    names[0].agreed->spelling = {"Readme", "Readme"};
    names[0].seen[0].spelling = "README";
    names[0].seen[1].spelling = "Readme";
    EXPECT_EQ(wordsOf(plan(names)), "respell there readme");
    names[0].seen[1].spelling = "ReadMe";
    EXPECT_EQ(wordsOf(plan(names)), "respell here readme");
}

TEST(Plan, LosesNothingAndEndsWithBothSidesEqual) {
    for (unsigned seed = 0; seed < 2000; ++seed) {
        std::mt19937 random(seed);
        PairModel pair([&random](unsigned below) { return static_cast<unsigned>(random() % below); });
        try {
            for (int visit = 0; visit < 4; ++visit) {
                pair.edit(1 + static_cast<unsigned>(random() % 8));
                pair.settle();
            }
        } catch (const std::exception& error) {
            FAIL() << "seed " << seed << ": " << error.what();
        }
    }
}

} // namespace
} // namespace service
