// SPDX-License-Identifier: Apache-2.0
// Tail drops of watched ports, out of the driver's ingress buffer records.
#include "platform/tessel/tsl_drop_monitor.h"

#include "core/handler.h"
#include "core/trace.h"
#include "platform/common/cos_batch.h"
#include "platform/common/cos_slices.h"
#include "platform/common/port.h"
#include "platform/records/statistics.h"

namespace {

constexpr uint32_t SLICE = 8;
constexpr uint32_t batchLength(uint32_t count)
{
    return static_cast<uint32_t>(sizeof(cosBulk_t) + count * sizeof(cosTdMonitor_t));
}
static_assert(NL_RECORD_OFFSET + batchLength(SLICE) <= NL_MSG_BUF_SIZE);
static_assert(NL_RECORD_OFFSET + batchLength(SLICE + 1) > NL_MSG_BUF_SIZE);

constexpr const char *FUNCTION = "tslGetTdDropMonitorStats";

// Whether the driver has worked on the whole batch.
bool answered(const cosBulk_t *response, uint32_t count)
{
    const uint32_t processed = response->num_processed;
    if (processed != count) {
        QOS_ERR_AT(FUNCTION, "No of records processed were less/more than requested. Requested:%d, Processed:%d", count,
                   processed);
        return false;
    }
    if (response->hdr.status != 0) {
        QOS_ERR_AT(FUNCTION, "Bulk processing failed");
        return false;
    }
    return true;
}

qosDriverStatus_t takeDrops(const cosBulk_t *response, qosTdMonitorStatsIfMsg_t *ports, uint32_t first, uint32_t count)
{
    for (uint32_t i = 0; i < count; ++i) {
        const auto *answer = cosBatchAnswer<cosTdMonitor_t>(response, i);
        if (answer->hdr.command != COS_INGRESS_BUFFERS_PORT || answer->hdr.status != 0) {
            QOS_ERR_AT(FUNCTION, "Error getting TD stats for ioctl request number:%d", first + i);
            return QOS_MSG_DRIVER_REFUSED;
        }
        const unsigned long long packets = answer->drop_packets;
        const unsigned long long bytes = answer->drop_bytes;
        if (packets == 0)
            continue;
        ports[i].td_drop = packets;
        ports[i].is_td_if_drop = 1;
        QOS_INF_AT(FUNCTION, "RX drop-pkt:%llu bytes:%llu in if:0x%x, count:%d", packets, bytes,
                   static_cast<uint32_t>(ports[i].ifindex), first + i);
    }
    return QOS_MSG_DONE;
}

qosDriverStatus_t readSlice(const qosIf_t *interface, qosTdMonitorStatsMsg_t *body, uint32_t first, uint32_t count)
{
    qosTdMonitorStatsIfMsg_t *ports = body->records + first;
    cosBulk_t *batch = cosBatchStart();
    for (uint32_t i = 0; i < count; ++i)
        cosBatchRecord<cosTdMonitor_t>(batch, COS_INGRESS_BUFFERS_PORT)->ifindex = ports[i].ifindex;
    const cosBulk_t *response;
    const qosDriverStatus_t rc = cosBatchSend(interface->chip->chip_ifindex, batch, &response);
    if (rc != QOS_MSG_DONE) {
        QOS_ERR_AT(FUNCTION, "Failed to get rmon counters for port %s, rc: %d", interface->ifName, rc);
        return rc;
    }
    if (!answered(response, count))
        return QOS_MSG_DRIVER_REFUSED;
    return takeDrops(response, ports, first, count);
}

} // namespace

qosDriverStatus_t tslGetTdDropMonitorStats(qosTdMonitorStatsMsg_t *body)
{
    const qosIf_t *interface = portFind<portMiss_t::Statistics>(__func__, body);
    if (!interface)
        return QOS_MSG_UNSERVED;
    const auto read = [interface, body](uint32_t first, uint32_t count) {
        return readSlice(interface, body, first, count);
    };
    return qosAnswer(body, cosReadSlices(body->num_records, SLICE, read));
}
