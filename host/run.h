// SPDX-License-Identifier: Apache-2.0
// Inside the host library: names in the run directory and the socket files that this process bound there.
#ifndef HOST_RUN_H
#define HOST_RUN_H

#include <cstddef>
#include <sys/un.h>

// Fills a socket address; false if the path does not fit.
bool runAddress(sockaddr_un *address, const char *path);

// Binds an open socket at RUN/folder/name, or with `pid` at RUN/folder/name.PID, and remembers the file. 0, or -1 with
// errno.
int runBind(int fd, const char *folder, const char *name, bool pid, char *path, size_t size);

// Opens a file of the run directory, which must be a regular one, of this user or root, and no link. -1 with errno, and
// in `why` what a person should read.
int runOpen(const char *path, int flags, const char **why);

// Lets the group that may read read the file, if there is such a group.
void runShare(int fd);

// Whether this process is of that group, and no more.
bool runIsReader();

// Where an answer to `client` goes. Of one who may only read it is his socket in the one folder where he can have it,
// by a descriptor that `held` then is: a link in its place would lead the answer anywhere. False if there is no such
// socket.
struct velmar_sender_t;
bool runAnswerTo(const velmar_sender_t &client, sockaddr_un *to, int *held);

// Removes the file that `fd` was bound at. The descriptor stays open.
void runForget(int fd);

// A connect to `path` was refused: removes the file unless its owner may still be about to listen, or somebody else has
// the folder locked. True if it is gone.
bool runRemoveStale(const char *path);

// The process id that a file name ends in, before a further ".K": 0 if it has none.
int runOwner(const char *name);
bool runAlive(int pid);

// Removes every file of this process. Runs at exit and when the platform ends the process; a thread that wants to bind
// afterwards stands still.
// Makes the datagram sockets anew whose names were removed or replaced, under the same descriptors; what waited in the
// old ones is lost. Any thread. Says so in the event log. True if there was one: whoever waits on it waits in vain.
bool runKeepNames();
void runCleanup();

#endif
