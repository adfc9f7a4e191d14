// The notifications shared with the daemon and the command messages to it, under the names that they travel
// by. What each carries is said where it is handled and built.
#pragma once

#include "protocol/names.h"

namespace daemon_client {

inline constexpr const char* syncPathAddedNotification = TSYNC_NOTE_SYNC_PATH_ADDED;
inline constexpr const char* syncPathRemovedNotification = TSYNC_NOTE_SYNC_PATH_REMOVED;
inline constexpr const char* syncRefreshNotification = TSYNC_NOTE_SYNC_REFRESH;

inline constexpr const char* syncStartCommand = TSYNC_COMMAND_SYNC_START;
inline constexpr const char* syncStopCommand = TSYNC_COMMAND_SYNC_STOP;
inline constexpr const char* excludeSyncPathCommand = TSYNC_COMMAND_EXCLUDE_SYNC_PATH;
inline constexpr const char* includeSyncPathCommand = TSYNC_COMMAND_INCLUDE_SYNC_PATH;
inline constexpr const char* moveToSpaceCommand = TSYNC_COMMAND_MOVE_TO_SPACE;
inline constexpr const char* copyToSpaceCommand = TSYNC_COMMAND_COPY_TO_SPACE;
inline constexpr const char* shareByEmailCommand = TSYNC_COMMAND_SHARE_BY_EMAIL;

} // namespace daemon_client
