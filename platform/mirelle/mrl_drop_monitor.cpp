// SPDX-License-Identifier: Apache-2.0
// Tail drops out of port counters, RED drops out of the RED device.
#include "platform/mirelle/mrl_drop_monitor.h"

#include "channels/driver_request.h"
#include "core/handler.h"
#include "core/trace.h"
#include "platform/common/cos_red.h"
#include "platform/common/cos_slices.h"
#include "platform/common/port.h"
#include "platform/records/statistics.h"

namespace {

constexpr uint32_t SLICE = 8;
static_assert(SLICE <= COS_RED_KEYS);

// Port counters of a slice: the head up to the first port, then the ports.
struct tdRequest_t {
    cosHdr_t hdr;
    be32 device;
    be32 num_ports;
    be32 reserved_36;
    be32 kind;
    be32 reserved_44;
    cosPortCounters_t port[SLICE];
};
static_assert(offsetof(tdRequest_t, port) == offsetof(cosPortStats_t, ifindex));
static_assert(sizeof(tdRequest_t) <= NL_MSG_BUF_SIZE - NL_RECORD_OFFSET);
static_assert(sizeof(tdRequest_t) + sizeof(cosPortCounters_t) > NL_MSG_BUF_SIZE - NL_RECORD_OFFSET);

qosDriverStatus_t readTailDrops(const qosIf_t *interface, qosTdMonitorStatsIfMsg_t *ports, uint32_t count)
{
    constexpr const char *function = "mrlGetTdMonitorStats";
    const auto size = static_cast<uint32_t>(offsetof(tdRequest_t, port) + count * sizeof(cosPortCounters_t));
    auto *request = qosCosRequest<tdRequest_t>(COS_STATS_READ, size);
    request->hdr.in_size = size;
    request->device = STAT_DEV_PORT;
    request->num_ports = count;
    request->kind = STAT_KIND_RMON;
    for (uint32_t i = 0; i < count; ++i)
        request->port[i].ifindex = ports[i].ifindex;
    const unsigned char *bytes = nullptr;
    uint32_t length = size;
    const qosDriverStatus_t rc = qosCosIoctl(interface->chip->chip_ifindex, request, size, &bytes, &length);
    if (rc != QOS_MSG_DONE) {
        QOS_ERR_AT(function, "Failed to get rmon counters for port %s, rc: %d", interface->ifName, rc);
        return rc;
    }
    const auto *response = reinterpret_cast<const tdRequest_t *>(bytes);
    for (uint32_t i = 0; i < count; ++i) {
        const unsigned long long drops = response->port[i].discarded;
        if (drops == 0)
            continue;
        ports[i].is_td_if_drop = 1;
        ports[i].td_drop = drops;
        QOS_INF_AT(function, "RX drop:%llu in if:0x%x", drops, uint32_t{ports[i].ifindex});
    }
    return rc;
}

qosDriverStatus_t readRedDrops(const qosIf_t *interface, qosRedMonitorStatsIfMsg_t *ports, uint32_t count)
{
    constexpr const char *function = "mrlGetRedMonitorStats";
    auto *request = cosRedRead(STAT_DEV_RED_MIRELLE, count);
    for (uint32_t i = 0; i < count; ++i)
        request->key[i].id = ports[i].ifindex;
    const unsigned char *response = nullptr;
    const qosDriverStatus_t rc =
        cosRedSendRead(interface->chip->chip_ifindex, request, request->head.hdr.in_size, &response);
    if (rc != QOS_MSG_DONE) {
        QOS_ERR_AT(function, "Failed to get red stats for port %s, rc: %d", interface->ifName, rc);
        return rc;
    }
    for (uint32_t i = 0; i < count; ++i) {
        const cosRedResult_t result = cosRedResult(response, count, i);
        if (result.first[0] == 0 && result.first[1] == 0 && result.first[2] == 0)
            continue;
        ports[i].green_drop = result.first[0];
        ports[i].yellow_drop = result.first[1];
        ports[i].red_drop = result.first[2];
        ports[i].is_red_if_drop = 1;
        QOS_INF_AT(function, "MRL red drop_ctr in if:0x%x", uint32_t{ports[i].ifindex});
    }
    return rc;
}

template <typename Body, typename Port>
qosDriverStatus_t readAll(const qosIf_t *interface, Body *body,
                          qosDriverStatus_t (*read)(const qosIf_t *, Port *, uint32_t))
{
    const auto readSome = [interface, body, read](uint32_t first, uint32_t count) {
        return read(interface, body->records + first, count);
    };
    return qosAnswer(body, cosReadSlices(body->num_records, SLICE, readSome));
}

} // namespace

qosDriverStatus_t mrlGetTdMonitorStats(qosTdMonitorStatsMsg_t *body)
{
    const qosIf_t *interface = portFind<portMiss_t::Config>(__func__, body);
    return interface ? readAll(interface, body, readTailDrops) : QOS_MSG_NOT_FOUND;
}

qosDriverStatus_t mrlGetRedMonitorStats(qosRedMonitorStatsMsg_t *body)
{
    const qosIf_t *interface = portFind<portMiss_t::Statistics>(__func__, body);
    return interface ? readAll(interface, body, readRedDrops) : QOS_MSG_UNSERVED;
}
