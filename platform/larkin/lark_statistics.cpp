// Reads of counters and their copy steps, which count from behind the response's head.
#include "platform/larkin/lark_statistics.h"

#include "channels/driver_request.h"
#include "core/handler.h"
#include "core/text.h"
#include "core/trace.h"
#include "inventory/chips.h"
#include "platform/cos_port.h"
#include "platform/larkin/lark_records.h"
#include "platform/stat_texts.h"
#include "velmar/dce.h"

namespace {

constexpr size_t TOTAL_SIZE = 32; // bytes of the drop total that are used

constexpr statStep_t RCV_QUEUE_STEPS[] = {
    statWords(offsetof(qosRcvQueueStatsMsg_t, log_port_bufs), 4),
    // The chip counts priorities 0 and 1 the other way round.
    statWords(offsetof(qosRcvQueueStatsMsg_t, port_pri_bufs), 16),
    statWords(offsetof(qosRcvQueueStatsMsg_t, port_pri_bufs) + 4, 12),
    statWords(offsetof(qosRcvQueueStatsMsg_t, port_pri_bufs) + 8, 20, 6),
};
constexpr statStep_t MCAST_STEPS[] = {statTexts(offsetof(qosMcastRcvQueueStatsMsg_t, counter), 0x58, 8)};
constexpr auto QUEUE_STEPS = statQueueSteps(3, statOrder_t::Exchanged);
constexpr auto FLOW_PRIORITIES = statFlowPriorities(statOrder_t::Plain);
constexpr statStep_t FLOW_STEPS[] = {FLOW_PRIORITIES[0], FLOW_PRIORITIES[1], FLOW_PRIORITIES[2], STAT_FLOW_GLOBAL};
static_assert(statReach(RCV_QUEUE_STEPS) <= sizeof(qosRcvQueueStatsMsg_t));
static_assert(statReach(MCAST_STEPS) <= sizeof(qosMcastRcvQueueStatsMsg_t));
static_assert(statReach(QUEUE_STEPS) <= sizeof(qosQueueStatsMsg_t));
static_assert(statReach(FLOW_STEPS) <= sizeof(qosFlowControlStatsMsg_t));

using portText_t = qosText_t<const char *, uint32_t>;

// Sends a port's record, whose response has the same layout; a failure is traced with the port's name.
template <typename Record, typename Body>
uint32_t fetch(const char *function, const portText_t &failed, const qosIf_t *interface, const Record *record,
               const Record **response, Body *body)
{
    uint32_t length;
    const uint32_t rc = qosSendRequest(qosDceIoctl, interface->chip->chip_ifindex, record, response, &length);
    if (rc != QOS_MSG_DONE)
        qosTrace(VELMAR_DCEDBG_LVL_ERR, function, __LINE__, failed, interface->ifName, rc);
    return qosAnswer(body, rc);
}

// A response is readable for its whole record, whatever the driver sent of it.
template <typename Record>
void copyReply(std::span<const statStep_t> steps, const Record *response, void *body)
{
    const auto *data = reinterpret_cast<const unsigned char *>(response) + sizeof(dceHdr_t);
    statCopy(steps, data, sizeof *response - sizeof(dceHdr_t), body);
}

const larkPortCounters_t *portRequest(larkPortKind_t kind, const qosIf_t *interface)
{
    auto *record = qosDceRequest<larkPortCounters_t>(DCE_PORT_COUNTERS);
    record->num_ports = 1;
    record->kind = kind;
    record->ifindex = interface->ifIndex;
    return record;
}

void larkCopyRcvQueStats(const qosIf_t *interface, const larkRcvQueue_t *response, qosRcvQueueStatsMsg_t *body)
{
    copyReply(RCV_QUEUE_STEPS, response, body);
    body->port_threshold = interface->ccb.tailDropThreshold;
    memset(body->reserved0, 0, sizeof body->reserved0);
}

void larkCopySwmStats(const larkSwmCounters_t *response, qosRcvQueueStatsMsg_t *body)
{
    const uint64_t drops = response->red_drop_cnt;
    QOS_INF("red_drop_cnt: %llu", static_cast<unsigned long long>(drops));
    statAddText(body->drop_total, TOTAL_SIZE, drops);
}

void larkCopyRmonStats(const larkPortCounters_t *response, qosRcvQueueStatsMsg_t *body)
{
    const uint64_t discards = response->rx_discard_pkts;
    QOS_INF("rx_discard_pkts: %llu", static_cast<unsigned long long>(discards));
    statAddText(body->drop_total, TOTAL_SIZE, discards);
}

void larkCopyMcastRcvQueStats(const larkMcastCounters_t *response, qosMcastRcvQueueStatsMsg_t *body)
{
    copyReply(MCAST_STEPS, response, body);
}

// An answer that counts other than one port is reported, and taken.
void larkCopyFlowControlStats(const larkPortCounters_t *response, qosFlowControlStatsMsg_t *body)
{
    const uint32_t count = response->num_ports_answered;
    if (count != 1)
        QOS_ERR("If count mismatch in flowControl response, expected 1, got %d", count);
    copyReply(FLOW_STEPS, response, body);
}

void larkCopyQueueStats(const larkPortCounters_t *response, qosQueueStatsMsg_t *body)
{
    const uint32_t count = response->num_ports_answered;
    if (count != 1)
        QOS_ERR("If count mismatch in queue response, expected 1, got %d", count);
    copyReply(QUEUE_STEPS, response, body);
}

} // namespace

