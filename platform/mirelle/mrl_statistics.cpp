// SPDX-License-Identifier: Apache-2.0
// The rows and copy steps of the reads, and what is more than a copy.
#include "platform/mirelle/mrl_statistics.h"

#include <array>
#include <numeric>

#include "channels/driver_request.h"
#include "core/trace.h"
#include "platform/common/cos_statistics.h"
#include "platform/common/stat_texts.h"
#include "platform/mirelle/mrl_red.h"

namespace {

constexpr size_t DROP_TOTAL_SIZE = 32; // of the field's 33 bytes

constexpr auto QUEUE_STEPS = statQueueSteps(0, statOrder_t::Plain); // everything counts in bytes here
constexpr cosPortRow_t QUEUE = {"mrlCopyQueueStats", STAT_KIND_QUEUE, portMiss_t::Config,
                                QOS_ERR_TEXT("Failed to get queue counters for port %s, rc: %d"), QUEUE_STEPS};

constexpr statStep_t FLOW_GLOBAL_STEPS[] = {statFlowGlobal(), statFlowGlobal2()};
constexpr auto FLOW_PRIORITY_STEPS = statFlowPriorities(statOrder_t::Exchanged);
constexpr cosPortRow_t FLOW_CONTROL = {"mrlCopyFlowControlStats", STAT_KIND_FLOW_CONTROL, portMiss_t::Config,
                                       QOS_ERR_TEXT("Failed to get flowcontrol stats for port %s, rc: %d"),
                                       FLOW_GLOBAL_STEPS};
static_assert(statReach(FLOW_PRIORITY_STEPS) <= sizeof(qosFlowControlStatsMsg_t));

constexpr cosPortRow_t RMON = {
    nullptr, STAT_KIND_RMON, portMiss_t::Config, QOS_ERR_TEXT("Failed to get rmon counters for port %s, rc: %d"), {}};

constexpr auto BUSY_BUF_STEPS = [] {
    using A = cosBusyBufPort_t;
    using B = qosRcvQueueStatsMsg_t;
    return std::array{STAT_MOVE(log_port_bufs, log_port_bufs), STAT_MOVE(port_pri_bufs, port_pri_bufs)};
}();
constexpr cosStatRow_t BUSY_BUF = cosStatRow<cosBusyBufPort_t, cosStatForm_t::Port>(
    COS_INGRESS_BUFFERS_PORT, QOS_ERR_TEXT("Failed to get busy buf stats for port %s, rc: %d"), BUSY_BUF_STEPS);
constexpr cosStatRow_t SEND_QUEUE = cosStatRow<cosSendQuePort_t, cosStatForm_t::Port>(
    COS_EGRESS_BUFFERS_PORT, QOS_ERR_TEXT("Failed to get send queue stats for port %s, rc: %d"), {});
constexpr uint32_t NO_THRESHOLD = 0xffffffff;
constexpr int32_t MAX_SEND_THRESHOLD = 0x1000000; // bytes

constexpr auto ASIC_STEPS = [] {
    using A = cosAsicStats_t;
    using B = qosAsicIntStatsMsg_t;
    return std::array{STAT_MOVE(val16[1], val64), STAT_RUN(5, val16[4], val136), STAT_MOVE(val96, val176),
                      STAT_MOVE(val104, val184),  STAT_MOVE(val360, val440),     STAT_MOVE(val392, val464),
                      STAT_MOVE(val464, val528)};
}();
static_assert(statReach(ASIC_STEPS) == sizeof(qosAsicIntStatsMsg_t));

template <typename Record>
const Record *recordAt(const unsigned char *bytes)
{
    return reinterpret_cast<const Record *>(bytes);
}

// Counters added up; the sum wraps.
template <size_t Count>
uint64_t sumOf(const be64 (&counters)[Count])
{
    return std::accumulate(counters, counters + Count, uint64_t{0});
}

// Port-level pause has one counter, the first priority's.
void mrlCopyFlowControlStats(const cosStatAnswer_t &answer, qosFlowControlStatsMsg_t *body)
{
    if (answer.interface->ccb.ccbFlags & QOS_CCB_PAUSE)
        statWriteText(body->pri[0], sizeof body->pri[0], sumOf(recordAt<statPortFlow_t>(answer.bytes)->pri));
    else
        statCopy(FLOW_PRIORITY_STEPS, answer.bytes, answer.length, body);
}

void mrlCopyRmonStats(const cosStatAnswer_t &answer, qosRcvQueueStatsMsg_t *body)
{
    const unsigned long long discarded = recordAt<statPortRmon_t>(answer.bytes)->discarded;
    statAddText(body->drop_total, DROP_TOTAL_SIZE, discarded);
    QOS_INF("rx_discard_pkts: %llu", discarded);
}

void mrlCopyBusyBufStats(const cosStatAnswer_t &, qosRcvQueueStatsMsg_t *body)
{
    const be32(&used)[QOS_NUM_COS] = body->port_pri_bufs;
    QOS_INF("log_port_bufs: %d", uint32_t{body->log_port_bufs});
    QOS_INF("port_pri_bufs: %d %d %d %d %d %d %d %d", uint32_t{used[0]}, uint32_t{used[1]}, uint32_t{used[2]},
            uint32_t{used[3]}, uint32_t{used[4]}, uint32_t{used[5]}, uint32_t{used[6]}, uint32_t{used[7]});
}

// The port's two words are the sums of its priorities'.
void mrlCopySendBufStats(const cosStatAnswer_t &answer, qosRcvQueueStatsMsg_t *body)
{
    const auto *queues = recordAt<cosSendQuePort_t>(answer.bytes);
    uint32_t used = 0;
    uint32_t budget = 0;
    for (unsigned priority = 0; priority < QOS_NUM_COS; ++priority) {
        const uint32_t in_use = queues->port_pri_bufs[priority];
        const uint32_t word = queues->threshold[priority];
        const uint32_t threshold = word == NO_THRESHOLD ? 0 : word;
        body->port_pri_bufs[priority] = in_use;
        body->threshold[priority] = threshold;
        used += in_use;
        budget += threshold;
    }
    body->log_port_bufs = used;
    body->port_threshold = static_cast<int32_t>(budget) > MAX_SEND_THRESHOLD ? MAX_SEND_THRESHOLD : budget;
    statAddText(body->drop_total, DROP_TOTAL_SIZE, queues->dropped);
    QOS_INF("pkt dropped : %s", body->drop_total);
}

void mrlCopyAsicStats(const unsigned char *response, uint32_t length, qosAsicIntStatsMsg_t *body)
{
    const auto *counters = recordAt<cosAsicStats_t>(response);
    body->val16[0] = sumOf(counters->sum32);
    body->val16[2] = sumOf(counters->sum72);
    body->val16[3] = sumOf(counters->sum104);
    statCopy(ASIC_STEPS, response, length, body);
}

} // namespace

