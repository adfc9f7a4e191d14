// The five badges: identifiers, images and labels.
#pragma once

#include <array>
#include <string_view>

namespace extension {

struct Badge {
    std::string_view identifier;
    std::string_view imageFile;
    std::string_view label;
};

// In the order of registration. "error" is registered and given to no item; "update" shows a working file,
// of which the daemon reports none so far.
inline constexpr std::array badges{
    Badge{"update", "folderbadge_update.png", "Status Update"},
    Badge{"sync", "TovikFolderBadge_sync.png", "Status Sync"},
    Badge{"error", "folderbadge_error.png", "Status Error"},
    Badge{"upload", "note_upload.png", "Status Upload"},
    Badge{"tovik", "FolderBadgeTovik.png", "Tovik Icon"},
};

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

} // namespace extension
