// The rows and copy steps of the reads, and what is more than a copy.
#include "platform/mirelle/mrl_statistics.h"

#include "channels/driver_request.h"
#include "core/trace.h"
#include "platform/common/cos_statistics.h"
#include "platform/common/stat_texts.h"
#include "platform/mirelle/mrl_red.h"
#include "platform/records/priority.h"

namespace {

constexpr size_t DROP_TOTAL_SIZE = 32; // of the field's 33 bytes

constexpr auto QUEUE_STEPS = statQueueSteps(0, statOrder_t::Plain); // everything counts in bytes here
constexpr cosPortRow_t QUEUE = {"mrlGetQueueStats",
                                "mrlCopyQueueStats",
                                STAT_KIND_QUEUE,
                                portMiss_t::Config,
                                QOS_ERR_TEXT("Failed to get queue counters for port %s, rc: %d"),
                                QUEUE_STEPS};

constexpr statStep_t FLOW_GLOBAL_STEPS[] = {STAT_FLOW_GLOBAL, STAT_FLOW_GLOBAL2};
constexpr auto FLOW_PRIORITY_STEPS = statFlowPriorities(statOrder_t::Exchanged);
constexpr cosPortRow_t FLOW_CONTROL = {"mrlGetFlowControlStats",
                                       "mrlCopyFlowControlStats",
                                       STAT_KIND_FLOW_CONTROL,
                                       portMiss_t::Config,
                                       QOS_ERR_TEXT("Failed to get flowcontrol stats for port %s, rc: %d"),
                                       FLOW_GLOBAL_STEPS};
static_assert(statReach(FLOW_PRIORITY_STEPS) <= sizeof(qosFlowControlStatsMsg_t));
constexpr size_t FLOW_PRIORITIES_AT = 0x60;

constexpr cosPortRow_t RMON = {"mrlGetRmonStats",
                               nullptr,
                               STAT_KIND_RMON,
                               portMiss_t::Config,
                               QOS_ERR_TEXT("Failed to get rmon counters for port %s, rc: %d"),
                               {}};
constexpr size_t RMON_DISCARDED_AT = 0x188;

constexpr statStep_t BUSY_BUF_STEPS[] = {statWords(offsetof(qosRcvQueueStatsMsg_t, log_port_bufs), 36),
                                         statWords(offsetof(qosRcvQueueStatsMsg_t, port_pri_bufs), 52, 8)};
constexpr cosStatRow_t BUSY_BUF = {"mrlGetBusyBufStats",
                                   COS_INGRESS_BUFFERS_PORT,
                                   328,
                                   328,
                                   cosStatForm_t::Port,
                                   QOS_ERR_TEXT("Failed to get busy buf stats for port %s, rc: %d"),
                                   BUSY_BUF_STEPS};

constexpr cosStatRow_t SEND_QUEUE = {"mrlGetSendQueueStats",
                                     COS_EGRESS_BUFFERS_PORT,
                                     328,
                                     328,
                                     cosStatForm_t::Port,
                                     QOS_ERR_TEXT("Failed to get send queue stats for port %s, rc: %d"),
                                     {}};
constexpr size_t SEND_USED_AT = 36;
constexpr size_t SEND_THRESHOLDS_AT = 68;
constexpr size_t SEND_DROPPED_AT = 0x84;
constexpr uint32_t NO_THRESHOLD = 0xffffffff;
constexpr int32_t MAX_SEND_THRESHOLD = 0x1000000; // bytes

constexpr statStep_t ASIC_STEPS[] = {statQuads(24, 64),       statQuads(48, 136, 5),  statQuads(96, 176),
                                     statQuads(104, 184, 32), statQuads(360, 440, 3), statQuads(392, 464, 8),
                                     statQuads(464, 528, 8)};
static_assert(statReach(ASIC_STEPS) == sizeof(qosAsicIntStatsMsg_t));

uint32_t wordAt(const unsigned char *bytes, size_t at)
{
    return *reinterpret_cast<const be32 *>(bytes + at);
}

// `count` counters of 64 bits added up; the sum wraps.
uint64_t sumAt(const unsigned char *bytes, size_t at, unsigned count = 1)
{
    const auto *counter = reinterpret_cast<const be64 *>(bytes + at);
    uint64_t sum = 0;
    for (unsigned i = 0; i < count; ++i)
        sum += counter[i];
    return sum;
}

// Port-level pause has one counter, the first priority's.
void mrlCopyFlowControlStats(const cosStatAnswer_t &answer, qosFlowControlStatsMsg_t *body)
{
    if (answer.interface->ccb.ccbFlags & QOS_CCB_PAUSE)
        statWriteText(body->pri[0], sizeof body->pri[0], sumAt(answer.bytes, FLOW_PRIORITIES_AT, QOS_NUM_COS));
    else
        statCopy(FLOW_PRIORITY_STEPS, answer.bytes, answer.length, body);
}

void mrlCopyRmonStats(const cosStatAnswer_t &answer, qosRcvQueueStatsMsg_t *body)
{
    const unsigned long long discarded = sumAt(answer.bytes, RMON_DISCARDED_AT);
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
    uint32_t used = 0;
    uint32_t budget = 0;
    for (unsigned priority = 0; priority < QOS_NUM_COS; ++priority) {
        const uint32_t in_use = wordAt(answer.bytes, SEND_USED_AT + 4 * priority);
        const uint32_t word = wordAt(answer.bytes, SEND_THRESHOLDS_AT + 4 * priority);
        const uint32_t threshold = word == NO_THRESHOLD ? 0 : word;
        body->port_pri_bufs[priority] = in_use;
        body->threshold[priority] = threshold;
        used += in_use;
        budget += threshold;
    }
    body->log_port_bufs = used;
    body->port_threshold = static_cast<int32_t>(budget) > MAX_SEND_THRESHOLD ? MAX_SEND_THRESHOLD : budget;
    statAddText(body->drop_total, DROP_TOTAL_SIZE, sumAt(answer.bytes, SEND_DROPPED_AT));
    QOS_INF("pkt dropped : %s", body->drop_total);
}

void mrlCopyAsicStats(const unsigned char *response, uint32_t length, qosAsicIntStatsMsg_t *body)
{
    body->val16[0] = sumAt(response, 32, 4);
    body->val16[2] = sumAt(response, 72, 4);
    body->val16[3] = sumAt(response, 104, 4);
    statCopy(ASIC_STEPS, response, length, body);
}

} // namespace

