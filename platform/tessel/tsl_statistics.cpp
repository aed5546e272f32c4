// SPDX-License-Identifier: Apache-2.0
// The reads of blocks out of their rows, and the few members that are no rows.
#include "platform/tessel/tsl_statistics.h"

#include <array>
#include <cstring>

#include "agent/model/clear_walk.h"
#include "agent/model/drop_reasons.h"
#include "channels/driver_request.h"
#include "core/trace.h"
#include "inventory/chips.h"
#include "platform/common/cos_statistics.h"
#include "platform/common/stat_texts.h"
#include "platform/tessel/tsl_red.h"

namespace {

constexpr auto FLOW_PRIORITIES = statFlowPriorities(statOrder_t::Exchanged);
constexpr statStep_t FLOW_CONTROL_STEPS[] = {FLOW_PRIORITIES[0], FLOW_PRIORITIES[1], FLOW_PRIORITIES[2],
                                             statFlowGlobal(), statFlowGlobal2()};
constexpr cosPortRow_t FLOW_CONTROL = {"tslCopyFlowControlStats", STAT_KIND_FLOW_CONTROL, portMiss_t::Statistics,
                                       QOS_ERR_TEXT("Failed to get flowcontrol stats for port %s, rc: %d"),
                                       FLOW_CONTROL_STEPS};

constexpr auto QUEUE_STEPS = statQueueSteps(3, statOrder_t::Plain);
constexpr cosPortRow_t QUEUE = {"tslCopyQueueStats", STAT_KIND_QUEUE, portMiss_t::Statistics,
                                QOS_ERR_TEXT("Failed to get queue counters for port %s, rc: %d"), QUEUE_STEPS};

// The reasons that occurred, in order of their numbers, and the seven totals.
void tslCopyDropRsnStats(const cosDropRsnResponse_t *response, uint32_t chip_type, qosDropRsnStatsMsg_t *body)
{
    uint32_t filled = 0;
    for (uint32_t reason = 0; reason < QOS_DROP_REASONS; ++reason) {
        const uint64_t counter = response->counter[reason];
        if (counter == 0)
            continue;
        qosDropRsnRec_t &entry = body->records[filled++];
        statCutText(entry.text, sizeof entry.text, qaGetRteDropRsnStr(static_cast<int32_t>(chip_type), reason));
        entry.counter = counter;
    }
    body->num_reasons = filled;
    memcpy(body->total, response->total, sizeof body->total);
}

} // namespace

#define M STAT_MOVE
#define RUN STAT_RUN
#define FLAG STAT_FLAG
#define FLAGS STAT_FLAGS
#define FIELD STAT_FIELD
#define STAT_BLOCK(entry, code, chips, command, form, block, view, failed, ...)                                        \
    static constexpr auto entry##Steps = [] {                                                                          \
        using A = block;                                                                                               \
        using B = qosBodyOf<code>;                                                                                     \
        return std::array{__VA_ARGS__};                                                                                \
    }();                                                                                                               \
    constexpr tslBlock_t<code> entry = {                                                                               \
        #entry, cosStatRow<block, cosStatForm_t::form>(command, QOS_ERR_TEXT(failed), entry##Steps)};
#include "platform/records/statistics.def"
#undef STAT_BLOCK
#undef FIELD
#undef FLAGS
#undef FLAG
#undef RUN
#undef M

constexpr cosStatEntry_t<qosFlowControlStatsMsg_t, cosPortRow_t> tslGetFlowControlStats = {"tslGetFlowControlStats",
                                                                                           FLOW_CONTROL};
constexpr cosStatEntry_t<qosQueueStatsMsg_t, cosPortRow_t> tslGetQueueStats = {"tslGetQueueStats", QUEUE};

qosDriverStatus_t tslGetDropRsnStats(qosDropRsnStatsMsg_t *body)
{
    const qosIf_t *interface = portFind<portMiss_t::Statistics>(__func__, body);
    if (!interface)
        return QOS_MSG_UNSERVED;
    auto *record = qosCosRequest<cosDropRsn_t>(COS_STATS_READ, sizeof(cosDropRsnResponse_t));
    record->device = STAT_DEV_DROP_REASON;
    record->num_requests = 1;
    record->num_responses = 1;
    record->ifindex = body->ifindex;
    const cosDropRsnResponse_t *response;
    uint32_t length;
    const qosDriverStatus_t rc = qosSendRequest(qosCosIoctl, interface->chip->chip_ifindex, record, &response, &length);
    body->status = static_cast<int32_t>(rc);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to get drop reason stats for port %s, rc: %d", interface->ifName, rc);
    else
        tslCopyDropRsnStats(response, interface->chip->chip_type, body);
    return rc;
}

qosDriverStatus_t tslGetTmcInfo(qosGetTmcInfoMsg_t *body)
{
    const int32_t number = body->tsl_id;
    const qosChip_t *chip = qosLookupChip(number);
    if (!chip) {
        QOS_ERR("Failed to find chip %d", number);
        return QOS_MSG_UNSERVED;
    }
    auto *record = qosCosRequest<cosTmcInfo_t>(COS_TMC_INFO, sizeof(cosTmcInfo_t), qosRequestBuffer_t::AsIs);
    const cosTmcInfo_t *response;
    uint32_t length;
    const qosDriverStatus_t rc = qosSendRequest(qosCosIoctl, chip->chip_ifindex, record, &response, &length);
    body->status = static_cast<int32_t>(rc);
    if (rc != QOS_MSG_DONE) {
        QOS_ERR("Failed to get tmc info, rc: %d", rc);
        return rc;
    }
    body->tmc_id = response->tmc_id;
    body->tmc_type = response->tmc_type;
    return rc;
}

qosDriverStatus_t tslClearStats(qosClearStatsMsg_t *body)
{
    return cosClearStats(body, {tslClearSwmStats, tslClearRedStats, tslClearDropRsnStats});
}

qosDriverStatus_t tslClearSwmStats(qosClearStatsMsg_t *body)
{
    return cosClearSwmStats(__func__, body);
}

qosDriverStatus_t tslClearDropRsnStats(qosClearStatsMsg_t *body)
{
    return cosClearDropRsnStats(__func__, body);
}

uint32_t tslGetDbgStatDev(uint32_t device)
{
    if (device == 0)
        return STAT_DEV_DEBUG_FIRST;
    return device >= STAT_DEV_DEBUG_FIRST && device < STAT_DEV_DEBUG_LAST ? device + 1 : STAT_DEV_END;
}

qosDriverStatus_t tslClearDbgStats(qosClearStatsMsg_t *body)
{
    const qosChip_t *chip = qaClearWalkChip(body);
    if (!chip)
        return QOS_MSG_UNSERVED;
    for (uint32_t device = tslGetDbgStatDev(0); device != STAT_DEV_END; device = tslGetDbgStatDev(device)) {
        auto *record = qosCosRequest<cosStats_t>(COS_STATS_CLEAR);
        record->device = device;
        record->num_requests = 1;
        const qosDriverStatus_t rc = qosCosSend(chip->chip_ifindex, record);
        if (rc != QOS_MSG_DONE) {
            QOS_ERR("Failed to clear dbg counters for chip: %x, dev: %d", chip->chip_ifindex, device);
            return rc;
        }
    }
    QOS_INF("Done with clearing dbg stats");
    return QOS_MSG_DONE;
}
