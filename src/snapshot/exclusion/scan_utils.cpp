#include "snapshot/exclusion/scan_utils.h"

#include "snapshot/exclusion/exclusion_rules.h"

#include <algorithm>
#include <array>
#include <clocale>
#include <string>
#include <string_view>

namespace snapshot {

namespace {

// The table in order of names, sorted by the compiler, so that a name is looked up in a few steps.
constexpr auto kRulesByName = [] {
    auto rules = std::to_array(kExclusionRules);
    std::ranges::sort(rules, {}, &ExclusionRule::name);
    return rules;
}();

bool isExcludedByTable(std::string_view name, std::string_view parent, std::string_view grandparent) {
    const auto first = std::ranges::lower_bound(kRulesByName, name, {}, &ExclusionRule::name);
    for (auto each = first; each != kRulesByName.end() && each->name == name; ++each) {
        const ExclusionRule& rule = *each;
        if ((rule.parent.empty() || rule.parent == parent) &&
            (rule.grandparent.empty() || rule.grandparent == grandparent))
            return true;
    }
    return false;
}

bool isBackupTemporary(std::string_view name, std::string_view parent) {
    if (name.size() >= 14 && name.starts_with("MPBackup.tmp.")) return true;
    if (name.size() < 12 || parent.size() < 7 || !parent.ends_with(".mpbak")) return false;
    return name.ends_with(".att.tar.gz") || name.ends_with(".att.tar") ||
           (name.size() >= 19 && name.ends_with(".att.tar.encrypted"));
}

// Makes the calling thread compile expressions over bytes while it lives.
class ByteLocale {
  public:
    ByteLocale() : _previous(uselocale(plain())) {}
    ~ByteLocale() { uselocale(_previous); }
    ByteLocale(const ByteLocale&) = delete;
    ByteLocale& operator=(const ByteLocale&) = delete;

  private:
    static locale_t plain() {
        static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
        return locale;
    }

    locale_t _previous;
};

bool compile(regex_t& expression, const std::string& text) {
    ByteLocale bytes;
    return regcomp(&expression, text.c_str(), REG_EXTENDED | REG_NOSUB) == 0;
}

std::string expressionFor(std::string_view pattern) {
    if (pattern.ends_with('/')) pattern.remove_suffix(1);
    std::string text = "^(\\/+.+)*";
    for (char byte : pattern) {
        if (byte == '*')
            text += '.';
        else if (std::string_view("^$.(){}[]\\/:+").find(byte) != std::string_view::npos)
            text += '\\';
        text += byte;
    }
    return text + "(\\/+.+)*$";
}

} // namespace

CompiledPattern::CompiledPattern(const char* pattern) : _expression() {
    _isValid = pattern != nullptr && compile(_expression, expressionFor(pattern));
}

CompiledPattern::~CompiledPattern() {
    if (_isValid) regfree(&_expression);
}

bool CompiledPattern::matches(const char* path) const {
    if (!_isValid || path == nullptr) return false;
    std::string_view text(path);
    if (!text.ends_with('/')) return regexec(&_expression, path, 0, nullptr, 0) != REG_NOMATCH;
    std::string shortened(text.substr(0, text.size() - 1));
    return regexec(&_expression, shortened.c_str(), 0, nullptr, 0) != REG_NOMATCH;
}

bool _match(const char* pattern, const char* path) { return CompiledPattern(pattern).matches(path); }

bool _match2(const char* pattern, const char* subject) {
    regex_t expression;
    if (pattern == nullptr || subject == nullptr || !compile(expression, pattern)) return false;
    bool found = regexec(&expression, subject, 0, nullptr, 0) == 0;
    regfree(&expression);
    return found;
}

} // namespace snapshot

int checkForExclusion(const char* name, const char* parentName, const char* grandparentName) noexcept {
    if (name == nullptr) return 1;
    std::string_view text(name);
    std::string_view parent(parentName);
    return snapshot::isExcludedByTable(text, parent, grandparentName) ||
                   snapshot::isBackupTemporary(text, parent) ||
                   text.find(".crdownload") != std::string_view::npos
               ? 1
               : 0;
}
