#include "collections/collections.h"

namespace collections {

platform::Value nullWhenNil(std::optional<platform::Value> value) {
    return value ? std::move(*value) : platform::Value();
}

platform::Dictionary dictionaryByReplacingNullsWithStrings(platform::Dictionary dictionary) {
    for (auto& [key, value] : dictionary) {
        if (value.isNull())
            value = "";
        else if (platform::Dictionary* inner = value.dictionary())
            *inner = dictionaryByReplacingNullsWithStrings(std::move(*inner));
    }
    return dictionary;
}

} // namespace collections
