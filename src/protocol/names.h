/* The fixed names on the session bus. Plain macros, so that C code in a file manager uses the same ones. */
#ifndef TSYNCFINDER_PROTOCOL_NAMES_H
#define TSYNCFINDER_PROTOCOL_NAMES_H

/* The sync daemon and its request protocol. Messages go to the well-known name without auto-start. */
#define TSYNC_SERVICE_NAME "com.quarnhold.TovikDrive-Quen.tsync"
#define TSYNC_OBJECT_PATH "/com/quarnhold/TovikDrive_Quen/tsync"
#define TSYNC_INTERFACE "com.quarnhold.TovikDrive_Quen.tsync_xpcProtocol"
/* The same object, for the commands of the sync service itself. …_IN and …_OUT as below. */
#define SYNC_SERVICE_INTERFACE "com.quarnhold.TovikDrive_Quen.SyncService1"
#define SYNC_SERVICE_STATUS "Status"
#define SYNC_SERVICE_STATUS_OUT "a{sv}"
#define SYNC_SERVICE_ADD "Add"
#define SYNC_SERVICE_ADD_IN "ss"
#define SYNC_SERVICE_REMOVE "Remove"
#define SYNC_SERVICE_REMOVE_IN "s"
#define SYNC_SERVICE_SET_PAUSED "SetPaused"
#define SYNC_SERVICE_SET_PAUSED_IN "b"
/* The error of a command that is refused; its message says why. */
#define SYNC_SERVICE_ERROR_REFUSED "com.quarnhold.TovikDrive_Quen.Error.Refused"
/* The error that stands for a reply of none. Any other error reply counts as no reply. */
#define TSYNC_ERROR_NO_VALUE "com.quarnhold.TovikDrive_Quen.Error.NoValue"
#define TSYNC_ERROR_FAILED "com.quarnhold.TovikDrive_Quen.Error.Failed"

/* Machine-wide notifications: signal Posted(s name, s object, a{sv} userInfo). */
#define NOTIFICATIONS_OBJECT_PATH "/com/quarnhold/TovikDrive_Quen/Notifications"
#define NOTIFICATIONS_INTERFACE "com.quarnhold.TovikDrive_Quen.DistributedNotifications"
#define NOTIFICATIONS_SIGNAL "Posted"
#define NOTIFICATIONS_USER_INFO "a{sv}"
#define NOTIFICATIONS_SIGNAL_TYPES "ss" NOTIFICATIONS_USER_INFO

/* The extension, as file managers and terminals speak to it. */
#define FINDER_SYNC_BUS_NAME "com.quarnhold.TovikDrive-Quen.TSyncFinder"
#define FINDER_SYNC_OBJECT_PATH "/com/quarnhold/TovikDrive_Quen/TSyncFinder"
#define FINDER_SYNC_INTERFACE "com.quarnhold.TovikDrive_Quen.FinderSync1"
/* The error of a call that comes before the extension has started. */
#define FINDER_SYNC_ERROR_NOT_READY "com.quarnhold.TovikDrive_Quen.Error.NotReady"

/* The fields of the structures that its messages carry; "(" … ")" around them is the structure.
 * A badge answer: badge, is in sync, is a root. A menu item: title, key, action, image, enabled, has a
 * submenu, the submenu's items. A row of the badge table: identifier, label, image's path. A change:
 * directory, items. An entry of the menus: selection class, items. A row of a description: label, text, the
 * text's arguments. */
#define FINDER_SYNC_ANSWER_FIELDS "sbb"
#define FINDER_SYNC_MENU_ITEM_FIELDS "ssssbbav"
#define FINDER_SYNC_BADGE_FIELDS "sss"
#define FINDER_SYNC_CHANGE_FIELDS "sas"
#define FINDER_SYNC_DESCRIPTION_FIELDS "ssas"

