// The desktop's own address books, which Evolution Data Server keeps: what the desktop's contacts program,
// its mail program and its online accounts have put there. They are asked over the session bus.
//
// The server is asked only where it runs: it is never started. Of its processes one runs in a session that
// uses it, and tells which books there are; the one that opens books is started by the bus when it is asked,
// and ends by itself. Books that are switched off, or kept out of completion, are passed over.
//
// It is a further address book to another one: who is in both is told to the reader twice.
#pragma once

#include "platform/AddressBook.h"
#include "platform/ProcessLog.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <thread>

namespace backends::contacts {

inline constexpr std::size_t maximumBooks = 32;
inline constexpr std::size_t maximumCards = 20'000; // of a book
inline constexpr std::chrono::seconds timeForBook{10};

class DesktopBooks final : public platform::AddressBook {
  public:
    // The first book, which is at hand, and the log outlive this one.
    DesktopBooks(platform::AddressBook& firstBook, platform::ProcessLog& processLog);
    // Ends a reading that is under way, without waiting for an answer.
    ~DesktopBooks() override;

    std::vector<platform::Person> people() override { return first.people(); }
    std::string folder() const override { return first.folder(); }
    // At most once. Those with an address come, book by book.
    void readFurther(Found found) override;

  private:
    struct Reading;

    platform::AddressBook& first;
    platform::ProcessLog& log;
    std::unique_ptr<Reading> reading;
    std::thread thread;
};

} // namespace backends::contacts
