// SPDX-License-Identifier: Apache-2.0
// Inside the host library: the main thread's queue and the end of the process.
#ifndef HOST_PROCESS_H
#define HOST_PROCESS_H

#include "velmar/msgq.h"

// The queue that host threads may post into, null before KOR_ASPMainLoop.
MSG_Q_ID processQueue();

// A message of the platform's own types: a word that no other program can set, behind the words that it can.
constexpr unsigned PROCESS_WORD_OFFSET = 28;
int processPost(uint8_t type, uint32_t word); // 0, or not if there is no queue yet or it is full
uint32_t processWord(const void *message);

// Starts a detached thread of the host with every signal blocked: false with errno on failure.
bool processThread(void *(*entry)(void *), void *arg);

// The orderly end: exit callback, files of the run directory, then the process with `status`. Any thread may call it.
// The event log says why.
[[noreturn]] void processEnd(int status, const char *why);
// The end has begun. The main thread may be anywhere, in its start too, and goes on until the process is gone; so what
// it may be using stays.
void engineLookAgain(); // the loop that serves the control socket waits on what its descriptors are now
bool processEnding();

#endif
