// The notifications shared with the daemon and the command messages to it, under the names that they travel
// by. What each carries is said where it is handled and built.
#pragma once

#include "protocol/names.h"

namespace daemon_client {

inline constexpr const char* syncPathAddedNotification = TSYNC_NOTE_SYNC_PATH_ADDED;
inline constexpr const char* syncPathRemovedNotification = TSYNC_NOTE_SYNC_PATH_REMOVED;
inline constexpr const char* syncRefreshNotification = TSYNC_NOTE_SYNC_REFRESH;

} // namespace daemon_client
