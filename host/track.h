// SPDX-License-Identifier: Apache-2.0
// Inside the host library: which pages of the store were written, and what they held before.
//
// While it runs the arena is read-only. The first write to a page faults; the handler keeps a copy of the page, its
// twin, and opens it. So a sync costs what was touched and not what exists. Pages written last may stay open and are
// compared with their twins again. A writer that says ahead what it is going to write spares the fault.
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
// Numbers of the pages that differ from their twins, or with `all` of every page that may have been written since the
// last trackSettle, in no order.
std::span<const uint32_t> trackWritten(bool all);
const unsigned char *trackTwin(uint32_t page); // what such a page held

// Where to write [address, size) of the arena, until trackSettle at the latest: what it held is kept, and whatever is
// written there is found. The address itself if a fault is to find it, or if nothing is followed.
void *trackEdit(void *address, size_t size);
void trackLetEdit(bool on); // off: all is found by faults, so that the twins tell of all that is written
struct track_edit_t {
    uint32_t offset; // in the arena
    uint32_t size;
    const unsigned char *before; // null for zeros: its block was taken since the last trackSettle
};
std::span<const track_edit_t> trackEdits(); // since the last trackSettle, earlier ones first; they may meet

// A block of the arena is taken: where to zero it. What a dump may still tell is written under protection.
unsigned char *trackTaken(size_t offset, size_t size);

// What trackWritten and trackEdits gave last has been taken note of. False if pages could not be protected again.
bool trackSettle();

#endif
