// The rows and copy steps of the reads, and the few members that are no rows.
#include "platform/tessel/tsl_statistics.h"

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

constexpr statStep_t ING_QUE_STEPS[] = {statQuads(48, 36, 8), statQuads(112, 100), statFlag(120, 108, 0),
                                        statFlags(121, 109),  statFlags(129, 110), statFlags(137, 111)};
constexpr cosStatRow_t ING_QUE = {"tslGetIngQueStats",
                                  COS_INGRESS_QUEUE_PORT,
                                  112,
                                  112,
                                  cosStatForm_t::Port,
                                  QOS_ERR_TEXT("Failed to get ingress que stats for port %s, rc: %d"),
                                  ING_QUE_STEPS};

// The word at 40 is cut into a flag, 11 bits and 20 bits.
constexpr statStep_t EGR_QUE_STEPS[] = {statFlags(48, 37),
                                        statArray(56, 4, 38, 2, 1),
                                        statFlag(60, 40, 7),
                                        statField(64, 4, 40, 4, 20, 11),
                                        statField(68, 4, 40, 4, 0, 20),
                                        statLowBytes(72, 44),
                                        statBytes(73, 48, 8),
                                        statArray(84, 4, 56, 2, 8),
                                        statArray(116, 4, 72, 2, 8)};
constexpr cosStatRow_t EGR_QUE = {"tslGetEgrQueStats",
                                  COS_EGRESS_QUEUE_PORT,
                                  88,
                                  88,
                                  cosStatForm_t::Port,
                                  QOS_ERR_TEXT("Failed to get egress que stats for port %s, rc: %d"),
                                  EGR_QUE_STEPS};

constexpr statStep_t ING_BUF_STEPS[] = {statFlags(48, 36),      statFlags(56, 39),      statWords(64, 40, 4),
                                        statWords(80, 56, 8),   statWords(112, 88, 8),  statWords(144, 120, 8),
                                        statWords(176, 216, 8), statWords(208, 248, 8), statWords(240, 280, 8),
                                        statBytes(272, 312, 8), statFlags(280, 321),    statFlag(288, 327, 0)};
constexpr cosStatRow_t ING_BUF = {"tslGetIngBufStats",
                                  COS_INGRESS_BUFFERS_PORT,
                                  328,
                                  328,
                                  cosStatForm_t::Port,
                                  QOS_ERR_TEXT("Failed to get ingress buf stats for port %s, rc: %d"),
                                  ING_BUF_STEPS};

constexpr statStep_t EGR_BUF_STEPS[] = {statWords(48, 36, 8), statWords(80, 68, 8), statWords(112, 100, 8),
                                        statFlags(144, 135), statFlags(152, 134)};
constexpr cosStatRow_t EGR_BUF = {"tslGetEgrBufStats",
                                  COS_EGRESS_BUFFERS_PORT,
                                  188,
                                  188,
                                  cosStatForm_t::Port,
                                  QOS_ERR_TEXT("Failed to get egress buf stats for port %s, rc: %d"),
                                  EGR_BUF_STEPS};

// A field of 18 bits ends at bit 1 of byte 131, of which the lowest eight count; the flag stands above it.
constexpr statStep_t PLC_ING_QUE_STEPS[] = {statWords(48, 32, 8), statWords(80, 96, 8), statFlag(112, 129, 3),
                                            statFlags(113, 128, 4, 1), statWords(132, 132, 6)};
constexpr cosStatRow_t PLC_ING_QUE = {"tslGetPlcIngQueStats",
                                      COS_INGRESS_QUEUE_CHIP,
                                      160,
                                      160,
                                      cosStatForm_t::Plc,
                                      QOS_ERR_TEXT("Failed to get plc ingress que stats for port %s, rc: %d"),
                                      PLC_ING_QUE_STEPS};

// The third and fourth group overlap in the response, and of the last one it holds two values.
constexpr statStep_t PLC_EGR_QUE_STEPS[] = {statWords(48, 32, 8),   statWords(80, 64, 8),   statWords(112, 96, 8),
                                            statWords(144, 104, 8), statWords(176, 136, 8), statWords(208, 168, 8)};
constexpr cosStatRow_t PLC_EGR_QUE = {"tslGetPlcEgrQueStats",
                                      COS_EGRESS_QUEUE_CHIP,
                                      176,
                                      176,
                                      cosStatForm_t::Plc,
                                      QOS_ERR_TEXT("Failed to get plc egress que stats for port %s, rc: %d"),
                                      PLC_EGR_QUE_STEPS};

constexpr statStep_t PLC_ING_BUF_STEPS[] = {
    statWords(48, 32, 6),   statWords(72, 56, 8), statWords(104, 88, 8), statWords(136, 120, 8), statWords(168, 152, 8),
    statWords(200, 184, 2), statFlags(208, 193),  statFlags(216, 194),   statFlag(224, 199, 1),  statFlag(225, 199, 0)};
