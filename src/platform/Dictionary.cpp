#include "platform/Value.h"

#include <algorithm>
#include <stdexcept>

namespace platform {
namespace {

using Entries = std::vector<DictionaryEntry>;

bool isBefore(const DictionaryEntry& one, const DictionaryEntry& other) { return one.first < other.first; }

} // namespace

Dictionary::Dictionary() noexcept = default;
Dictionary::Dictionary(const Dictionary&) = default;
Dictionary::Dictionary(Dictionary&&) noexcept = default;
Dictionary& Dictionary::operator=(const Dictionary&) = default;
Dictionary& Dictionary::operator=(Dictionary&&) noexcept = default;
Dictionary::~Dictionary() = default;

Dictionary::Dictionary(std::initializer_list<DictionaryEntry> list) : Dictionary(Entries(list)) {}

Dictionary::Dictionary(Entries inAnyOrder) : entries(std::move(inAnyOrder)) {
    const auto isNotBefore = [](const auto& one, const auto& next) { return !isBefore(one, next); };
    if (std::adjacent_find(entries.begin(), entries.end(), isNotBefore) == entries.end()) return;
    std::sort(entries.begin(), entries.end(), isBefore);
    const auto isSame = [](const auto& one, const auto& other) { return one.first == other.first; };
    entries.erase(std::unique(entries.begin(), entries.end(), isSame), entries.end());
}

Dictionary::const_iterator Dictionary::begin() const { return entries.data(); }
Dictionary::const_iterator Dictionary::end() const { return entries.data() + entries.size(); }
DictionaryEntry* Dictionary::begin() { return entries.data(); }
DictionaryEntry* Dictionary::end() { return entries.data() + entries.size(); }
std::size_t Dictionary::size() const { return entries.size(); }

// Where the key is, or else belongs.
Entries::iterator Dictionary::place(std::string_view key) {
    if (entries.empty() || entries.back().first < key) return entries.end();
    return std::lower_bound(
        entries.begin(), entries.end(), key,
        [](const DictionaryEntry& entry, std::string_view wanted) { return entry.first < wanted; });
}

Dictionary::const_iterator Dictionary::find(std::string_view key) const {
    const auto found =
        std::lower_bound(begin(), end(), key, [](const DictionaryEntry& entry, std::string_view wanted) {
            return entry.first < wanted;
        });
    return found != end() && found->first == key ? found : end();
}

bool Dictionary::contains(std::string_view key) const { return find(key) != end(); }

const Value& Dictionary::at(std::string_view key) const {
    const auto found = find(key);
    if (found == end()) throw std::out_of_range("no entry " + std::string(key));
    return found->second;
}

Value& Dictionary::operator[](std::string_view key) {
    auto found = place(key);
    if (found == entries.end() || found->first != key)
        found = entries.insert(found, {std::string(key), Value()});
    return found->second;
}

void Dictionary::emplace(std::string key, Value value) {
    const auto found = place(key);
    if (found == entries.end() || found->first != key)
        entries.insert(found, {std::move(key), std::move(value)});
}

void Dictionary::insert_or_assign(std::string key, Value value) {
    const auto found = place(key);
    if (found == entries.end() || found->first != key)
        entries.insert(found, {std::move(key), std::move(value)});
    else
        found->second = std::move(value);
}

void Dictionary::erase(std::string_view key) {
    const auto found = place(key);
    if (found != entries.end() && found->first == key) entries.erase(found);
}

bool operator==(const Dictionary& one, const Dictionary& other) { return one.entries == other.entries; }

} // namespace platform
