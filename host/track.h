// Inside the host library: which pages of the store were written, and what they held before.
//
// While it runs the arena is read-only. The first write to a page faults; the handler keeps a copy of the page, its
// twin, and opens it. So a sync costs what was touched and not what exists.
#ifndef HOST_TRACK_H
#define HOST_TRACK_H

#include <cstddef>
#include <cstdint>
#include <span>

bool trackStart(); // false with errno; the arena is as the standbys are about to have it
void trackStop();
bool trackRuns();
bool trackLost(); // what is written is not known any more: all standbys need a new dump

size_t trackPage(); // bytes
// Numbers of the pages that were written since the last trackSettle, in ascending order after this call.
std::span<const uint32_t> trackWritten();
const unsigned char *trackTwin(uint32_t page); // what a written page held
bool trackSettle();                            // protects the written pages again

#endif