constexpr cosStatRow_t PLC_ING_BUF = {"tslGetPlcIngBufStats",
                                      COS_INGRESS_BUFFERS_CHIP,
                                      272,
                                      272,
                                      cosStatForm_t::Plc,
                                      QOS_ERR_TEXT("Failed to get plc ingress buf stats for port %s, rc: %d"),
                                      PLC_ING_BUF_STEPS};

constexpr statStep_t PLC_EGR_BUF_STEPS[] = {statWords(48, 32, 4), statWords(64, 48, 8), statWords(96, 80, 8),
                                            statWords(128, 112, 8), statFlags(160, 145, 2, 3)};
constexpr cosStatRow_t PLC_EGR_BUF = {"tslGetPlcEgrBufStats",
                                      COS_EGRESS_BUFFERS_CHIP,
                                      184,
                                      184,
                                      cosStatForm_t::Plc,
                                      QOS_ERR_TEXT("Failed to get plc egress buf stats for port %s, rc: %d"),
                                      PLC_EGR_BUF_STEPS};

constexpr statStep_t TMC_ING_CHIP_QUE_STEPS[] = {
    statFlag(52, 34, 3),           statFlag(53, 34, 2),           statFlag(54, 34, 1),
    statFlag(55, 34, 0),           statFlag(56, 35, 7),           statFlag(57, 35, 6),
    statField(60, 4, 35, 1, 4, 2), statField(64, 4, 35, 1, 2, 2), statArray(68, 2, 36, 4, 2)};
constexpr cosStatRow_t TMC_ING_CHIP_QUE = {"tslGetTmcIngChipQueStats",
                                           COS_INGRESS_QUEUE_CHIP,
                                           44,
                                           44,
                                           cosStatForm_t::TmcChip,
                                           QOS_ERR_TEXT("Failed to get tmc ingress que stats for port %s, rc: %d"),
                                           TMC_ING_CHIP_QUE_STEPS};

constexpr statStep_t TMC_EGR_CHIP_QUE_STEPS[] = {statWords(52, 32, 17)};
constexpr cosStatRow_t TMC_EGR_CHIP_QUE = {"tslGetTmcEgrChipQueStats",
                                           COS_EGRESS_QUEUE_CHIP,
                                           100,
                                           100,
                                           cosStatForm_t::TmcChip,
                                           QOS_ERR_TEXT("Failed to get tmc egress que stats for port %s, rc: %d"),
                                           TMC_EGR_CHIP_QUE_STEPS};

constexpr statStep_t TMC_ING_CHIP_BUF_STEPS[] = {statWords(56, 32, 3),    statWords(72, 44, 16),
                                                 statWords(136, 108, 16), statWords(200, 172, 16),
                                                 statWords(264, 236, 16), statWords(328, 300, 2)};
constexpr cosStatRow_t TMC_ING_CHIP_BUF = {"tslGetTmcIngChipBufStats",
                                           COS_INGRESS_BUFFERS_CHIP,
                                           308,
                                           308,
                                           cosStatForm_t::TmcChip,
                                           QOS_ERR_TEXT("Failed to get tmc ingress buff stats for port %s, rc: %d"),
                                           TMC_ING_CHIP_BUF_STEPS};

// Nine groups of eight words, each with the room of sixteen.
constexpr statStep_t TMC_EGR_CHIP_BUF_STEPS[] = {
    statLowBytes(56, 32, 8), statWords(64, 64, 8),    statWords(128, 128, 8),  statWords(192, 192, 8),
    statWords(256, 256, 8),  statWords(320, 320, 8),  statWords(384, 384, 8),  statWords(448, 448, 8),
    statWords(512, 512, 8),  statWords(576, 576, 8),  statWords(640, 640),     statWords(648, 644, 16),
    statWords(712, 708, 16), statWords(776, 772, 16), statWords(840, 836, 16), statWords(904, 900, 13)};
constexpr cosStatRow_t TMC_EGR_CHIP_BUF = {"tslGetTmcEgrChipBufStats",
                                           COS_EGRESS_BUFFERS_CHIP,
                                           952,
                                           952,
                                           cosStatForm_t::TmcChip,
                                           QOS_ERR_TEXT("Failed to get tmc egress buff stats for port %s, rc: %d"),
                                           TMC_EGR_CHIP_BUF_STEPS};

constexpr statStep_t ING_TMC_PORT_QUE_STEPS[] = {statLowBytes(52, 36, 3), statWords(56, 48),
                                                 statArray(60, 2, 52, 2, 8)};
