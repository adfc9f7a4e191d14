/* The fixed names on the session bus. Plain macros, so that C code in a file manager uses the same ones. */
#ifndef TSYNCFINDER_PROTOCOL_NAMES_H
#define TSYNCFINDER_PROTOCOL_NAMES_H

/* The sync daemon and its request protocol. Messages go to the well-known name without auto-start. */
#define TSYNC_SERVICE_NAME "com.quarnhold.TovikDrive-Quen.tsync"
#define TSYNC_OBJECT_PATH "/com/quarnhold/TovikDrive_Quen/tsync"
#define TSYNC_INTERFACE "com.quarnhold.TovikDrive_Quen.tsync_xpcProtocol"
/* A reply of none. Any other error reply counts as no reply. */
#define TSYNC_ERROR_NO_VALUE "com.quarnhold.TovikDrive_Quen.Error.NoValue"

/* Machine-wide notifications: signal Posted(s name, s object, a{sv} userInfo). */
#define NOTIFICATIONS_OBJECT_PATH "/com/quarnhold/TovikDrive_Quen/Notifications"
#define NOTIFICATIONS_INTERFACE "com.quarnhold.TovikDrive_Quen.DistributedNotifications"
#define NOTIFICATIONS_SIGNAL "Posted"

/* The extension, as file managers and terminals speak to it. */
#define FINDER_SYNC_BUS_NAME "com.quarnhold.TovikDrive-Quen.TSyncFinder"
#define FINDER_SYNC_OBJECT_PATH "/com/quarnhold/TovikDrive_Quen/TSyncFinder"
#define FINDER_SYNC_INTERFACE "com.quarnhold.TovikDrive_Quen.FinderSync1"

/* What a badge answer says beside the identifiers of the badge table. */
#define FINDER_SYNC_BADGE_NONE "none"
#define FINDER_SYNC_BADGE_UNCHANGED "unchanged"
/* The badge of what is in step, as most of a synced folder is. */
#define FINDER_SYNC_BADGE_SYNC "sync"

/* What a host passes on of its environment, so that a panel appears where the person is. */
#define FINDER_SYNC_DISPLAY_VARIABLES                                                                        \
    "DISPLAY", "WAYLAND_DISPLAY", "XAUTHORITY", "XDG_RUNTIME_DIR", "XDG_CURRENT_DESKTOP", "LANG", "LC_ALL",  \
        "LANGUAGE"

/* Notifications of the daemon. */
#define TSYNC_NOTE_SYNC_PATH_ADDED "TSyncQuenzSyncPathAdded"
#define TSYNC_NOTE_SYNC_PATH_REMOVED "TSyncQuenzSyncPathRemoved"
#define TSYNC_NOTE_SYNC_REFRESH "TSyncQuenzSyncRefresh"
#define TSYNC_NOTE_START "TSyncQuenzStart"
#define TSYNC_NOTE_STOP "TSyncQuenzStop"

/* Command messages to the daemon. */
#define TSYNC_COMMAND_SYNC_START "kTFinderSyncTSyncStart"
#define TSYNC_COMMAND_SYNC_STOP "kTFinderSyncTSyncStop"
#define TSYNC_COMMAND_EXCLUDE_SYNC_PATH "kTFinderSyncTExcludeSyncPath"
#define TSYNC_COMMAND_INCLUDE_SYNC_PATH "kTFinderSyncTIncludeSyncPath"
#define TSYNC_COMMAND_MOVE_TO_SPACE "kTFinderSyncTMoveToSpace"
#define TSYNC_COMMAND_COPY_TO_SPACE "kTFinderSyncTCopyToSpace"
#define TSYNC_COMMAND_SHARE_BY_EMAIL "kTFinderSyncTShareByEmail"

#endif