constexpr cosStatEntry_t<qosQueueStatsMsg_t, cosPortRow_t> mrlGetQueueStats = {"mrlGetQueueStats", QUEUE};
constexpr cosStatEntry_t<qosFlowControlStatsMsg_t, cosPortRow_t> mrlGetFlowControlStats = {
    "mrlGetFlowControlStats", FLOW_CONTROL, mrlCopyFlowControlStats};
constexpr cosStatEntry_t<qosRcvQueueStatsMsg_t, cosPortRow_t> mrlGetRmonStats = {"mrlGetRmonStats", RMON,
                                                                                 mrlCopyRmonStats};
constexpr cosStatEntry_t<qosRcvQueueStatsMsg_t, cosStatRow_t> mrlGetBusyBufStats = {"mrlGetBusyBufStats", BUSY_BUF,
                                                                                    mrlCopyBusyBufStats};
constexpr cosStatEntry_t<qosRcvQueueStatsMsg_t, cosStatRow_t> mrlGetSendQueueStats = {"mrlGetSendQueueStats",
                                                                                      SEND_QUEUE, mrlCopySendBufStats};

qosDriverStatus_t mrlGetSwmStats(qosRcvQueueStatsMsg_t *)
{
    return QOS_MSG_DONE;
}

qosDriverStatus_t mrlGetAsicIntStats(qosAsicIntStatsMsg_t *body)
{
    auto *record = qosCosRequest<cosAsicStats_t>(COS_STATS_READ, sizeof(cosAsicStats_t));
    record->device = STAT_DEV_ASIC;
    const unsigned char *response = nullptr;
    uint32_t length = sizeof(cosAsicStats_t);
    const qosDriverStatus_t rc = qosCosIoctl(body->chip_ifindex, record, sizeof *record, &response, &length);
    body->status = static_cast<int32_t>(rc);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to get asic internal stats rc: %d", rc);
    else
        mrlCopyAsicStats(response, sizeof(cosAsicStats_t), body);
    return rc;
}

qosDriverStatus_t mrlClearStats(qosClearStatsMsg_t *body)
{
    return cosClearStats(body, {mrlClearSwmStats, mrlClearRedStats, mrlClearDropRsnStats});
}

qosDriverStatus_t mrlClearSwmStats(qosClearStatsMsg_t *body)
{
    return cosClearSwmStats(__func__, body);
}

qosDriverStatus_t mrlClearDropRsnStats(qosClearStatsMsg_t *body)
{
    return cosClearDropRsnStats(__func__, body);
}
