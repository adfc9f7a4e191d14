// Why an item has its badge and whether it is synced, in a person's words: in a terminal and in a file
// manager's page about the item. English; "%@" stands for a path.
#pragma once

#include <string_view>

namespace extension {

inline constexpr std::string_view excludedReason = "Excluded from sync: %@";
inline constexpr std::string_view unshownReason =
    "The settings let no badge be shown for it: tsyncfinder config badges on";
inline constexpr std::string_view neverSyncedReason = "Items like it are never synced.";

// rule: as hosts know it (badges.h), and what else an explanation may say. "" for any other.
constexpr std::string_view reasonOf(std::string_view rule) {
    struct Reason {
        std::string_view rule;
        std::string_view text;
    };
    constexpr Reason reasons[] = {
        {"outside", "It lies in no synced folder."},
        {"root", "It is the synced folder itself."},
        {"uploading", "Uploading now: %@"},
        {"working", "In work: %@"},
        {"problem", "Not synced: %@; why: tsyncquenz problems"},
        {"synced", "Nothing at it or below it is under way."},
        {"missing", "Nothing exists there, or its disk does not answer: it keeps the badge it had."},
        {"off", "Badges are switched off: tsyncfinder config badges on"},
    };
    for (const Reason& reason : reasons)
        if (reason.rule == rule) return reason.text;
    return {};
}

} // namespace extension
