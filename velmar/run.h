// SPDX-License-Identifier: Apache-2.0
// The run directory and the node file, for the programs beside the agent: driver emulator, manager tool, tests.
#ifndef VELMAR_RUN_H
#define VELMAR_RUN_H

#include <cstddef>
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>

// The run directory, made with its folders at first use: VELMAR_RUN, else /run/velmar for root, else /tmp/velmar-<uid>.
// Null with one line in `error` (of `size` bytes) if it cannot be made or used.
const char *velmar_run_dir(char *error, size_t size);

// Takes the directory that VELMAR_RUN names, if it is another user's who lets this process's group read (`group` in its
// node file). From then on this process binds in its folder for readers alone, and takes that user's answers. Nothing
// is made. To be called before anything else here.
bool velmar_run_as_reader();

// Writes RUN/folder/name into `path`; -1 with errno ENAMETOOLONG if it does not fit a socket address.
int velmar_run_path(char *path, size_t size, const char *folder, const char *name);

// Binds a datagram socket at RUN/folder/name, or with `pid` not 0 at RUN/folder/name.PID (name.PID.2 and on for further
// ones of one process). A file there whose owner is gone is removed. The descriptor, or -1 with errno: EADDRINUSE if a
// living process holds the name. The file goes away with velmar_run_close or with the process's orderly end.
int velmar_run_bind(const char *folder, const char *name, bool pid, char *path, size_t size);
void velmar_run_close(int fd);

struct velmar_sender_t {
    sockaddr_un address; // a path in it ends with a 0
    socklen_t length;    // as the kernel gave it: no more than the family if the sender has no address
    bool reader;         // one who may only read; by velmar_run_serve alone
    uid_t user;          // whose process it is
};

// Takes one datagram that waits at such a socket, and whose it is; with `file` also a descriptor that came along, or
// -1. What a process of another user than this one and root sent is thrown away and counted. The datagram's whole
// length, also where that is above `size`, or -1 with errno.
ssize_t velmar_run_receive(int fd, void *buffer, size_t size, velmar_sender_t *from, int *file);
// The same for who serves those too that may only read.
ssize_t velmar_run_serve(int fd, void *buffer, size_t size, velmar_sender_t *from);
// Sends an answer to who was served, or -1 with errno.
ssize_t velmar_run_answer(int fd, const velmar_sender_t *to, const void *bytes, size_t size);
unsigned velmar_run_refused(); // so many datagrams and connections

#endif