uint32_t mrlGetQueueStats(qosQueueStatsMsg_t *body)
{
    return cosStatRun<QUEUE>(body);
}

uint32_t mrlGetFlowControlStats(qosFlowControlStatsMsg_t *body)
{
    return cosStatRun<FLOW_CONTROL>(body, mrlCopyFlowControlStats);
}

uint32_t mrlGetRmonStats(qosRcvQueueStatsMsg_t *body)
{
    return cosStatRun<RMON>(body, mrlCopyRmonStats);
}

uint32_t mrlGetBusyBufStats(qosRcvQueueStatsMsg_t *body)
{
    return cosStatRun<BUSY_BUF>(body, mrlCopyBusyBufStats);
}

uint32_t mrlGetSendQueueStats(qosRcvQueueStatsMsg_t *body)
{
    return cosStatRun<SEND_QUEUE>(body, mrlCopySendBufStats);
}

uint32_t mrlGetSwmStats(qosRcvQueueStatsMsg_t *)
{
    return QOS_MSG_DONE;
}

uint32_t mrlGetAsicIntStats(qosAsicIntStatsMsg_t *body)
{
    auto *record = qosCosRequest<cosAsicStats_t>(COS_STATS_READ, sizeof(cosAsicStats_t));
    record->device = STAT_DEV_ASIC;
    const unsigned char *response = nullptr;
    uint32_t length = sizeof(cosAsicStats_t);
    const uint32_t rc = qosCosIoctl(body->chip_ifindex, record, sizeof *record, &response, &length);
    body->status = static_cast<int32_t>(rc);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to get asic internal stats rc: %d", rc);
    else
        mrlCopyAsicStats(response, sizeof(cosAsicStats_t), body);
    return rc;
}

uint32_t mrlClearStats(qosClearStatsMsg_t *body)
{
    return cosClearStats(body, {mrlClearSwmStats, mrlClearRedStats, mrlClearDropRsnStats});
}

uint32_t mrlClearSwmStats(qosClearStatsMsg_t *body)
{
    return cosClearSwmStats(__func__, body);
}

uint32_t mrlClearDropRsnStats(qosClearStatsMsg_t *body)
{
    return cosClearDropRsnStats(__func__, body);
}
