// Small additions to arrays, dictionaries and the null object. Functions take the receiver first.
#pragma once

#include "platform/Value.h"

#include <algorithm>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace collections {

template <typename Element>
std::vector<Element> reversedArray(const std::vector<Element>& array) {
    return {array.rbegin(), array.rend()};
}

template <typename Element>
void reverse(std::vector<Element>& array) {
    std::reverse(array.begin(), array.end());
}

// The value, or the null object for none.
platform::Value nullWhenNil(std::optional<platform::Value> value);

// The first key in the dictionary's order for whose value the comparator (that value, the searched value)
// answers true; none when there is no such key.
template <typename Dictionary, typename Searched, typename Comparator>
std::optional<typename Dictionary::key_type>
findFirstKeyWithValue(const Dictionary& dictionary, const Searched& value, Comparator&& usingComparator) {
    for (const auto& [key, held] : dictionary)
        if (usingComparator(held, value)) return key;
    return std::nullopt;
}

// The same with "" for each null object, in the dictionaries inside too, but not inside arrays.
platform::Dictionary dictionaryByReplacingNullsWithStrings(platform::Dictionary dictionary);

// An object and its key, in this order.
using ObjectAndKey = std::pair<std::optional<platform::Value>, std::optional<std::string>>;

// The dictionary of those pairs up to the first that lacks its object or its key; a pair whose object is the
// null object is left out. When a key occurs twice, its last object stands. `Result` is the dictionary type
// to make.
template <typename Result = platform::Dictionary>
Result dictionaryWithObjectsAndKeysIngnoringNull(std::initializer_list<ObjectAndKey> objectsAndKeys) {
    Result dictionary;
    for (const auto& [object, key] : objectsAndKeys) {
        if (!object || !key) break;
        if (!object->isNull()) dictionary.insert_or_assign(*key, *object);
    }
    return dictionary;
}

} // namespace collections