constexpr cosStatRow_t ING_TMC_PORT_QUE = {"tslGetIngTmcPortQueStats",
                                           COS_INGRESS_QUEUE_PORT,
                                           68,
                                           68,
                                           cosStatForm_t::TmcPort,
                                           QOS_ERR_TEXT("Failed to get ingress tmc que stats for port %s, rc: %d"),
                                           ING_TMC_PORT_QUE_STEPS};

constexpr statStep_t ING_TMC_PORT_BUF_STEPS[] = {
    statLowBytes(52, 36, 2), statWords(56, 44),      statWords(60, 52, 8),   statWords(92, 116, 8),
    statWords(124, 180),     statWords(128, 188, 8), statWords(160, 252, 8), statWords(192, 316, 8),
    statWords(224, 380, 8),  statWords(256, 412),    statWords(260, 416, 8)};
constexpr cosStatRow_t ING_TMC_PORT_BUF = {"tslGetIngTmcPortBufStats",
                                           COS_INGRESS_BUFFERS_PORT,
                                           448,
                                           448,
                                           cosStatForm_t::TmcPort,
                                           QOS_ERR_TEXT("Failed to get ingress tmc buff stats for port %s, rc: %d"),
                                           ING_TMC_PORT_BUF_STEPS};

// Twelve groups of eight pairs stand end to end on both sides.
constexpr statStep_t EGR_TMC_PORT_BUF_STEPS[] = {statWords(52, 36), statWords(56, 40, 8),
                                                 statWords(92, 104, 12 * 8 * 2)};
constexpr cosStatRow_t EGR_TMC_PORT_BUF = {"tslGetEgrTmcPortBufStats",
                                           COS_EGRESS_BUFFERS_PORT,
                                           936,
                                           936,
                                           cosStatForm_t::TmcPort,
                                           QOS_ERR_TEXT("Failed to get egress tmc buff stats for port %s, rc: %d"),
                                           EGR_TMC_PORT_BUF_STEPS};

// The words of the drop reasons' line, on purpose.
constexpr statStep_t VOQ_STEPS[] = {statQuads(52, 36, 14)};
constexpr cosStatRow_t VOQ = {"tslGetVoqStats",
                              COS_VOQ_COUNTERS,
                              sizeof(cosStatPort_t),
                              148,
                              cosStatForm_t::Voq,
                              QOS_ERR_TEXT("Failed to get drop reason stats for port %s, rc: %d"),
                              VOQ_STEPS};

constexpr auto FLOW_PRIORITIES = statFlowPriorities(statOrder_t::Exchanged);
constexpr statStep_t FLOW_CONTROL_STEPS[] = {FLOW_PRIORITIES[0], FLOW_PRIORITIES[1], FLOW_PRIORITIES[2],
                                             STAT_FLOW_GLOBAL, STAT_FLOW_GLOBAL2};
constexpr cosPortRow_t FLOW_CONTROL = {"tslGetFlowControlStats",
                                       "tslCopyFlowControlStats",
                                       STAT_KIND_FLOW_CONTROL,
                                       portMiss_t::Statistics,
                                       QOS_ERR_TEXT("Failed to get flowcontrol stats for port %s, rc: %d"),
                                       FLOW_CONTROL_STEPS};

constexpr auto QUEUE_STEPS = statQueueSteps(3, statOrder_t::Plain);
constexpr cosPortRow_t QUEUE = {"tslGetQueueStats",
                                "tslCopyQueueStats",
                                STAT_KIND_QUEUE,
                                portMiss_t::Statistics,
                                QOS_ERR_TEXT("Failed to get queue counters for port %s, rc: %d"),
                                QUEUE_STEPS};

void tslCopyVoqStats(const cosStatAnswer_t &, qosVoqStatsMsg_t *body)
{
    memcpy(body->selector_echo, body->selector, sizeof body->selector_echo);
}

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

uint32_t tslGetIngQueStats(qosIngQueStatsMsg_t *body)
{
    return cosStatRun<ING_QUE>(body);
}

uint32_t tslGetEgrQueStats(qosEgrQueStatsMsg_t *body)
{
    return cosStatRun<EGR_QUE>(body);
}

uint32_t tslGetIngBufStats(qosIngBufStatsMsg_t *body)
{
    return cosStatRun<ING_BUF>(body);
}

uint32_t tslGetEgrBufStats(qosEgrBufStatsMsg_t *body)
{
    return cosStatRun<EGR_BUF>(body);
}

uint32_t tslGetPlcIngQueStats(qosPlcIngQueStatsMsg_t *body)
{
    return cosStatRun<PLC_ING_QUE>(body);
}

uint32_t tslGetPlcEgrQueStats(qosPlcEgrQueStatsMsg_t *body)
{
    return cosStatRun<PLC_EGR_QUE>(body);
}

