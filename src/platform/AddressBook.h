// The user's address book, read once when a panel opens.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace platform {

struct Person {
    std::optional<std::string> firstName; // UTF-8
    std::optional<std::string> lastName;
    std::vector<std::string> emails; // in the person's own order
};

class AddressBook {
  public:
    virtual ~AddressBook() = default;

    // Everybody, in the book's order. A book that cannot be read is empty.
    virtual std::vector<Person> people() = 0;

    // Some of the people, or nobody when those were all; may be called on a thread of the book's.
    using Found = std::function<void(std::vector<Person>)>;
    // Reads what takes longer, and tells of it part by part while the book lives. Returns at once.
    virtual void readFurther(Found /*found*/) {}

    // The folder that the people come from, whether it exists or not, so that a person with an empty book
    // knows where to put them; empty when there is none.
    virtual std::string folder() const { return {}; }
};

} // namespace platform
