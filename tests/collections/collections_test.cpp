#include "collections/collections.h"

#include <gtest/gtest.h>

namespace collections {
namespace {

using namespace platform;

TEST(Collections, ReverseAndSearchGoByTheOrder) {
    std::vector<int> numbers = {1, 2, 3, 4};
    EXPECT_EQ(reversedArray(numbers), (std::vector<int>{4, 3, 2, 1}));
    EXPECT_EQ(numbers.front(), 1); // the receiver stays
    reverse(numbers);
    EXPECT_EQ(numbers, (std::vector<int>{4, 3, 2, 1}));

    const std::map<std::string, int> keyed = {{"a", 9}, {"b", 3}, {"c", 1}};
    EXPECT_EQ(findFirstKeyWithValue(keyed, 5, std::less()), "b");
    EXPECT_EQ(findFirstKeyWithValue(keyed, 0, std::less()), std::nullopt);
}

TEST(Collections, NullsAreMadeReplacedAndLeftOut) {
    EXPECT_EQ(nullWhenNil(std::nullopt), Value(Null()));
    EXPECT_EQ(nullWhenNil("text"), Value("text"));
    EXPECT_EQ(dictionaryByReplacingNullsWithStrings(
                  {{"k1", Null()}, {"k2", Dictionary{{"k3", Null()}}}, {"k4", Array{Null()}}, {"k5", 1}}),
              (Dictionary{{"k1", ""}, {"k2", Dictionary{{"k3", ""}}}, {"k4", Array{Null()}}, {"k5", 1}}));
    struct Special : Dictionary {};
    const Special special = dictionaryWithObjectsAndKeysIngnoringNull<Special>(
        {{1, "k1"}, {Null(), "k2"}, {2, "k1"}, {3, std::nullopt}, {4, "k4"}});
    EXPECT_EQ(special, (Dictionary{{"k1", 2}}));
}

} // namespace
} // namespace collections
