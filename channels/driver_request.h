// SPDX-License-Identifier: Apache-2.0
// One synchronous request to the ASIC driver, and how its record is built in the shared buffer.
//
// A back-end function reads as its table:
//     auto *record = qosCosRequest<cosDscpMap_t>(COS_DSCP_MAP);
//     record->ifIndex = body->ifIndex;
//     ...
//     return qosCosSend(body->chip_ifindex, record);
// The record stands in qosNLMsgBuf and is gone with the next request; a response in qosNLRspBuf likewise.
#ifndef CHANNELS_DRIVER_REQUEST_H
#define CHANNELS_DRIVER_REQUEST_H

#include <cstdint>
#include <cstring>

#include "agent/messages/codes.h"
#include "channels/driver_socket.h"

// The four transport calls. `record` is there for the reader: what stands in qosNLMsgBuf is sent. On entry
// *response_length is the response length expected; on a result of 0 *response is the response record, readable for at
// least that many bytes (those that the driver left out are 0), and *response_length what the driver sent of it.
// 0, 1, 12, 13, 14, 22 or 28.
using qosIoctlFn_t = qosDriverStatus_t(uint32_t target, const void *record, uint32_t length,
                                       const unsigned char **response, uint32_t *response_length);
qosIoctlFn_t qosDceIoctl;
qosIoctlFn_t qosDceMgrIoctl;
qosIoctlFn_t qosCosIoctl;
qosIoctlFn_t qosCosMgrIoctl;

inline unsigned char *qosRequestRecord()
{
    return qosNLMsgBuf + NL_RECORD_OFFSET;
}

// Whether a record starts from zeros, or is written field by field over what the buffer held.
enum class qosRequestBuffer_t { Cleared, AsIs };

// A COS record of type Record in the request buffer, with its head filled.
template <typename Record>
Record *qosCosRequest(uint32_t command, uint32_t out_size = sizeof(cosHdr_t),
                      qosRequestBuffer_t buffer = qosRequestBuffer_t::Cleared)
{
    static_assert(sizeof(Record) <= NL_MSG_BUF_SIZE - NL_RECORD_OFFSET && alignof(Record) == 1);
    auto *record = reinterpret_cast<Record *>(qosRequestRecord());
    if (buffer == qosRequestBuffer_t::Cleared)
        memset(qosRequestRecord(), 0, sizeof *record);
    record->hdr.command = command;
    record->hdr.reserved_4 = 0;
    record->hdr.in_size = sizeof *record;
    record->hdr.out_size = out_size;
    record->hdr.reserved_16 = 0;
    record->hdr.status = 0;
    return record;
}

// The same of the DCE family.
template <typename Record>
Record *qosDceRequest(uint32_t command, uint8_t operation = 0, uint16_t num_records = 0,
                      qosRequestBuffer_t buffer = qosRequestBuffer_t::Cleared)
{
    static_assert(sizeof(Record) <= NL_MSG_BUF_SIZE - NL_RECORD_OFFSET && alignof(Record) == 1);
    auto *record = reinterpret_cast<Record *>(qosRequestRecord());
    if (buffer == qosRequestBuffer_t::Cleared)
        memset(qosRequestRecord(), 0, sizeof *record);
    record->hdr.command = command;
    record->hdr.length = sizeof *record;
    record->hdr.operation = operation;
    record->hdr.status = 0;
    record->hdr.word_8 = 0;
    record->hdr.num_records = num_records;
    return record;
}

// Sends `record` through one of the transport calls; the typed response through `response`.
template <typename Response, typename Record>
qosDriverStatus_t qosSendRequest(qosIoctlFn_t *transport, uint32_t target, const Record *record,
                                 const Response **response, uint32_t *response_length)
{
    static_assert(sizeof(Response) <= NL_RSP_BUF_SIZE - NL_RECORD_OFFSET && alignof(Response) == 1);
    const unsigned char *bytes = nullptr;
    *response_length = sizeof(Response);
    const qosDriverStatus_t rc = transport(target, record, sizeof *record, &bytes, response_length);
    *response = reinterpret_cast<const Response *>(bytes);
    return rc;
}

// Sends a record whose response is a plain acknowledgement.
template <typename Record>
qosDriverStatus_t qosCosSend(uint32_t target, const Record *record)
{
    const cosHdr_t *response;
    uint32_t length;
    return qosSendRequest(qosCosIoctl, target, record, &response, &length);
}

// The same of the DCE family.
template <typename Record>
qosDriverStatus_t qosDceSend(uint32_t target, const Record *record)
{
    const dceHdr_t *response;
    uint32_t length;
    return qosSendRequest(qosDceIoctl, target, record, &response, &length);
}

#endif
