// The run directory and the node file, for the programs beside the agent: driver emulator, manager tool, tests.
#ifndef VELMAR_RUN_H
#define VELMAR_RUN_H

#include <cstddef>

// The run directory, made with its folders at first use: VELMAR_RUN, else /run/velmar for root, else /tmp/velmar-<uid>.
// Null with one line in `error` (of `size` bytes) if it cannot be made or used.
const char *velmar_run_dir(char *error, size_t size);

// Writes RUN/folder/name into `path`; -1 with errno ENAMETOOLONG if it does not fit a socket address.
int velmar_run_path(char *path, size_t size, const char *folder, const char *name);

// Binds a datagram socket at RUN/folder/name, or with `pid` not 0 at RUN/folder/name.PID (name.PID.2 and on for further
// ones of one process). A file there whose owner is gone is removed. The descriptor, or -1 with errno: EADDRINUSE if a
// living process holds the name. The file goes away with velmar_run_close or with the process's orderly end.
int velmar_run_bind(const char *folder, const char *name, bool pid, char *path, size_t size);
void velmar_run_close(int fd);

#endif
