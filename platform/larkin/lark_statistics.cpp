// SPDX-License-Identifier: Apache-2.0
// Reads of counters as rows of one mechanism, and their copy steps.
#include "platform/larkin/lark_statistics.h"

#include <array>
#include <cstring>
#include <span>

#include "channels/driver_request.h"
#include "core/handler.h"
#include "core/text.h"
#include "core/trace.h"
#include "inventory/chips.h"
#include "platform/common/port.h"
#include "platform/common/stat_texts.h"
#include "platform/records/larkin.h"
#include "velmar/dce.h"

namespace {

constexpr size_t TOTAL_SIZE = 32; // bytes of the drop total that are used

constexpr auto RCV_QUEUE_STEPS = [] {
    using A = larkRcvQueue_t;
    using B = qosRcvQueueStatsMsg_t;
    return std::array{STAT_MOVE(log_port_bufs, log_port_bufs),
                      // The chip counts priorities 0 and 1 the other way round.
                      STAT_MOVE(port_pri_bufs[0], port_pri_bufs[1]), STAT_MOVE(port_pri_bufs[1], port_pri_bufs[0]),
                      STAT_RUN(6, port_pri_bufs[2], port_pri_bufs[2])};
}();
constexpr auto MCAST_STEPS = [] {
    using A = larkMcastCounters_t;
    using B = qosMcastRcvQueueStatsMsg_t;
    return std::array{STAT_TEXTS(counter, counter, 0)};
}();
constexpr auto QUEUE_STEPS = statQueueSteps(3, statOrder_t::Exchanged);
constexpr auto FLOW_PRIORITIES = statFlowPriorities(statOrder_t::Plain);
constexpr statStep_t FLOW_STEPS[] = {FLOW_PRIORITIES[0], FLOW_PRIORITIES[1], FLOW_PRIORITIES[2], statFlowGlobal()};
static_assert(statReach(RCV_QUEUE_STEPS) <= sizeof(qosRcvQueueStatsMsg_t));
static_assert(statReach(MCAST_STEPS) <= sizeof(qosMcastRcvQueueStatsMsg_t));
static_assert(statReach(QUEUE_STEPS) <= sizeof(qosQueueStatsMsg_t));
static_assert(statReach(FLOW_STEPS) <= sizeof(qosFlowControlStatsMsg_t));

// A response is readable for its whole record, whatever the driver sent of it.
template <typename Record>
void copyReply(std::span<const statStep_t> steps, const Record *response, void *body)
{
    statCopy(steps, reinterpret_cast<const unsigned char *>(response), sizeof *response, body);
}

// Port counters stand behind the head as in every family.
void copyCounters(std::span<const statStep_t> steps, const larkPortCounters_t *response, void *body)
{
    const auto *data = reinterpret_cast<const unsigned char *>(response) + sizeof(dceHdr_t);
    statCopy(steps, data, sizeof *response - sizeof(dceHdr_t), body);
}

larkRcvQueue_t *requestRcvQueue()
{
    return qosDceRequest<larkRcvQueue_t>(DCE_CCB_GET, LARK_RCV_QUEUE, 1);
}

larkSwmCounters_t *requestSwm()
{
    auto *record = qosDceRequest<larkSwmCounters_t>(DCE_SWM_COUNTERS);
    record->num_ports = 1;
    record->word_16 = 1;
    return record;
}

template <larkPortKind_t Kind>
larkPortCounters_t *requestPort()
{
    auto *record = qosDceRequest<larkPortCounters_t>(DCE_PORT_COUNTERS);
    record->num_ports = 1;
    record->kind = Kind;
    return record;
}

void larkCopyRcvQueStats(const qosIf_t *interface, const larkRcvQueue_t *response, qosRcvQueueStatsMsg_t *body)
{
    copyReply(RCV_QUEUE_STEPS, response, body);
    body->port_threshold = interface->ccb.tailDropThreshold;
    memset(body->reserved0, 0, sizeof body->reserved0);
}

void larkCopySwmStats(const qosIf_t *, const larkSwmCounters_t *response, qosRcvQueueStatsMsg_t *body)
{
    const uint64_t drops = response->red_drop_cnt;
    QOS_INF("red_drop_cnt: %llu", static_cast<unsigned long long>(drops));
    statAddText(body->drop_total, TOTAL_SIZE, drops);
}

void larkCopyRmonStats(const qosIf_t *, const larkPortCounters_t *response, qosRcvQueueStatsMsg_t *body)
{
    const uint64_t discards = response->rx_discard_pkts;
    QOS_INF("rx_discard_pkts: %llu", static_cast<unsigned long long>(discards));
    statAddText(body->drop_total, TOTAL_SIZE, discards);
}

// An answer that counts other than one port is reported, and taken.
void larkCopyFlowControlStats(const qosIf_t *, const larkPortCounters_t *response, qosFlowControlStatsMsg_t *body)
{
    const uint32_t count = response->num_ports_answered;
    if (count != 1)
        QOS_ERR("If count mismatch in flowControl response, expected 1, got %d", count);
    copyCounters(FLOW_STEPS, response, body);
}

void larkCopyQueueStats(const qosIf_t *, const larkPortCounters_t *response, qosQueueStatsMsg_t *body)
{
    const uint32_t count = response->num_ports_answered;
    if (count != 1)
        QOS_ERR("If count mismatch in queue response, expected 1, got %d", count);
    copyCounters(QUEUE_STEPS, response, body);
}

void larkCopyMcastRcvQueStats(const larkMcastCounters_t *response, qosMcastRcvQueueStatsMsg_t *body)
{
    copyReply(MCAST_STEPS, response, body);
}

} // namespace

