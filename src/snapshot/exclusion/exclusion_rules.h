// The built-in exclusion rules that go by whole names, as one table: system bookkeeping, caches, scratch data
// of applications and the product's own support folders.
#pragma once

#include <string_view>

namespace snapshot {

// An item is excluded when its name, its parent's name and its grandparent's name are those of a rule. An
// empty parent or grandparent in a rule stands for any.
struct ExclusionRule {
    std::string_view name;
    std::string_view parent = {};
    std::string_view grandparent = {};
};

inline constexpr ExclusionRule kExclusionRules[] = {
    // Wherever they lie.
    {".DS_Store"},
    {".cocoapods"},
    {".cpan"},
    {".npm"},
    {".atom"},
    {".node-gyp"},
    {".itmstransporter"},
    {".rvm"},
    {"Backups.backupdb"},
    {".localized"},
    {"Thumbs.db"},
    {"iPod Photo Cache"},
    {"Apple TV Photo Cache"},
    {".TemporaryItems"},
    {".vbt5"},
    {".AppleDB"},
    {".AppleDouble"},
    {".AppleDesktop"},
    {"Saved Application State"},
    {"Caches"},
    {"TBackupd"},
    {"MPBackup.temp"},
    {".Spotlight-V100"},
    {".DocumentRevisions-V100"},
    {".fseventsd"},
    {".apdisk"},
    {".Sparkle"},
    {"CacheStorage"},
    {"Message Database Spotlight cache"},

    // Photo and music libraries.
    {"scopes", "Photos Library.photoslibrary"},
    {"internal", "Photos Library.photoslibrary"},
    {"external", "Photos Library.photoslibrary"},
    {"database", "Photos Library.photoslibrary"},
    {"Previews", "Photos Library.photoslibrary"},
    {"private", "Photos Library.photoslibrary"},
    {"resources", "Photos Library.photoslibrary"},
    {"resource", "Photos Library.photoslibrary"},
    {"Thumbnails", "Photos Library.photoslibrary"},
    {"Thumbnails", "iPhoto Library"},
    {"Thumbnails", "iPhoto Library.photolibrary"},
    {"Previews", "iPhoto Library"},
    {"Previews", "iPhoto Library.photolibrary"},
    {"Album Artwork", "iTunes"},
    {"Mobile Applications", "iTunes Media", "iTunes"},

    // Applications that keep their scratch data in a folder of their own.
    {"Configuration", "en_US"},
    {"Storage", "PersistentCache"},
    {"Extensions", "com.operasoftware.Opera"},
    {"Cache", "discord"},

    // Application Support.
    {"Plex Media Player", "Application Support"},
    {"TBackupD", "Application Support", "Library"},
    {"TovikDrive Quen", "Application Support", "Library"},
    {"TovikSpace", "Application Support", "Library"},
    {"TovikSync Quen", "Application Support", "Library"},
    {"TovikDrive", "Application Support", "Library"},
    {"iLifeAssetManagement", "Application Support", "Library"},
    {"Google", "Application Support", "Library"},
    {"JetBrains", "Application Support", "Library"},
    {"Skype", "Application Support", "Library"},
    {"Cache", "Atom", "Application Support"},
    {"ConnectionsCache.sqlite", "Little Snitch", "Application Support"},
    {"Updates", "Transmit", "Application Support"},
    {"Extensions", "brave", "Application Support"},
    {"Cache", "brave", "Application Support"},

    // Library.
    {"Cookies", "Library"},
    {"Preferences", "Library"},
    {"PreferencePanes", "Library"},
    {"Receipts", "Library"},
    {"SyncedPreferences", "Library"},
    {"Logs", "Library"},
    {"Containers", "Library"},
    {"Group Containers", "Library"},
    {"com.apple.nsurlsessiond", {}, "Library"},
    {"Metadata", "Developer", "Library"},
    {"Shared", "Developer", "Library"},
    {"Software Images", "MobileDevice", "Library"},
    {"Downloads", "Parallels", "Library"},
    {"ByHost", "Preferences", "Library"},
    {"CloudBookmarksMigrationCoordinator", "Safari", "Library"},
    {"Databases", "Safari", "Library"},
    {"Extensions", "Safari", "Library"},
    {"Favicon Cache", "Safari", "Library"},
    {"LocalStorage", "Safari", "Library"},
    {"RemoteNotifications", "Safari", "Library"},
    {"Template Icons", "Safari", "Library"},
    {"Touch Icons Cache", "Safari", "Library"},
    {"AutoFillCorrections.db", "Safari", "Library"},
    {"AutoFillCorrections.db-wal", "Safari", "Library"},
    {"CloudAutoFillCorrections.db", "Safari", "Library"},
    {"CloudAutoFillCorrections.db-wal", "Safari", "Library"},
    {"PerSitePreferences.db", "Safari", "Library"},
    {"PerSitePreferences.db-wal", "Safari", "Library"},
};

} // namespace snapshot
