// The badges: a row for each, from which the controller, the hosts and the terminal have what they show.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace extension {

// What decides the badge of an item (BadgeState.h).
enum class BadgeRule { outside, root, uploading, working, existing };

struct Badge {
    std::string_view identifier; // also the end of its emblem's name in the icon theme
    std::string_view imageFile;  // drawn in resources/images under this name
    std::string_view label;
    std::optional<BadgeRule> rule; // which gives it; none: no item gets it
    std::string_view ruleName;     // as hosts know the rule
    std::string_view sign;         // in a terminal, told apart by its shape and not by colour alone
    std::string_view asciiSign;
    std::string_view colour; // SGR parameter
};

// In the order of registration. "update" shows a working file, of which the daemon reports none so far.
inline constexpr std::array badges{
    Badge{"update", "folderbadge_update.png", "Status Update", BadgeRule::working, "working", "↻", "~", "36"},
    Badge{"sync", "TovikFolderBadge_sync.png", "Status Sync", BadgeRule::existing, "synced", "✔", "=", "32"},
    Badge{"error", "folderbadge_error.png", "Status Error", {}, "", "✖", "!", "31"},
    Badge{"upload", "note_upload.png", "Status Upload", BadgeRule::uploading, "uploading", "▲", "^", "33"},
    Badge{"tovik", "FolderBadgeTovik.png", "Tovik Icon", BadgeRule::root, "root", "◆", "#", "34"},
};

constexpr const Badge* badgeGivenBy(BadgeRule rule) {
    for (const Badge& badge : badges)
        if (badge.rule == rule) return &badge;
    return nullptr;
}

// The identifier of the badge that a rule gives without asking the disk, "" for none; "existing" gives its
// badge if the item exists.
constexpr std::string_view badgeOf(BadgeRule rule) {
    const Badge* badge = badgeGivenBy(rule);
    return badge != nullptr ? badge->identifier : std::string_view();
}

constexpr std::string_view nameOf(BadgeRule rule) {
    const Badge* badge = badgeGivenBy(rule);
    return badge != nullptr ? badge->ruleName : "outside";
}

// What one item shows.
struct BadgeAnswer {
    enum class Kind {
        badge,     // the identifier; empty: none
        unchanged, // it keeps what it has: the item is gone, or its disk does not answer
    };
    Kind kind = Kind::badge;
    std::string_view identifier; // of the badge table; static
    bool isInSync = false;       // as the menus see it
    bool isRoot = false;
};

struct BadgeBatch {
    std::uint64_t sequence = 0; // of the state that the answers come from
    std::vector<BadgeAnswer> answers;
};

} // namespace extension
