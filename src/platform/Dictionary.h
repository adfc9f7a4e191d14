// The dictionary of a property list: values by keys, ordered by the bytes of the keys.
//
// The entries lie one behind the other, without a node for each: a table of short paths takes half the memory
// of a tree's. Looking up costs O(log n) and adding in the order of the keys O(1); adding in the middle moves
// what comes after it, so that whoever has many entries in an order that others chose collects them first.
//
// Whatever changes a dictionary ends its iterators and what was borrowed from it.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

class Value;
struct DictionaryEntry; // `first`, the key, and `second`, the value: see Value.h

class Dictionary {
  public:
    using key_type = std::string;
    using value_type = DictionaryEntry;
    using const_iterator = const DictionaryEntry*;

    Dictionary() noexcept;
    Dictionary(std::initializer_list<DictionaryEntry> list);
    // In any order; of equal keys one holds. O(n log n), without further memory.
    explicit Dictionary(std::vector<DictionaryEntry> inAnyOrder);
    template <typename Iterator>
    Dictionary(Iterator first, Iterator last);

    Dictionary(const Dictionary&);
    Dictionary(Dictionary&&) noexcept;
    Dictionary& operator=(const Dictionary&);
    Dictionary& operator=(Dictionary&&) noexcept;
    ~Dictionary();

    const_iterator begin() const;
    const_iterator end() const;
    DictionaryEntry* begin(); // for new values; the keys stay as they are
    DictionaryEntry* end();
    std::size_t size() const;
    bool empty() const { return size() == 0; }

    const_iterator find(std::string_view key) const; // end() when there is none
    bool contains(std::string_view key) const;
    const Value& at(std::string_view key) const; // raises std::out_of_range when there is none
    Value& operator[](std::string_view key);     // the null object when there was none

    void emplace(std::string key, Value value); // unless there is one of that key
    template <typename Iterator>
    void insert(Iterator first, Iterator last);
    void insert_or_assign(std::string key, Value value);
    void erase(std::string_view key); // if there is one

    friend bool operator==(const Dictionary& one, const Dictionary& other);

  private:
    std::vector<DictionaryEntry>::iterator place(std::string_view key);

    std::vector<DictionaryEntry> entries; // ordered by key, no two alike
};

} // namespace platform
