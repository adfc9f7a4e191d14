#include "foundation/collections.h"

#include <gtest/gtest.h>

namespace foundation {
namespace {

using platform::Array;
using platform::Dictionary;
using platform::Null;
using platform::Value;

TEST(Collections, ReversedArrayLeavesTheReceiverAndReverseDoesNot) {
    std::vector<int> numbers = {1, 2, 3, 4};
    EXPECT_EQ(reversedArray(numbers), (std::vector<int>{4, 3, 2, 1}));
    EXPECT_EQ(numbers.front(), 1);
    reverse(numbers);
    EXPECT_EQ(numbers, (std::vector<int>{4, 3, 2, 1}));
}

TEST(Collections, FirstKeyGoesByTheDictionarysOrder) {
    int calls = 0;
    const auto lessThan = [&calls](int held, int searched) { return ++calls, held < searched; };
    using Numbers = std::map<std::string, int>;
    const Numbers numbers = {{"a", 9}, {"b", 3}, {"c", 1}};
    EXPECT_EQ(findFirstKeyWithValue(numbers, 5, lessThan), "b");
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(findFirstKeyWithValue(numbers, 0, lessThan), std::nullopt);
}

TEST(Collections, NullsAreMadeReplacedAndLeftOut) {
    EXPECT_EQ(nullWhenNil(std::nullopt), Value(Null()));
    EXPECT_EQ(nullWhenNil("text"), Value("text"));

    const Dictionary nested = {
        {"k1", Null()}, {"k2", Dictionary{{"k3", Null()}}}, {"k4", Array{Null()}}, {"k5", 1}};
    const Dictionary replaced = {
        {"k1", ""}, {"k2", Dictionary{{"k3", ""}}}, {"k4", Array{Null()}}, {"k5", 1}};
    EXPECT_EQ(dictionaryByReplacingNullsWithStrings(nested), replaced);

    EXPECT_EQ(
        dictionaryWithObjectsAndKeysIngnoringNull({{1, "k1"}, {Null(), "k2"}, {3, std::nullopt}, {4, "k4"}}),
        (Dictionary{{"k1", 1}}));
    struct Special : Dictionary {};
    const Special special = dictionaryWithObjectsAndKeysIngnoringNull<Special>({{1, "k"}, {2, "k"}});
    EXPECT_EQ(special.at("k"), Value(2));
}

} // namespace
} // namespace foundation
