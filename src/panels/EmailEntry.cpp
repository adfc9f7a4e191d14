#define PCRE2_CODE_UNIT_WIDTH 8

#include "panels/EmailEntry.h"

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

    // The length of the match in bytes, or none; none too for a pattern or a subject that is not valid text.
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

std::vector<std::string> entriesInText(std::string_view text) {
    std::vector<std::string> entries;
    bool inQuotes = false;
    bool inBrackets = false;
    std::size_t start = 0;
    for (std::size_t at = 0; at <= text.size(); ++at) {
        const bool isLineEnd = at == text.size() || text[at] == '\n' || text[at] == '\r';
        if (!isLineEnd) {
            if (text[at] == '"') inQuotes = !inQuotes;
            if (text[at] == '<' && !inQuotes) inBrackets = true;
            if (text[at] == '>' && !inQuotes) inBrackets = false;
            if (inQuotes || inBrackets || (text[at] != ',' && text[at] != ';')) continue;
        }
        inQuotes = inBrackets = false; // an unclosed one ends with its line
        std::string entry = unquoted(trimmed(text.substr(start, at - start)));
        if (!entry.empty()) entries.push_back(std::move(entry));
        start = at + 1;
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
