// What a remote destination is chosen for: the panel asks, and names its window and its button, accordingly.
#pragma once

namespace panels {

enum class DestinationPurpose {
    sync,    // a folder is synced to it
    move,    // items go there, and go from here
    copy,    // items go there, and stay here
    archive, // move or copy, it is not known which
};

} // namespace panels