/* Its methods. …_IN: the arguments' types, …_OUT: the answer's; without them there are none. */
#define FINDER_SYNC_BADGES_FOR_ITEMS "BadgesForItems"
#define FINDER_SYNC_BADGES_FOR_ITEMS_IN "as"
#define FINDER_SYNC_BADGES_FOR_ITEMS_OUT "ta(" FINDER_SYNC_ANSWER_FIELDS ")"
#define FINDER_SYNC_MENU_FOR_ITEMS "MenuForItems"
#define FINDER_SYNC_MENU_FOR_ITEMS_IN "uas"
#define FINDER_SYNC_MENU_FOR_ITEMS_OUT "av"
#define FINDER_SYNC_MENUS_BY_CLASS "MenusByClass"
#define FINDER_SYNC_MENUS_ENTRY_FIELDS "sav"
#define FINDER_SYNC_MENUS_BY_CLASS_OUT "a{" FINDER_SYNC_MENUS_ENTRY_FIELDS "}"
#define FINDER_SYNC_ACTIVATE "Activate"
#define FINDER_SYNC_ACTIVATE_VARIABLE "{ss}"
#define FINDER_SYNC_ACTIVATE_ENVIRONMENT "a" FINDER_SYNC_ACTIVATE_VARIABLE
#define FINDER_SYNC_ACTIVATE_OPTIONS "a{sv}"
#define FINDER_SYNC_ACTIVATE_IN "sas" FINDER_SYNC_ACTIVATE_ENVIRONMENT "s" FINDER_SYNC_ACTIVATE_OPTIONS
#define FINDER_SYNC_ACTIVATE_OUT "t"
#define FINDER_SYNC_BEGIN_OBSERVING "BeginObserving"
#define FINDER_SYNC_BEGIN_OBSERVING_IN "s"
#define FINDER_SYNC_END_OBSERVING "EndObserving"
#define FINDER_SYNC_END_OBSERVING_IN "s"
#define FINDER_SYNC_EXPLAIN "Explain"
#define FINDER_SYNC_EXPLAIN_IN "s"
#define FINDER_SYNC_EXPLAIN_OUT "ssss"
#define FINDER_SYNC_DESCRIBE "Describe"
#define FINDER_SYNC_DESCRIBE_IN "s"
#define FINDER_SYNC_DESCRIBE_OUT "a(" FINDER_SYNC_DESCRIPTION_FIELDS ")"
#define FINDER_SYNC_STATUS "Status"
#define FINDER_SYNC_STATUS_OUT "a{sv}"
#define FINDER_SYNC_BADGE_TABLE "BadgeTable"
#define FINDER_SYNC_BADGE_TABLE_OUT "a(" FINDER_SYNC_BADGE_FIELDS ")"
#define FINDER_SYNC_WATCHED_DIRECTORIES "WatchedDirectories"
#define FINDER_SYNC_WATCHED_DIRECTORIES_OUT "bas"
#define FINDER_SYNC_TELL_LONGEST "TellLongest"
#define FINDER_SYNC_TELL_LONGEST_IN "t"
#define FINDER_SYNC_VERSION "Version"
#define FINDER_SYNC_VERSION_OUT "s"

/* Its signals, and the types of what they carry. */
#define FINDER_SYNC_BADGES_CHANGED "BadgesChanged"
#define FINDER_SYNC_BADGES_CHANGED_TYPES "ta(" FINDER_SYNC_CHANGE_FIELDS ")"
#define FINDER_SYNC_DIRECTORIES_CHANGED "DirectoriesChanged"
#define FINDER_SYNC_DIRECTORIES_CHANGED_TYPES "bas"
#define FINDER_SYNC_MENUS_CHANGED "MenusChanged"
#define FINDER_SYNC_OBSERVING_BEGAN "ObservingBegan"
#define FINDER_SYNC_OBSERVING_BEGAN_TYPES "s"
#define FINDER_SYNC_ACTIVATION_FINISHED "ActivationFinished"
#define FINDER_SYNC_ACTIVATION_FINISHED_TYPES "tbsas"

/* On the same object, an interface of its own, since file managers listen to everything of the other one and
 * need nothing of this: what is under way may have begun, ended or failed. */
#define SYNC_PROGRESS_INTERFACE "com.quarnhold.TovikDrive_Quen.SyncProgress1"
#define SYNC_PROGRESS_CHANGED "Changed"

/* The entry in the sidebar of file managers (org.freedesktop.CloudProviders). The file in
 * share/cloud-providers says the same. The name has no service file, so that nobody who asks for it starts
 * the extension. */
#define SIDEBAR_BUS_NAME "com.quarnhold.TovikDrive-Quen.TSyncFinder.Sidebar"
#define SIDEBAR_OBJECT_PATH "/com/quarnhold/TovikDrive_Quen/TSyncFinder/Sidebar"

/* What a badge answer says beside the identifiers of the badge table. */
#define FINDER_SYNC_BADGE_NONE "none"
#define FINDER_SYNC_BADGE_UNCHANGED "unchanged"
/* The badge of what is in step, as most of a synced folder is. */
#define FINDER_SYNC_BADGE_SYNC "sync"
/* Those of what is wrong, and of a synced folder itself. */
#define FINDER_SYNC_BADGE_ERROR "error"
#define FINDER_SYNC_BADGE_ROOT "tovik"
/* What the name of a badge's emblem, and of its drawings in an icon theme, has before the badge's identifier.
 * */
#define FINDER_SYNC_EMBLEM_PREFIX "tsyncfinder-"
#define FINDER_SYNC_EMBLEM_ICON_PREFIX "emblem-" FINDER_SYNC_EMBLEM_PREFIX

/* A plugin measures how long it holds its file manager up in one turn of the main loop, in microseconds, and
 * tells the longest from this one on, each time that it has doubled. */
#define FINDER_SYNC_LONG_TURN 1000

/* What a host passes on of its environment, so that a panel appears where the person is. */
#define FINDER_SYNC_DISPLAY_VARIABLES                                                                        \
    "DISPLAY", "WAYLAND_DISPLAY", "XAUTHORITY", "XDG_RUNTIME_DIR", "XDG_CURRENT_DESKTOP", "LANG", "LC_ALL",  \
        "LC_MESSAGES", "LANGUAGE"

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
