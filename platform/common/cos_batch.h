// SPDX-License-Identifier: Apache-2.0
// Several COS records in one request: they stand end to end behind an envelope in the request buffer, reach the driver
// in one round trip and are answered in the same layout.
#ifndef PLATFORM_COMMON_COS_BATCH_H
#define PLATFORM_COMMON_COS_BATCH_H

#include <cstdint>
#include <cstring>

#include "channels/driver_request.h"

// An empty envelope. The bytes behind it keep what they held.
inline cosBulk_t *cosBatchStart()
{
    return qosCosRequest<cosBulk_t>(COS_BULK, sizeof(cosBulk_t));
}

// The next record of the batch: cleared, with its head filled and equal sizes both ways. The caller places no more than
// the request buffer holds.
template <typename Record>
Record *cosBatchRecord(cosBulk_t *batch, uint32_t command)
{
    static_assert(alignof(Record) == 1);
    const uint32_t at = batch->hdr.in_size;
    auto *record = reinterpret_cast<Record *>(qosRequestRecord() + at);
    memset(static_cast<void *>(record), 0, sizeof *record);
    record->hdr.command = command;
    record->hdr.in_size = static_cast<uint32_t>(sizeof *record);
    record->hdr.out_size = static_cast<uint32_t>(sizeof *record);
    batch->hdr.in_size = at + static_cast<uint32_t>(sizeof *record);
    batch->num_records = static_cast<uint16_t>(batch->num_records + 1);
    return record;
}

// Sends the batch; the answer, of the same length, through *response. The transport's status.
inline qosDriverStatus_t cosBatchSend(uint32_t target, cosBulk_t *batch, const cosBulk_t **response)
{
    const uint32_t length = batch->hdr.in_size;
    batch->hdr.out_size = length;
    const unsigned char *bytes = nullptr;
    uint32_t received = length;
    const qosDriverStatus_t rc = qosCosIoctl(target, batch, length, &bytes, &received);
    *response = reinterpret_cast<const cosBulk_t *>(bytes);
    return rc;
}

// Record `index` of an answered batch whose records are all of one type.
template <typename Record>
const Record *cosBatchAnswer(const cosBulk_t *response, uint32_t index)
{
    const auto *bytes = reinterpret_cast<const unsigned char *>(response);
    return reinterpret_cast<const Record *>(bytes + sizeof *response + index * sizeof(Record));
}

#endif