uint32_t tslGetPlcIngBufStats(qosPlcIngBufStatsMsg_t *body)
{
    return cosStatRun<PLC_ING_BUF>(body);
}

uint32_t tslGetPlcEgrBufStats(qosPlcEgrBufStatsMsg_t *body)
{
    return cosStatRun<PLC_EGR_BUF>(body);
}

uint32_t tslGetTmcIngChipQueStats(qosTmcIngChipQueStatsMsg_t *body)
{
    return cosStatRun<TMC_ING_CHIP_QUE>(body);
}

uint32_t tslGetTmcEgrChipQueStats(qosTmcEgrChipQueStatsMsg_t *body)
{
    return cosStatRun<TMC_EGR_CHIP_QUE>(body);
}

uint32_t tslGetTmcIngChipBufStats(qosTmcIngChipBufStatsMsg_t *body)
{
    return cosStatRun<TMC_ING_CHIP_BUF>(body);
}

uint32_t tslGetTmcEgrChipBufStats(qosTmcEgrChipBufStatsMsg_t *body)
{
    return cosStatRun<TMC_EGR_CHIP_BUF>(body);
}

uint32_t tslGetIngTmcPortQueStats(qosIngTmcPortQueStatsMsg_t *body)
{
    return cosStatRun<ING_TMC_PORT_QUE>(body);
}

uint32_t tslGetIngTmcPortBufStats(qosIngTmcPortBufStatsMsg_t *body)
{
    return cosStatRun<ING_TMC_PORT_BUF>(body);
}

uint32_t tslGetEgrTmcPortBufStats(qosEgrTmcPortBufStatsMsg_t *body)
{
    return cosStatRun<EGR_TMC_PORT_BUF>(body);
}

uint32_t tslGetVoqStats(qosVoqStatsMsg_t *body)
{
    return cosStatRun<VOQ>(body, tslCopyVoqStats);
}

uint32_t tslGetFlowControlStats(qosFlowControlStatsMsg_t *body)
{
    return cosStatRun<FLOW_CONTROL>(body);
}

uint32_t tslGetQueueStats(qosQueueStatsMsg_t *body)
{
    return cosStatRun<QUEUE>(body);
}

uint32_t tslGetDropRsnStats(qosDropRsnStatsMsg_t *body)
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
    const uint32_t rc = qosSendRequest(qosCosIoctl, interface->chip->chip_ifindex, record, &response, &length);
    body->status = static_cast<int32_t>(rc);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to get drop reason stats for port %s, rc: %d", interface->ifName, rc);
    else
        tslCopyDropRsnStats(response, interface->chip->chip_type, body);
    return rc;
}

uint32_t tslGetTmcInfo(qosGetTmcInfoMsg_t *body)
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
    const uint32_t rc = qosSendRequest(qosCosIoctl, chip->chip_ifindex, record, &response, &length);
    body->status = static_cast<int32_t>(rc);
    if (rc != QOS_MSG_DONE) {
        QOS_ERR("Failed to get tmc info, rc: %d", rc);
        return rc;
    }
    body->tmc_id = response->tmc_id;
    body->tmc_type = response->tmc_type;
    return rc;
}

uint32_t tslClearStats(qosClearStatsMsg_t *body)
{
    return cosClearStats(body, {tslClearSwmStats, tslClearRedStats, tslClearDropRsnStats});
}

uint32_t tslClearSwmStats(qosClearStatsMsg_t *body)
{
    return cosClearSwmStats(__func__, body);
}

uint32_t tslClearDropRsnStats(qosClearStatsMsg_t *body)
{
    return cosClearDropRsnStats(__func__, body);
}

uint32_t tslGetDbgStatDev(uint32_t device)
{
    if (device == 0)
        return STAT_DEV_DEBUG_FIRST;
    return device >= STAT_DEV_DEBUG_FIRST && device < STAT_DEV_DEBUG_LAST ? device + 1 : STAT_DEV_END;
}

uint32_t tslClearDbgStats(qosClearStatsMsg_t *body)
{
    const qosChip_t *chip = qaClearWalkChip(body);
    if (!chip)
        return QOS_MSG_UNSERVED;
    for (uint32_t device = tslGetDbgStatDev(0); device != STAT_DEV_END; device = tslGetDbgStatDev(device)) {
        auto *record = qosCosRequest<cosStats_t>(COS_STATS_CLEAR);
        record->device = device;
        record->num_requests = 1;
        const uint32_t rc = qosCosSend(chip->chip_ifindex, record);
        if (rc != QOS_MSG_DONE) {
            QOS_ERR("Failed to clear dbg counters for chip: %x, dev: %d", chip->chip_ifindex, device);
            return rc;
        }
    }
    QOS_INF("Done with clearing dbg stats");
    return QOS_MSG_DONE;
}
