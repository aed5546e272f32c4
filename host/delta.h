// SPDX-License-Identifier: Apache-2.0
// Inside the host library: what one process tells another about its store, in words of 32 bits in native order.
//
// A delta is a row of records and ends in a commit mark; a dump is a delta against an empty store and zeroed objects.
// It is checked whole before any of it is taken.
//
//   block     op, number, offset, size, type, group, tag, used     zeroed on arrival; numbers come in ascending order
//   bytes     op | length << 8, place, offset, the bytes           filled up to whole words
//   pointer   op | target kind << 8, place, offset, number, offset
//   commit    op, records ahead of it, sequence (low, high)
//
// A place is a block's number, or an object's with the highest bit set. Offsets count from the start of the block or
// object. A pointer leads into a block or an object, or to a function, or is null, which everything becomes that no
// standby could follow.
#ifndef HOST_DELTA_H
#define HOST_DELTA_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "host/store.h"

struct delta_t {
    std::vector<uint32_t> words;
    uint32_t records;
    const std::vector<store_block_t> *blocks = nullptr; // of the time that is told; null for now
};

// Objects as the standbys know them: kept from here on, so that deltaChanges finds what changed.
void deltaRemember();

// What changed since the last call: blocks taken and given back, bytes of written pages, objects.
void deltaChanges(delta_t *delta);
// Everything. Leaves what deltaChanges compares with alone.
void deltaWhole(delta_t *delta);
// The same in pieces, in this order: the list of blocks, what each one in use holds, and the objects. A block's bytes
// are the arena's, of which `written` is the stretch that the block before it has ended in, or those given.
void deltaBlocks(delta_t *delta, uint32_t from, uint32_t end);
void deltaBlock(delta_t *delta, uint32_t number, store_stretch_t *written);
void deltaBlock(delta_t *delta, uint32_t number, const unsigned char *bytes);
void deltaObjects(delta_t *delta);
void deltaCommit(delta_t *delta, uint64_t sequence);
// An object with the bytes that it had when the process started (deltaKeepStart), which are put in its place.
void deltaStartOf(delta_t *delta, uint32_t object);
// Memory of that many bytes is to be had: asked ahead of a dump, as a machine that has none would end the process.
bool deltaRoomFor(size_t bytes);

// Empty, or what is wrong with the row of records itself: one that is cut short, or the commit mark.
std::string deltaRowWrong(std::span<const uint32_t> words, uint64_t sequence);
// Checks a delta against the store as it is, or a dump against an empty one: empty, or what is wrong with it.
std::string deltaWrong(std::span<const uint32_t> words, bool dump, uint64_t sequence);
// What objects hold ahead of the first dump, kept once; and the way back to it, with an empty store.
void deltaKeepStart();
const unsigned char *deltaStart(uint32_t object); // null before that
void deltaBackToStart();
void deltaClear(); // the store empty and objects zeroed, as a dump is told against
// Takes a checked one, a dump behind deltaClear. False if memory ran out on the way.
bool deltaTake(std::span<const uint32_t> words);

#endif
