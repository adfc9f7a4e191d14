// What a person types into the recipients' field, as text: the e-mail rule, the address in an entry, the
// entries in a pasted text, and the completions from the address book.
//
// All text is UTF-8; text that is not UTF-8 is not an address and completes nothing. No state but compiled
// patterns; any thread may call.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace panels {

// From address to the full name of the person, ordered by address.
using AddressIndex = std::map<std::string, std::string, std::less<>>;

// Whether the whole text matches [A-Z0-9a-z._%+-]+@[A-Za-z0-9.-]+\.[A-Za-z]{2,6}
bool validateEmail(std::string_view text);

// The address in an entry as the completions write it: what lies between " <" and the last character of "John
// Smith <j@x.org>", what comes before " (" in "j@x.org (John Smith)", else the whole entry. May be empty.
std::string addressInEntry(std::string_view entry);

// The address that a completion stands for, whatever the name in it looks like.
std::string addressInCompletion(std::string_view completion);

// The entries of a text, as people paste and type several: cut at commas, semicolons and line ends outside a
// name's double quotes and a comment's parentheses, and at blanks after an address. Only the address is kept
// of "Smith, John <j@x.org>" and of an entry whose last bracket is missing. Nothing that stands in the text
// is taken for an address by leaving a part of a word out: what is unclear stays one entry, which is not a
// valid address. Blanks around an entry and empty entries are dropped, and so are the double quotes around a
// whole name. Linear.
std::vector<std::string> entriesInText(std::string_view text);

// The completions of what was typed: "full name <address>" where the name begins with it, else "address (full
// name)" where the address does, in any letter case, the typed characters in place of the first ones. Names
// come first, in reverse order of the index, then addresses in its order. Linear in the index.
std::vector<std::string> completionsForSubstring(const AddressIndex& index, std::string_view typed);

} // namespace panels
