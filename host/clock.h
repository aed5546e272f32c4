// SPDX-License-Identifier: Apache-2.0
// Inside the host library: the clock, its steps, and how a wait learns of one. With VELMAR_CLOCK=stepped the clock
// stands still between two steps; what the host does for itself goes by the machine's time either way.
#ifndef HOST_CLOCK_H
#define HOST_CLOCK_H

#include <atomic>
#include <cstdint>

// Milliseconds that the clock has been moved forward.
extern std::atomic<int64_t> clock_offset_ms;

// The clock moves by steps alone.
bool clockStepped();

// The machine's own time since an arbitrary start, in microseconds.
int64_t machineUs();

// The clock now, steps included, with an offset that was read before.
int64_t clockUs(int64_t offset_ms);

// Milliseconds since an arbitrary start, steps included. Cheap, at the kernel tick's resolution.
uint64_t clockCoarseMs();

// A descriptor that becomes readable at the next step, the calling thread's own; -1 if there is none to be had.
int clockWaiter();
void clockSeen(int waiter); // takes back the readiness

// Moves the clock forward and ends every wait that looks at a waiter; false if all steps together would go further than
// the clock can. Runs on any thread.
bool clockStep(int64_t milliseconds);
void clockJump(int64_t milliseconds); // either way, and nobody who waits is told

#endif
