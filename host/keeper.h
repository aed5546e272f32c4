// SPDX-License-Identifier: Apache-2.0
// Inside the host library: hands the lock of a dead process over ahead of its memory.
#ifndef HOST_KEEPER_H
#define HOST_KEEPER_H

// Starts what keeps this process's memory a little longer than the process. Without it a takeover waits for the kernel
// to end the memory, and nothing else is missed.
void keeperStart();

#endif