uint32_t larkGetRcvQueStats(qosRcvQueueStatsMsg_t *body)
{
    static constexpr portText_t failed = QOS_ERR_TEXT("RcvQCntrs ioctl for port %s failed, rc: %d");
    const qosIf_t *interface = cosFindPort(__func__, body->ifindex);
    if (!interface)
        return QOS_MSG_NOT_FOUND;
    auto *record = qosDceRequest<larkRcvQueue_t>(DCE_CCB_GET, LARK_RCV_QUEUE, 1);
    record->ifindex = interface->ifIndex;
    const larkRcvQueue_t *response;
    const uint32_t rc = fetch(__func__, failed, interface, record, &response, body);
    if (rc == QOS_MSG_DONE)
        larkCopyRcvQueStats(interface, response, body);
    return rc;
}

uint32_t larkGetSwmStats(qosRcvQueueStatsMsg_t *body)
{
    static constexpr portText_t failed = QOS_ERR_TEXT("SWM ioctl for port %s failed, rc: %d");
    const qosIf_t *interface = cosFindPort(__func__, body->ifindex);
    if (!interface)
        return QOS_MSG_NOT_FOUND;
    auto *record = qosDceRequest<larkSwmCounters_t>(DCE_SWM_COUNTERS);
    record->num_ports = 1;
    record->word_16 = 1;
    record->ifindex = interface->ifIndex;
    const larkSwmCounters_t *response;
    const uint32_t rc = fetch(__func__, failed, interface, record, &response, body);
    if (rc == QOS_MSG_DONE)
        larkCopySwmStats(response, body);
    return rc;
}

uint32_t larkGetRmonStats(qosRcvQueueStatsMsg_t *body)
{
    static constexpr portText_t failed = QOS_ERR_TEXT("RMON ioctl for port %s failed, rc: %d");
    const qosIf_t *interface = cosFindPort(__func__, body->ifindex);
    if (!interface)
        return QOS_MSG_NOT_FOUND;
    const larkPortCounters_t *response;
    const uint32_t rc = fetch(__func__, failed, interface, portRequest(LARK_KIND_RMON, interface), &response, body);
    if (rc == QOS_MSG_DONE)
        larkCopyRmonStats(response, body);
    return rc;
}

uint32_t larkGetFlowControlStats(qosFlowControlStatsMsg_t *body)
{
    static constexpr portText_t failed = QOS_ERR_TEXT("flowControl ioctl for port %s failed, rc: %d");
    const qosIf_t *interface = cosFindPort(__func__, body->ifindex);
    if (!interface)
        return QOS_MSG_NOT_FOUND;
    const larkPortCounters_t *record = portRequest(LARK_KIND_FLOW_CONTROL, interface);
    const larkPortCounters_t *response;
    const uint32_t rc = fetch(__func__, failed, interface, record, &response, body);
    if (rc == QOS_MSG_DONE)
        larkCopyFlowControlStats(response, body);
    return rc;
}

uint32_t larkGetQueueStats(qosQueueStatsMsg_t *body)
{
    static constexpr portText_t failed = QOS_ERR_TEXT("QCntrs ioctl for port %s failed, rc: %d");
    const qosIf_t *interface = cosFindPort(__func__, body->ifindex);
    if (!interface)
        return QOS_MSG_NOT_FOUND;
    const larkPortCounters_t *response;
    const uint32_t rc = fetch(__func__, failed, interface, portRequest(LARK_KIND_QUEUE, interface), &response, body);
    if (rc == QOS_MSG_DONE)
        larkCopyQueueStats(response, body);
    return rc;
}

uint32_t larkGetMcastRcvQueStats(qosMcastRcvQueueStatsMsg_t *body)
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
    const uint32_t rc = qosSendRequest(qosDceIoctl, chip->chip_ifindex, record, &response, &length);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("McastRcvQCntrs ioctl for chip %x failed, rc: %d", chip->chip_ifindex, rc);
    else
        larkCopyMcastRcvQueStats(response, body);
    return qosAnswer(body, rc);
}