constexpr larkPortRead_t<larkRcvQueue_t, qosRcvQueueStatsMsg_t> larkGetRcvQueStats = {
    "larkGetRcvQueStats", QOS_ERR_TEXT("RcvQCntrs ioctl for port %s failed, rc: %d"), requestRcvQueue,
    larkCopyRcvQueStats};
constexpr larkPortRead_t<larkSwmCounters_t, qosRcvQueueStatsMsg_t> larkGetSwmStats = {
    "larkGetSwmStats", QOS_ERR_TEXT("SWM ioctl for port %s failed, rc: %d"), requestSwm, larkCopySwmStats};
constexpr larkPortRead_t<larkPortCounters_t, qosRcvQueueStatsMsg_t> larkGetRmonStats = {
    "larkGetRmonStats", QOS_ERR_TEXT("RMON ioctl for port %s failed, rc: %d"), requestPort<LARK_KIND_RMON>,
    larkCopyRmonStats};
constexpr larkPortRead_t<larkPortCounters_t, qosFlowControlStatsMsg_t> larkGetFlowControlStats = {
    "larkGetFlowControlStats", QOS_ERR_TEXT("flowControl ioctl for port %s failed, rc: %d"),
    requestPort<LARK_KIND_FLOW_CONTROL>, larkCopyFlowControlStats};
constexpr larkPortRead_t<larkPortCounters_t, qosQueueStatsMsg_t> larkGetQueueStats = {
    "larkGetQueueStats", QOS_ERR_TEXT("QCntrs ioctl for port %s failed, rc: %d"), requestPort<LARK_KIND_QUEUE>,
    larkCopyQueueStats};

qosDriverStatus_t larkGetMcastRcvQueStats(qosMcastRcvQueueStatsMsg_t *body)
{
    const int32_t flat = dce_get_flat_chip_id(body->chip_ifindex);
    const qosChip_t *chip = qosLookupChip(flat);
    if (!chip) {
        QOS_ERR("Failed to get chip instance form chip id %d", flat);
        return qosAnswer(body, QOS_MSG_NOT_FOUND);
    }
    auto *record = qosDceRequest<larkMcastCounters_t>(DCE_MCAST_COUNTERS);
    const larkMcastCounters_t *response;
    uint32_t length;
    const qosDriverStatus_t rc = qosSendRequest(qosDceIoctl, chip->chip_ifindex, record, &response, &length);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("McastRcvQCntrs ioctl for chip %x failed, rc: %d", chip->chip_ifindex, rc);
    else
        larkCopyMcastRcvQueStats(response, body);
    return qosAnswer(body, rc);
}
