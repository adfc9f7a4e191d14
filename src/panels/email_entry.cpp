#define PCRE2_CODE_UNIT_WIDTH 8

#include "panels/email_entry.h"

#include <pcre2.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>

namespace panels {
namespace {

// A compiled pattern that matches at the start of a subject. One thread at a time.
class Pattern {
  public:
    Pattern(std::string_view text, std::uint32_t options) {
        int error = 0;
        PCRE2_SIZE errorOffset = 0;
        code.reset(
            pcre2_compile(bytes(text), text.size(), options | PCRE2_ANCHORED, &error, &errorOffset, nullptr));
        if (!code) return;
        pcre2_jit_compile(code.get(), PCRE2_JIT_COMPLETE); // without it matching is slower and the same
        data.reset(pcre2_match_data_create(1, nullptr));
    }

    // The length of the match in bytes; none without a match, and for a pattern or a subject that is not
    // valid text.
    std::optional<std::size_t> matchLength(std::string_view subject) const {
        if (!code || pcre2_match(code.get(), bytes(subject), subject.size(), 0, 0, data.get(), nullptr) < 0)
            return std::nullopt;
        return pcre2_get_ovector_pointer(data.get())[1];
    }

  private:
    static PCRE2_SPTR bytes(std::string_view text) {
        static const char empty = 0;
        return reinterpret_cast<PCRE2_SPTR>(text.data() == nullptr ? &empty : text.data());
    }

