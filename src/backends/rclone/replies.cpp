#include "backends/rclone/replies.h"

#include "platform/json.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>

namespace backends::rclone {
namespace {

using platform::Dictionary;
using platform::numberAt;
using platform::textAt;
using platform::Value;
using service::Failure;
using service::Trouble;

Failure malformed(std::string_view what) {
    return {Trouble::other, "rclone answered something else than " + std::string(what)};
}

bool isSet(const Dictionary& entries, std::string_view key) {
    return platform::flagAt(entries, key).value_or(false);
}

// A number without a fraction is written as one without.
double realAt(const Dictionary& entries, std::string_view key) {
    const Value* value = platform::find(entries, key);
    if (value == nullptr) return 0;
    if (const double* real = value->number()) return *real;
    return static_cast<double>(numberAt(entries, key).value_or(0));
}

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

bool containsAny(std::string_view text, std::initializer_list<std::string_view> parts) {
    return std::any_of(parts.begin(), parts.end(),
                       [text](std::string_view part) { return contains(text, part); });
}

std::string lowered(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return lower;
}

// What a person can do about it, before rclone's own words.
std::string hintOf(Trouble trouble, std::string_view text) {
    const std::string lower = lowered(text);
    if (containsAny(lower, {"not yet valid", "certificate has expired", "timetooskewed", "time too skewed"}))
        return "is this machine's clock right? ";
    if (containsAny(lower, {"unable to authenticate", "unauthorized", "invalid_grant"}))
        return "the storage refuses the password or key; rclone config changes it: ";
    if (containsAny(lower, {"knownhosts", "key mismatch", "host key"}))
        return "the server is not the one that it was, or its key is unknown: ";
    if (containsAny(lower, {"decrypt configuration", "config_pass", "configuration password"}))
        return "rclone's configuration is encrypted; tsyncquenz password tells its password: ";
    if (containsAny(lower, {"didn't find section", "didn't find backend"}))
        return "rclone's configuration no longer has this storage; rclone config makes it: ";
    if (containsAny(lower, {"ssh_fx_failure"})) // all that SFTP can say of a file system that is read-only
        return "the server gives no reason; it may be read-only or full: ";
    if (trouble == Trouble::missing && containsAny(lower, {"error in listjson"}))
        return "the storage does not have this folder: ";
    switch (trouble) {
    case Trouble::full:
        return "no room is left: ";
    case Trouble::refused:
        return "the storage does not allow it: ";
    case Trouble::unreachable:
        return "the storage is not reached; it is tried again by itself: ";
    default:
        return {};
    }
}

// rclone passes on what the storage or the system said; the words are those of its own errors, of the
// system's and of the protocols'.
Trouble troubleOf(long status, std::string_view text) {
    const std::string lower = lowered(text);
    if (containsAny(lower, {"no space left", "quota", "insufficient storage", "storage limit", "disk full"}))
        return Trouble::full;
    if (containsAny(lower, {"permission denied", "forbidden", "unauthorized", "unable to authenticate",
                            "read-only", "access denied", "accessdenied", "invalid_grant", "not yet valid",
                            "certificate has expired", "timetooskewed", "time too skewed", "key mismatch",
                            "key is unknown"}))
        return Trouble::refused;
    if (containsAny(lower, {"doesn't support", "not supported", "can't be", "unsupported"}))
        return Trouble::impossible;
    if (status == 404 || containsAny(lower, {"not found", "no such file", "does not exist", "doesn't exist"}))
        return Trouble::missing;
    if (containsAny(lower, {"connection", "dial tcp", "timeout", "timed out", "no such host", "unreachable",
                            "eof", "broken pipe", "couldn't connect", "network"}))
        return Trouble::unreachable;
    return Trouble::other;
}

} // namespace

Failure readFailure(long status, std::string_view body) {
    const auto value = platform::valueOfJson(body);
    const Dictionary* entries = value ? value->dictionary() : nullptr;
    const std::string* text = entries ? textAt(*entries, "error") : nullptr;
    if (!text) return {Trouble::other, "rclone answered with HTTP status " + std::to_string(status)};
    const Trouble trouble = troubleOf(status, *text);
    return {trouble, hintOf(trouble, *text) + *text};
}

Outcome<service::Features> readFeatures(std::string_view body) {
    const auto value = platform::valueOfJson(body);
    const Dictionary* entries = value ? value->dictionary() : nullptr;
    const Value* known = entries ? platform::find(*entries, "Features") : nullptr;
    const Dictionary* flags = known ? known->dictionary() : nullptr;
    if (!flags) return malformed("what a storage can do");
    service::Features features;
    features.move = isSet(*flags, "Move");
    features.moveFolder = isSet(*flags, "DirMove");
    features.publicLink = isSet(*flags, "PublicLink");
    features.quota = isSet(*flags, "About");
    features.emptyFolders = isSet(*flags, "CanHaveEmptyDirectories");
    features.foldsCase = isSet(*flags, "CaseInsensitive");
    features.listsRecursively = isSet(*flags, "ListR");
    features.slowDigests = isSet(*flags, "SlowHash");
    features.bucket = isSet(*flags, "BucketBased");
    // A century of precision is how it says that times cannot be set.
    constexpr std::int64_t longest = std::int64_t{86400} * 1'000'000'000;
    const std::int64_t precision = numberAt(*entries, "Precision").value_or(1);
    features.setsTimes = precision > 0 && precision < longest;
    features.precision = features.setsTimes ? precision : 1'000'000'000;
    const Value* digests = platform::find(*entries, "Hashes");
    if (const platform::Array* names = digests ? digests->array() : nullptr)
        for (const Value& name : *names)
            if (name.string() && *name.string() != "none") features.digests.push_back(*name.string());
    return features;
}

Outcome<service::Quota> readQuota(std::string_view body) {
    const auto value = platform::valueOfJson(body);
    const Dictionary* entries = value ? value->dictionary() : nullptr;
    if (!entries) return malformed("a quota");
    const auto bytesAt = [entries](std::string_view key) -> std::optional<std::uint64_t> {
        const auto number = numberAt(*entries, key);
        if (!number || *number < 0) return std::nullopt;
        return static_cast<std::uint64_t>(*number);
    };
    return service::Quota{bytesAt("total"), bytesAt("used"), bytesAt("free")};
}

Outcome<Progress> readProgress(std::string_view body) {
    const auto value = platform::valueOfJson(body);
    const Dictionary* entries = value ? value->dictionary() : nullptr;
    if (!entries) return malformed("its progress");
    Progress progress;
    const platform::Array* files = platform::arrayAt(*entries, "transferring"); // none: nothing is
    for (const Value& file : files ? *files : platform::Array()) {
        const Dictionary* transfer = file.dictionary();
        if (!transfer) return malformed("its progress");
        ++progress.files;
        const auto amount = [transfer](std::string_view key) {
            return static_cast<std::uint64_t>(
                std::max<std::int64_t>(0, numberAt(*transfer, key).value_or(0)));
        };
        progress.size += amount("size");
        progress.bytes += std::min(amount("bytes"), amount("size"));
        progress.bytesPerSecond += realAt(*transfer, "speedAvg");
    }
    return progress;
}

Outcome<std::string> readLink(std::string_view body) {
    const auto value = platform::valueOfJson(body);
    const Dictionary* entries = value ? value->dictionary() : nullptr;
    const std::string* url = entries ? textAt(*entries, "url") : nullptr;
    if (!url || url->empty()) return malformed("a link");
    return *url;
}

Outcome<std::vector<int>> readVersion(std::string_view body) {
    const auto value = platform::valueOfJson(body);
    const Dictionary* entries = value ? value->dictionary() : nullptr;
    const Value* parts = entries ? platform::find(*entries, "decomposed") : nullptr;
    std::vector<int> version;
    if (parts && parts->array())
        for (const Value& part : *parts->array()) {
            const auto number = part.signedInteger() ? std::optional(*part.signedInteger())
                                : part.unsignedInteger()
                                    ? std::optional(static_cast<std::int64_t>(*part.unsignedInteger()))
                                    : std::nullopt;
            if (!number || *number < 0 || *number > 1'000'000) return malformed("a version");
            version.push_back(static_cast<int>(*number));
        }
    if (version.size() < 2) return malformed("a version");
    return version;
}

std::optional<std::int64_t> readTime(std::string_view text) {
    std::size_t position = 0;
    const auto number = [&](std::size_t digits) -> std::optional<int> {
        if (position + digits > text.size()) return std::nullopt;
        int result = 0;
        const char* first = text.data() + position;
        const auto [end, error] = std::from_chars(first, first + digits, result);
        if (error != std::errc() || end != first + digits || *first == '-') return std::nullopt;
        position += digits;
        return result;
    };
    const auto letter = [&](char expected) { return position < text.size() && text[position++] == expected; };
    const auto year = number(4);
    if (!year || !letter('-')) return std::nullopt;
    const auto month = number(2);
    if (!month || !letter('-')) return std::nullopt;
    const auto day = number(2);
    if (!day || !letter('T')) return std::nullopt;
    const auto hour = number(2);
    if (!hour || !letter(':')) return std::nullopt;
    const auto minute = number(2);
    if (!minute || !letter(':')) return std::nullopt;
    const auto second = number(2);
    if (!second) return std::nullopt;
    std::int64_t fraction = 0;
    if (position < text.size() && text[position] == '.') {
        ++position;
        std::int64_t unit = 100'000'000;
        const std::size_t first = position;
        for (; position < text.size() && text[position] >= '0' && text[position] <= '9';
             ++position, unit /= 10)
            fraction += unit * (text[position] - '0');
        if (position == first) return std::nullopt;
    }
    std::int64_t offset = 0; // seconds
    if (position < text.size() && (text[position] == '+' || text[position] == '-')) {
        const int sign = text[position++] == '+' ? 1 : -1;
        const auto hours = number(2);
        if (!hours || !letter(':')) return std::nullopt;
        const auto minutes = number(2);
        if (!minutes) return std::nullopt;
        offset = sign * (std::int64_t{*hours} * 3600 + std::int64_t{*minutes} * 60);
    } else if (!letter('Z')) {
        return std::nullopt;
    }
    if (position != text.size() || *hour > 23 || *minute > 59 || *second > 60) return std::nullopt;
    const std::chrono::year_month_day date{std::chrono::year(*year),
                                           std::chrono::month(static_cast<unsigned>(*month)),
                                           std::chrono::day(static_cast<unsigned>(*day))};
    if (!date.ok() || *year < 1700 || *year > 2200)
        return std::nullopt; // nanoseconds reach from 1677 to 2262
    const std::int64_t days = std::chrono::sys_days(date).time_since_epoch().count();
    const std::int64_t seconds =
        days * 86400 + std::int64_t{*hour} * 3600 + std::int64_t{*minute} * 60 + *second - offset;
    return seconds * 1'000'000'000 + fraction;
}

} // namespace backends::rclone
