// Names on the disk that take nobody else's place.
#pragma once

namespace sync_daemon {

// Gives an item of an open folder (AT_FDCWD: a path) a new name in the same file system, and what has that
// name stays: 0, or the error, EEXIST when it is taken. Any thread.
//
// Where the file system cannot do it in one step (renameat2(2), RENAME_NOREPLACE; NFS and most of FUSE know
// no flags) a file gets a second name first, which never takes another one's place; a kill may leave it both.
// A folder, or a file that cannot have two names, is renamed when nothing has the name just before.
int renameWithoutReplacing(int folder, const char* name, int toFolder, const char* newName);

} // namespace sync_daemon