    struct FreeCode {
        void operator()(pcre2_code* freed) const { pcre2_code_free(freed); }
    };
    struct FreeData {
        void operator()(pcre2_match_data* freed) const { pcre2_match_data_free(freed); }
    };
    std::unique_ptr<pcre2_code, FreeCode> code;
    std::unique_ptr<pcre2_match_data, FreeData> data;
};

constexpr std::string_view blanks = " \t\r\n";

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// Where the last character begins: continuation bytes of UTF-8 are 10xxxxxx.
std::size_t startOfLastCharacter(std::string_view text) {
    std::size_t at = text.size() - 1;
    while (at > 0 && (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80U)
        --at;
    return at;
}

// "Smith, John" <j@x.org> without its quotes, for names are shown without them.
std::string unquoted(std::string_view entry) {
    if (entry.size() < 2 || entry.front() != '"') return std::string(entry);
    const std::size_t end = entry.find('"', 1);
    if (end == std::string_view::npos) return std::string(entry);
    return std::string(entry.substr(1, end - 1)) + std::string(entry.substr(end + 1));
}

// Finds where the quoted names and the comments of a line end. Asked from left to right; linear in all.
class Quotes {
  public:
    explicit Quotes(std::string_view scannedLine) : line(scannedLine) {}

    // The position after the name or comment that begins at `at`, or `at` when none does: one that is not
    // closed on its line is plain text, and so is a comment with an address in it.
    std::size_t endFrom(std::size_t at) {
        if (line[at] == '"' && (at == 0 || startsAfter.find(line[at - 1]) != std::string_view::npos))
            return closed(at, "\"", nextQuote);
        return line[at] == '(' ? closed(at, "@)", nextParenthesis) : at;
    }

  private:
    std::size_t closed(std::size_t at, const char* wanted, std::size_t& next) const {
        if (next <= at) next = line.find_first_of(wanted, at + 1);
        return next == std::string_view::npos || line[next] == '@' ? at : next + 1;
    }

    static constexpr std::string_view startsAfter = " \t,;"; // a quote inside a word does not count
    std::string_view line;
    std::size_t nextQuote = 0;
    std::size_t nextParenthesis = 0;
};

// For "John <j@x.org" the address, so that no later step takes a bracket for a letter or a letter for a
// bracket; for an entry with an empty pair of brackets the name, which is then seen not to be an address.
std::string withoutBrackets(std::string_view entry) {
    const std::size_t open = entry.rfind('<');
    if (open == std::string_view::npos) return unquoted(entry);
    const std::string_view name = trimmed(entry.substr(0, open));
    const std::string_view address = trimmed(entry.substr(open + 1, entry.find('>', open) - open - 1));
    if (!address.empty()) return std::string(address);
    return std::string(name.empty() ? entry : name);
}

// Appends what a part between two separators holds: "a@b.org c@d.org" and "Ann <a@b.org> c@d.org" are two.
void appendEntriesOfPart(std::string_view part, std::vector<std::string>& entries) {
    const std::size_t lastAddress = part.rfind('@');
    Quotes quotes(part);
    std::size_t start = 0;
    bool hasAddress = false;  // what stands from the start to here
    bool endsAddress = false; // its last word or bracket does
    for (std::size_t at = 0; lastAddress != std::string_view::npos && at < lastAddress;) {
        if (const std::size_t end = quotes.endFrom(at); end != at) {
            at = end;
        } else if (blanks.find(part[at]) == std::string_view::npos) {
            if (part[at] == '@') hasAddress = endsAddress = true;
            if (part[at] == '>') endsAddress = hasAddress;
            ++at;
        } else {
            const std::size_t next = part.find_first_not_of(blanks, at);
            const bool continues = part[next] == '<' || part[next] == '(';
            if (endsAddress && !continues) {
                entries.push_back(withoutBrackets(part.substr(start, at - start)));
                start = next;
                hasAddress = false;
            }
            if (part[next] != '(' && part[next] != '>') endsAddress = false;
            at = next;
        }
    }
    entries.push_back(withoutBrackets(part.substr(start)));
}

void appendEntriesOfLine(std::string_view line, std::vector<std::string>& entries) {
    std::string_view familyName; // a part without an address that the next one may belong to
    const auto appendPart = [&](std::string_view part, char separator) {
        const std::size_t bracket = part.find('<');
        const bool isNamed = bracket != 0 && bracket != std::string_view::npos &&
                             part.find('@', bracket) != std::string_view::npos;
        if (!familyName.empty() && !isNamed) entries.push_back(unquoted(familyName));
        familyName = {};
        if (part.empty()) return;
        if (separator == ',' && part.find_first_of("@<") == std::string_view::npos)
            familyName = part;
        else
            appendEntriesOfPart(part, entries);
    };
    Quotes quotes(line);
    std::size_t start = 0;
    for (std::size_t at = 0; at < line.size();) {
        const std::size_t end = quotes.endFrom(at);
        if (end == at && (line[at] == ',' || line[at] == ';')) {
            appendPart(trimmed(line.substr(start, at - start)), line[at]);
            start = at + 1;
        }
        at = std::max(end, at + 1);
    }
    appendPart(trimmed(line.substr(start)), '\n');
}

} // namespace

bool validateEmail(std::string_view text) {
    thread_local const Pattern rule("[A-Z0-9a-z._%+-]+@[A-Za-z0-9.-]+\\.[A-Za-z]{2,6}", PCRE2_ENDANCHORED);
    return rule.matchLength(text).has_value();
}

std::string addressInEntry(std::string_view entry) {
    if (const std::size_t bracket = entry.find(" <"); bracket != std::string_view::npos) {
        const std::size_t first = bracket + 2;
        const std::size_t end = startOfLastCharacter(entry);
        return end <= first ? std::string{} : std::string(entry.substr(first, end - first));
    }
    return std::string(entry.substr(0, entry.find(" (")));
}

std::string addressInCompletion(std::string_view completion) {
    if (!completion.ends_with('>')) return std::string(completion.substr(0, completion.find(" (")));
    const std::size_t first = completion.rfind(" <") + 2;
    return std::string(completion.substr(first, completion.size() - 1 - first));
}

std::vector<std::string> entriesInText(std::string_view text) {
    std::vector<std::string> entries;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
        appendEntriesOfLine(text.substr(0, end), entries);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return entries;
}

std::vector<std::string> completionsForSubstring(const AddressIndex& index, std::string_view typed) {
    // Caseless matching compares character by character, so that a match is as many characters long as what
    // was typed, however many bytes they take.
    const Pattern beginning(typed, PCRE2_LITERAL | PCRE2_CASELESS | PCRE2_UTF);
    std::vector<std::string> names;
    std::vector<std::string> addresses;
    const auto completed = [&](std::string_view rest, std::string_view other, char open, char close) {
        std::string text(typed);
        text.append(rest).append(" ") += open;
        text.append(other) += close;
        return text;
    };
    for (const auto& [address, name] : index) {
        const std::string_view inName = name;
        const std::string_view inAddress = address;
        if (const auto length = beginning.matchLength(name))
            names.push_back(completed(inName.substr(*length), address, '<', '>'));
        else if (const auto lengthInAddress = beginning.matchLength(address))
            addresses.push_back(completed(inAddress.substr(*lengthInAddress), name, '(', ')'));
    }
    std::reverse(names.begin(), names.end());
    names.insert(names.end(), std::make_move_iterator(addresses.begin()),
                 std::make_move_iterator(addresses.end()));
    return names;
}

} // namespace panels
