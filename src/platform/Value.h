// A property-list value: what travels in requests, replies, user infos and command messages.
//
// A value owns everything below it; copies are deep. "None" is never a value of this type: an operation
// that may answer nothing returns std::optional<Value>. `Null` is the placeholder object for a missing
// value inside a collection. Dictionaries are ordered by the bytes of their keys.
//
// Whoever reads a value from outside bounds its depth (maximumValueDepth), so that walking a value by
// recursion is always safe.
#pragma once

#include "platform/Dictionary.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace platform {

// Deepest nesting of arrays and dictionaries that any reader lets through; what lies deeper is refused.
inline constexpr int maximumValueDepth = 32;

struct Null {
    friend bool operator==(Null, Null) { return true; }
};
using Array = std::vector<Value>;

class Value {
  public:
    Value() = default; // the null object
    Value(Null) {}
    Value(bool boolean) : data(boolean) {}
    Value(int number) : data(std::int64_t{number}) {}
    Value(std::int64_t number) : data(number) {}
    Value(std::uint64_t number) : data(number) {}
    Value(double number) : data(number) {}
    Value(std::string text) : data(std::move(text)) {}
    Value(std::string_view text) : data(std::string(text)) {}
    Value(const char* text) : data(std::string(text)) {}
    Value(Array items) : data(std::move(items)) {}
    Value(Dictionary entries) : data(std::move(entries)) {}

    bool isNull() const { return std::holds_alternative<Null>(data); }

    // The content when it has that type, else null. Borrowed: valid while the value lives unchanged.
    const bool* boolean() const { return std::get_if<bool>(&data); }
    const std::int64_t* signedInteger() const { return std::get_if<std::int64_t>(&data); }
    const std::uint64_t* unsignedInteger() const { return std::get_if<std::uint64_t>(&data); }
    const double* number() const { return std::get_if<double>(&data); }
    std::string* string() { return std::get_if<std::string>(&data); }
    const std::string* string() const { return std::get_if<std::string>(&data); }
    const Array* array() const { return std::get_if<Array>(&data); }
    const Dictionary* dictionary() const { return std::get_if<Dictionary>(&data); }
    Array* array() { return std::get_if<Array>(&data); }
    Dictionary* dictionary() { return std::get_if<Dictionary>(&data); }

    friend bool operator==(const Value&, const Value&) = default;

    using Data =
        std::variant<Null, bool, std::int64_t, std::uint64_t, double, std::string, Array, Dictionary>;
    const Data& content() const { return data; }

  private:
    Data data;
};

struct DictionaryEntry {
    std::string first;
    Value second;

    friend bool operator==(const DictionaryEntry&, const DictionaryEntry&) = default;
};

template <typename Iterator>
Dictionary::Dictionary(Iterator first, Iterator last) {
    insert(first, last);
}

template <typename Iterator>
void Dictionary::insert(Iterator first, Iterator last) {
    for (; first != last; ++first)
        emplace(first->first, first->second);
}

// The entry of that key, or null when there is none. Borrowed from the dictionary.
const Value* find(const Dictionary& dictionary, std::string_view key);

// The content of an entry, when there is one of that type. Pointers are borrowed from the dictionary; null
// otherwise.
const std::string* textAt(const Dictionary& dictionary, std::string_view key);
const Array* arrayAt(const Dictionary& dictionary, std::string_view key);
const Dictionary* dictionaryAt(const Dictionary& dictionary, std::string_view key);
std::optional<bool> flagAt(const Dictionary& dictionary, std::string_view key);
std::optional<std::int64_t> numberAt(const Dictionary& dictionary, std::string_view key); // a whole one

// The strings of an array, in its order; what else is in it is left out. Empty without an array.
std::vector<std::string> textsIn(const Array& array);
std::vector<std::string> textsAt(const Dictionary& dictionary, std::string_view key);

} // namespace platform
