// SPDX-License-Identifier: Apache-2.0
// Reads of more records than one request holds: one request a slice, results joined in the body.
#ifndef PLATFORM_COMMON_COS_SLICES_H
#define PLATFORM_COMMON_COS_SLICES_H

#include <algorithm>
#include <cstdint>

#include "agent/messages/codes.h"

// Calls `read(first, count)` for `total` records, `slice` at a time, and once if there is none. The first result that
// is not 0 ends it and is given.
template <typename Read>
qosDriverStatus_t cosReadSlices(uint32_t total, uint32_t slice, Read &&read)
{
    uint32_t done = 0;
    qosDriverStatus_t rc;
    do {
        const uint32_t count = std::min(total - done, slice);
        rc = read(done, count);
        done += count;
    } while (rc == 0 && done < total);
    return rc;
}

#endif
