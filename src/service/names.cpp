#include "service/names.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <glib.h>
#include <memory>

namespace service {
namespace {

constexpr std::size_t longestName = 255; // bytes
constexpr std::string_view conflictMark = " (conflict ";

struct GlibText {
    void operator()(char* text) const { ::g_free(text); }
};
using OwnedText = std::unique_ptr<char, GlibText>;

// Where the extension begins, with its dot; a leading dot is part of the stem, and ".tar.gz" is one.
std::size_t extensionOf(std::string_view name) {
    std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || name.size() - dot > 16) return name.size();
    constexpr std::string_view tar = ".tar";
    if (dot > tar.size() && name.substr(dot - tar.size(), tar.size()) == tar) dot -= tar.size();
    return dot;
}

std::string_view withoutConflict(std::string_view stem) {
    const std::size_t mark = stem.rfind(conflictMark);
    return mark != std::string_view::npos && mark > 0 && stem.ends_with(')') ? stem.substr(0, mark) : stem;
}

// At most that many bytes, cut between characters.
std::string_view shortened(std::string_view text, std::size_t most) {
    if (text.size() <= most) return text;
    while (most > 0 && (static_cast<unsigned>(text[most]) & 0xC0U) == 0x80U)
        --most;
    return text.substr(0, most);
}

} // namespace

std::optional<NameFault> faultOf(std::string_view name) {
    if (name.empty() || name == "." || name == "..") return NameFault::emptyOrDot;
    const bool isPlain =
        std::all_of(name.begin(), name.end(), [](char byte) { return byte >= ' ' && byte < 0x7F; });
    if (isPlain) return name.size() > longestName ? std::optional(NameFault::tooLong) : std::nullopt;
    if (!::g_utf8_validate(name.data(), static_cast<gssize>(name.size()), nullptr)) return NameFault::notText;
    if (name.size() > longestName) return NameFault::tooLong;
    const char* const end = name.data() + name.size();
    for (const char* at = name.data(); at < end; at = g_utf8_next_char(at)) {
        const gunichar sign = ::g_utf8_get_char(at);
        const bool stands = (sign >= 0x2400 && sign <= 0x2421) || sign == 0x201B;
        if (sign < 0x20 || sign == 0x7F || stands) return NameFault::control;
    }
    return std::nullopt;
}

std::string keyOf(std::string_view name, bool foldsCase) {
    const bool isPlain = std::all_of(name.begin(), name.end(),
                                     [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
    if (isPlain && !foldsCase) return std::string(name);
    const auto size = static_cast<gssize>(name.size());
    OwnedText key(::g_utf8_normalize(name.data(), size, G_NORMALIZE_NFC));
    if (!key) return std::string(name);
    if (foldsCase) {
        key.reset(::g_utf8_casefold(key.get(), -1));
        key.reset(::g_utf8_normalize(key.get(), -1, G_NORMALIZE_NFC)); // folding may take it apart
    }
    return key.get();
}

std::string wordOf(std::string_view path) { // FNV-1a
    std::uint64_t hash = 0xcbf29ce484222325U;
    for (const char byte : path)
        hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3U;
    std::array<char, 17> text{};
    std::snprintf(text.data(), text.size(), "%016llx", static_cast<unsigned long long>(hash));
    return text.data();
}

bool isPrivate(std::string_view name) {
    return name.starts_with(privatePrefix) || name.starts_with(".Trash") || name == "lost+found";
}

std::string conflictName(std::string_view name, std::string_view host, std::chrono::sys_seconds localTime,
                         std::string_view mark, const std::function<bool(const std::string&)>& isTaken) {
    const std::size_t dot = extensionOf(name);
    const std::string_view extension = name.substr(dot);
    const std::string_view stem = withoutConflict(name.substr(0, dot));
    const std::time_t seconds = localTime.time_since_epoch().count();
    std::tm parts{};
    ::gmtime_r(&seconds, &parts);
    std::array<char, 32> time{};
    std::strftime(time.data(), time.size(), "%Y-%m-%d %H%M%S", &parts);
    for (int number = 1;; ++number) {
        std::string bracket(conflictMark);
        bracket += shortened(host, 64);
        bracket += ' ';
        bracket += time.data();
        bracket += ' ';
        bracket += mark;
        if (number > 1) bracket += ' ' + std::to_string(number);
        bracket += ')';
        const std::size_t room = longestName - bracket.size() - extension.size();
        std::string result(shortened(stem, room));
        result += bracket;
        result += extension;
        if (!isTaken(result)) return result;
    }
}

} // namespace service
