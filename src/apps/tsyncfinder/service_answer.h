// The parts of what the sync service tells of itself; what is missing or of another type counts as empty.
#pragma once

#include "platform/Value.h"

#include <string>
#include <string_view>
#include <vector>

namespace apps::tsyncfinder {

inline std::string textOf(const platform::Dictionary& dictionary, std::string_view key) {
    const std::string* text = platform::textAt(dictionary, key);
    return text != nullptr ? *text : std::string();
}

// The dictionaries of an array; borrowed from it.
inline std::vector<const platform::Dictionary*> rowsAt(const platform::Dictionary& dictionary,
                                                       std::string_view key) {
    std::vector<const platform::Dictionary*> rows;
    if (const platform::Array* array = platform::arrayAt(dictionary, key))
        for (const platform::Value& value : *array)
            if (value.dictionary() != nullptr) rows.push_back(value.dictionary());
    return rows;
}

} // namespace apps::tsyncfinder
