// SPDX-License-Identifier: Apache-2.0
// Inside the host library: maps of files that somebody else may shrink, or that a full disk leaves a hole in.
#ifndef HOST_MAPPED_H
#define HOST_MAPPED_H

#include <atomic>
#include <cstddef>

// From now on an access to the map behind the end of its file puts zeroed memory of the process's own in place of the
// whole map, sets `lost` and goes on. False if there is no room for one more. Main thread.
bool mappedGuard(void *base, size_t size, std::atomic<bool> *lost);

#endif
