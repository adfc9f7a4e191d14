#include "platform/Value.h"

#include <utility>

namespace platform {

const Value* find(const Dictionary& dictionary, std::string_view key) {
    const auto entry = dictionary.find(key);
    return entry == dictionary.end() ? nullptr : &entry->second;
}

const std::string* textAt(const Dictionary& dictionary, std::string_view key) {
    const Value* value = find(dictionary, key);
    return value != nullptr ? value->string() : nullptr;
}

const Array* arrayAt(const Dictionary& dictionary, std::string_view key) {
    const Value* value = find(dictionary, key);
    return value != nullptr ? value->array() : nullptr;
}

const Dictionary* dictionaryAt(const Dictionary& dictionary, std::string_view key) {
    const Value* value = find(dictionary, key);
    return value != nullptr ? value->dictionary() : nullptr;
}

std::optional<bool> flagAt(const Dictionary& dictionary, std::string_view key) {
    const Value* value = find(dictionary, key);
    const bool* flag = value != nullptr ? value->boolean() : nullptr;
    return flag != nullptr ? std::optional(*flag) : std::nullopt;
}

std::optional<std::int64_t> numberAt(const Dictionary& dictionary, std::string_view key) {
    const Value* value = find(dictionary, key);
    if (value == nullptr) return std::nullopt;
    if (const std::int64_t* number = value->signedInteger()) return *number;
    const std::uint64_t* number = value->unsignedInteger();
    return number != nullptr && std::in_range<std::int64_t>(*number)
               ? std::optional(static_cast<std::int64_t>(*number))
               : std::nullopt;
}

std::vector<std::string> textsIn(const Array& array) {
    std::vector<std::string> texts;
    for (const Value& value : array)
        if (const std::string* text = value.string()) texts.push_back(*text);
    return texts;
}

std::vector<std::string> textsAt(const Dictionary& dictionary, std::string_view key) {
    const Array* array = arrayAt(dictionary, key);
    return array != nullptr ? textsIn(*array) : std::vector<std::string>();
}

} // namespace platform
