// The address book as vCard files (RFC 6350, and the older versions 2.1 and 3.0) in a folder of the user's.
//
// Every "*.vcf" file in the folder and in folders below it is read, in the order of their paths; a file may
// hold several cards. A card without the parts of a name has its formatted name as the first one. Anything
// that is not a card, and a file that cannot be read, is skipped with a line in the log. Reading is bounded:
// files above maximumFileSize are skipped.
#pragma once

#include "platform/AddressBook.h"
#include "platform/ProcessLog.h"

#include <cstdint>
#include <string>
#include <vector>

namespace backends::contacts {

inline constexpr std::uintmax_t maximumFileSize = 64U << 20U; // bytes: thousands of cards with photographs

class VCardFolder final : public platform::AddressBook {
  public:
    // The log outlives the book. A folder that does not exist is an empty book.
    VCardFolder(std::string folderPath, platform::ProcessLog& processLog);

    std::vector<platform::Person> people() override;
    std::string folder() const override { return root; }

  private:
    void readFile(const std::string& path, std::vector<platform::Person>& everybody);

    std::string root;
    platform::ProcessLog& log;
};

// Where the user's contacts are: $TSYNCFINDER_CONTACTS, else the first that exists of "contacts" in the
// user's data folder, "~/.contacts" and "~/Contacts"; the last of them when none does.
std::string contactsFolder();

} // namespace backends::contacts
