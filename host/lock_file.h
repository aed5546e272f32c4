// SPDX-License-Identifier: Apache-2.0
// Inside the host library: the lock file RUN/ha/SERVICE.INSTANCE.lock. Anybody may remove or replace it, or move the
// run directory away: a lock counts only on the file that has the name.
#ifndef HOST_LOCK_FILE_H
#define HOST_LOCK_FILE_H

#include "velmar/ha.h"

// Makes the kernel's table of descriptors as large as the lock will need it. That takes microseconds, but some 20 ms
// where the process has a second thread.
void lockFileMakeRoom();

// Opens the file or makes it, with a list of nobody: false with errno, and the path or the name in lockFilePath.
bool lockFileOpen(const ha_register_t *record);
const char *lockFilePath(); // "" before lockFileOpen
bool lockFileIsOpen();

// At lockFileOpen there was nobody who could still have worked ahead of this process.
bool lockFileWasFree();
// At lockFileOpen the file told nothing, or this process made it where another one has a removed one of that name open:
// somebody may lead by another file. And it still tells nothing.
bool lockFileIsDoubtful();

// Waits for the lock; then this process's list of holders is what the file says, or where that says nothing what the
// file said that had the name before. False with a line in the event log if there is none to be had.
bool lockFileTake();
void lockFileRelease();

// For the lock's owner, on a slow timer: makes the name lead to his lock again.
enum class name_t {
    KEPT,
    MADE_ANEW,
    HELD, // somebody has the lock of the file that has the name now: try again
    LOST, // and he leads by it, or the run directory is another
};
name_t lockFileKeep();
bool lockFileDirectoryLost(); // the run directory is not the one that this process began in

#endif
