// SPDX-License-Identifier: Apache-2.0
// Inside the host library: the words of a delta's records, for who writes and who reads them.
#ifndef HOST_DELTA_RECORDS_H
#define HOST_DELTA_RECORDS_H

#include <cstddef>
#include <cstdint>
#include <span>

enum delta_op_t : uint32_t { DELTA_BLOCK = 1, DELTA_BYTES = 2, DELTA_POINTER = 3, DELTA_COMMIT = 4 };
enum delta_target_t : uint32_t { DELTA_TO_NULL, DELTA_TO_BLOCK, DELTA_TO_OBJECT, DELTA_TO_FUNCTION };

constexpr unsigned DELTA_SHIFT = 8; // the first word is the op below, and its argument from there on
constexpr uint32_t DELTA_OP = 0xff;
constexpr uint32_t DELTA_BYTES_MOST = 0xfffffc;      // of one record
constexpr uint32_t DELTA_OBJECT = uint32_t{1} << 31; // in a place: an object and not a block

// Words of a record, those of the bytes themselves left out; by op.
constexpr uint32_t DELTA_WORDS[] = {0, 8, 3, 5, 4};

// Words of the record that begins here, 0 if it is cut short or of no known kind.
inline size_t deltaRecordLength(std::span<const uint32_t> rest)
{
    const uint32_t op = rest[0] & DELTA_OP;
    if (op < DELTA_BLOCK || op > DELTA_COMMIT)
        return 0;
    const size_t length = DELTA_WORDS[op] + (op == DELTA_BYTES ? ((rest[0] >> DELTA_SHIFT) + 3) / 4 : 0);
    return length <= rest.size() ? length : 0;
}

#endif
