// SPDX-License-Identifier: Apache-2.0
// Inside the host library: whether the lists, trees and tail queues of a dump or of the store hold together. The host
// knows them by the names of their records and fields, as every process describes them.
#ifndef HOST_CONSISTENCY_H
#define HOST_CONSISTENCY_H

#include <cstdint>
#include <span>
#include <string>

// Of a dump that is well-formed: empty, or what does not hold. `arena` is the bytes that its blocks take.
std::string consistencyWrong(std::span<const uint32_t> words, uint64_t arena);
std::string consistencyOfStore(); // likewise of the store and the objects as they are
// Whether a delta that was taken may have changed what is walked: blocks, links, counts. Else the last walk still
// holds.
bool consistencyTouched(std::span<const uint32_t> words);

#endif
